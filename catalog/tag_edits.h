#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"

namespace vael {

// Edits of the tag forest made of several model steps, so that every caller takes the same
// steps in the same order. Each requires an open transaction, which the caller rolls back
// when one throws: a refused step may leave rows, and a hierarchy change, half done.

// Moves `moved` with its subtree among the children of `new_parent` (a tag) or to the top
// of `to` (a namespace), at `index` among the new siblings, the end when none is given or it
// is past the end. The move is one hierarchy change; across namespaces the destination's
// namespace leads it, since only its tags may be given children. Returns the index taken.
// Throws std::logic_error as tag::set_children() and the hierarchy change do, e.g. "A tag
// cannot become a child of itself or of its descendants.".
// REQUIRES: an open transaction and no open hierarchy change.
std::size_t move_tag(const connection_handle& handle, const tag& moved, tag new_parent,
                     std::optional<std::size_t> index = std::nullopt);
std::size_t move_tag(const connection_handle& handle, const tag& moved, custom_tag_namespace to,
                     std::optional<std::size_t> index = std::nullopt);

// The media of a tag: in their order for an ordered tag, ascending ids otherwise.
std::vector<int> media_of_tag(const tag& t);

// Tags each media; an ordered tag takes the new ones at its end in the order given and keeps
// the place of those it holds already. Removing untags them; an ordered tag keeps the order
// of the rest. Media ids must exist (see catalog_lookup.h).
// REQUIRES: an open transaction.
void add_media_to_tag(tag& t, const std::vector<int>& media_ids);
void remove_media_from_tag(tag& t, const std::vector<int>& media_ids);

}  // namespace vael
