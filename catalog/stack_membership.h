#pragma once

#include <vector>

#include "catalog/connection_handle.h"

namespace vael {

// Where stacks meet tags and media: a tag with applies_to_all_in_media_stack or
// applies_to_all_in_version_stack tags and untags the whole stack of a media, and a media
// that goes leaves its stacks first. Kept apart from the stack classes so that tags and
// media need not know them.

// The members of the media stack holding `media_id`, in stack order; empty when none.
std::vector<int> media_stack_members(const connection_handle& handle, int media_id);
// The members of the version stack holding `media_id`, in stack order; empty when none.
std::vector<int> version_stack_members(const connection_handle& handle, int media_id);

// What removing a media asks of the stacks before its row goes. Nothing for an unstacked
// media.
// Takes `media_id` out of its version stack; a stack left with fewer than two media is
// dissolved.
// REQUIRES: an open transaction.
void leave_version_stack(const connection_handle& handle, int media_id);
// Takes `media_id` out of its media stack, keeping the order of the rest; a stack left with
// fewer than two media, or with the members of one version stack only, is dissolved.
// REQUIRES: an open transaction.
void leave_media_stack(const connection_handle& handle, int media_id);

}  // namespace vael
