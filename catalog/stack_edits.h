#pragma once

#include "catalog/connection_handle.h"

namespace vael {

// Takes a media out of its version stack as a user does: versions made from it are then made
// from its parent, a stack left with one media is dissolved, the media sorts by its own date
// again, and a media stack around it must still hold the rest of the version stack as one
// run, else std::logic_error "If media in a version_stack is stacked, it must all be added to
// the stack". Throws std::runtime_error "not in a version stack"; callers name the media.
// REQUIRES: an open transaction, which the caller rolls back when this throws.
void remove_from_version_stack(const connection_handle& handle, int media_id);

}  // namespace vael
