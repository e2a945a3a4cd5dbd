#pragma once

#include <vector>

#include "catalog/connection_handle.h"

namespace vael {

// Where stacks meet tags: a tag with applies_to_all_in_media_stack or
// applies_to_all_in_version_stack tags and untags the whole stack of a media. These answer
// which stack a media belongs to; until stacks are modelled no media is in one, so both give
// an empty list and tagging touches the one media only.

// The members of the media stack holding `media_id`, in stack order; empty when none.
std::vector<int> media_stack_members(const connection_handle& handle, int media_id);
// The members of the version stack holding `media_id`, in stack order; empty when none.
std::vector<int> version_stack_members(const connection_handle& handle, int media_id);

}  // namespace vael
