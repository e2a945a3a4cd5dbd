#include "catalog_util/search/search_runner.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "catalog/catalog_database.h"
#include "catalog/catalog_lookup.h"
#include "dbl/temporary_table.h"

namespace vael_util {

search_criteria read_stored_search(const std::string& text) {
  search_criteria search;
  const std::uint64_t end = search.deserialize(text, 0);
  if (end != text.size()) {
    throw std::runtime_error("The search text goes on after the search, at byte " +
                             std::to_string(end) + ".");
  }
  return search;
}

std::string write_stored_search(const search_criteria& search) {
  std::string text;
  search.serialize(text);
  return text;
}

std::vector<int> find_media(const vael::connection_handle& handle, const search_criteria& search,
                            const std::optional<std::vector<int>>& candidates) {
  // Every media needs no copy: a subquery is an id table too, and unlike media_table itself
  // it brings no second set of media columns into statements that join media_table.
  std::string table = every_media_table;
  std::unique_ptr<dbl::temporary_id_set> chosen;
  std::vector<int> candidate_ids;
  if (candidates.has_value()) {
    candidate_ids = *candidates;
    std::sort(candidate_ids.begin(), candidate_ids.end());
    candidate_ids.erase(std::unique(candidate_ids.begin(), candidate_ids.end()),
                        candidate_ids.end());
    chosen = std::make_unique<dbl::temporary_id_set>(vael::database_of(handle));
    chosen->add(candidate_ids);
    // Not every search's statement joins media_table, so the table itself keeps to media.
    table = "(SELECT id FROM " + chosen->table_name() + " WHERE id IN " + every_media_table + ")";
  }
  const query_t query = search.build_query(handle, table);
  std::vector<int> ids;
  if (query.has_sql()) {
    ids = query.select_ids();
  } else {
    ids = candidates.has_value() ? candidate_ids : vael::all_media_ids(handle);
  }
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  if (candidates.has_value() && !query.has_sql()) {
    // Candidates that name no media are no match of a search that narrows nothing.
    const std::vector<int> all = vael::all_media_ids(handle);
    std::vector<int> known;
    std::set_intersection(ids.begin(), ids.end(), all.begin(), all.end(),
                          std::back_inserter(known));
    ids = std::move(known);
  }
  return ids;
}

}  // namespace vael_util
