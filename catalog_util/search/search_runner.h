#pragma once

#include <optional>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog_util/search/search_criteria.h"

namespace vael_util {

// A stored search text read whole: a type number and its body, nothing after them. Throws
// std::runtime_error for malformed text, an unknown type, and for characters left over
// ("The search text goes on after the search, at byte N.").
// REQUIRES: register_search_implementers() ran.
search_criteria read_stored_search(const std::string& text);
// The stored text of `search`.
std::string write_stored_search(const search_criteria& search);

// An id table of every media, for statements built by hand.
inline constexpr char every_media_table[] = "(SELECT id FROM media_table)";

// The media among `candidates` that `search` matches, ascending, each once. Without
// candidates every media of the catalog is one; ids that name no media match nothing.
// Throws what compiling or running the statement throws.
std::vector<int> find_media(const vael::connection_handle& handle, const search_criteria& search,
                            const std::optional<std::vector<int>>& candidates = std::nullopt);

}  // namespace vael_util
