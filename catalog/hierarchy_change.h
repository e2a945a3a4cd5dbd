#pragma once

#include <cstddef>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/custom_tag_namespace.h"

namespace vael {

// The guarded way to rearrange tags. Between start and finish, tags may be given new child
// lists with set_children() anywhere within the (first) namespace, and creating or removing
// tags is refused. Finish succeeds only when the namespaces hold as many tags as at the start,
// so that no tag is lost on the way. After a failed finish the change stays open and the
// caller rolls back its transaction; the change then ends only with a successful finish or
// the connection.

// Opens a change of `ns`. Throws std::logic_error "Can't change the tag hierarchy on an
// invalid namespace" when `ns` is not valid. A second start replaces the first.
void start_tag_hierarchy_change(const connection_handle& handle, const custom_tag_namespace& ns);
// Opens a change over two namespaces, for moves between them; tags are assigned from the
// first, which alone is checked for validity.
void start_tag_hierarchy_change(const connection_handle& handle, const custom_tag_namespace& ns,
                                const custom_tag_namespace& second_ns);
// Ends a one-namespace change. Throws std::logic_error when none was started, and when the
// tag count of the first namespace changed; the change then stays open.
void finish_tag_hierarchy_change(const connection_handle& handle);
// Ends a two-namespace change, recounting both; throws as finish_tag_hierarchy_change().
void finish_two_namespace_hierarchy_change(const connection_handle& handle);
bool is_in_tag_hierarchy_change(const connection_handle& handle);
// The first namespace of the open change; an invalid namespace outside one.
custom_tag_namespace get_hierarchy_change_namespace(const connection_handle& handle);

}  // namespace vael
