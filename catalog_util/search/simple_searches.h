#pragma once

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog_util/search/query.h"

namespace vael_util {

// The searches with one fixed statement each. Every search compiles to SQL selecting one
// column of media ids from the caller's id table, joined as `id_table`; a query without SQL
// narrows nothing. Errors of the SQL surface when the query runs, not when it is built.

// Media in a media stack / in a version stack.
struct all_media_stacks_search {};
struct all_version_stacks_search {};
// Media whose date is unknown.
struct unknown_date_search {};

// Media carrying each include tag (or one of its descendants) and none of the exclude tags.
struct user_tag_search {
  std::vector<int> include_tag_ids;
  std::vector<int> exclude_tag_ids;
};
// Media whose file name contains `filename`, in any case; "_" and "%" match themselves.
struct filename_search {
  std::string filename;
};
// Media carrying no tag of the namespaces (nor their descendants).
struct not_tagged_search {
  std::vector<std::string> namespaces;
};
// Media with a value of the metadata description.
struct media_has_metadata_search {
  int description_id = 0;
};
// Media carrying one of the tags (any tag at all when there is none). `name` is for display.
struct history_tag_search {
  std::vector<int> tag_ids;
  std::string name;
};
// Media that the creations' project files list.
struct creation_usage_search {
  std::vector<int> creation_ids;
};
// Media dated within the day.
struct calendar_day_search {
  boost::gregorian::date day;
};
// Media directly in `folder` of the volume.
struct foldername_search {
  std::string folder;
  int volume_id = 0;
};
// The media of the list. Any two compare equal: the list is a snapshot, not the search.
struct missing_file_search {
  std::vector<int> media_ids;
};
// Media of each kind that miss the tags marking an analysed asset of that kind.
// Compiling throws std::runtime_error when `image_tag_ids` is empty.
struct unanalyzed_asset_search {
  virtual ~unanalyzed_asset_search() = default;
  std::vector<int> image_tag_ids;
  std::vector<int> video_tag_ids;
  std::vector<int> audio_tag_ids;
};

// The four abilities of each class, bound into the implementer table by type number.
#define VAEL_UTIL_DECLARE_SEARCH(Search)                                                   \
  bool search_equals(const Search& a, const Search& b);                                    \
  std::string search_serialize(const Search& s);                                           \
  std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos, Search& s); \
  query_t search_build_query(const vael::connection_handle& handle, const Search& s,       \
                             const std::string& table);

VAEL_UTIL_DECLARE_SEARCH(all_media_stacks_search)
VAEL_UTIL_DECLARE_SEARCH(all_version_stacks_search)
VAEL_UTIL_DECLARE_SEARCH(unknown_date_search)
VAEL_UTIL_DECLARE_SEARCH(user_tag_search)
VAEL_UTIL_DECLARE_SEARCH(filename_search)
VAEL_UTIL_DECLARE_SEARCH(not_tagged_search)
VAEL_UTIL_DECLARE_SEARCH(media_has_metadata_search)
VAEL_UTIL_DECLARE_SEARCH(history_tag_search)
VAEL_UTIL_DECLARE_SEARCH(creation_usage_search)
VAEL_UTIL_DECLARE_SEARCH(calendar_day_search)
VAEL_UTIL_DECLARE_SEARCH(foldername_search)
VAEL_UTIL_DECLARE_SEARCH(missing_file_search)
VAEL_UTIL_DECLARE_SEARCH(unanalyzed_asset_search)
#undef VAEL_UTIL_DECLARE_SEARCH

// The form of user_tag_search that matches media carrying any include tag; no SQL with at
// most one include tag.
query_t search_build_any_query(const vael::connection_handle& handle, const user_tag_search& s,
                               const std::string& table);

}  // namespace vael_util
