#include "catalog_util/search/search_criteria.h"

#include <map>
#include <stdexcept>

#include "catalog_util/search/all_photos_search.h"
#include "catalog_util/search/criteria_serialization.h"
#include "catalog_util/search/search_implementer.h"
#include "catalog_util/search/simple_searches.h"
#include "catalog_util/search/smart_album_search.h"
#include "catalog_util/search/text_searches.h"

namespace vael_util {
namespace {

std::map<std::int32_t, search_implementer>& implementer_table() {
  static std::map<std::int32_t, search_implementer> table;
  return table;
}

template <typename Search>
void add_simple(std::int32_t type) {
  add_search_implementer(type, make_search_implementer<Search>(type));
}

bool registered = false;
int search_version = 0;

}  // namespace

void register_search_implementers(int version) {
  if (registered) return;
  registered = true;
  add_search_implementer(all_photos_search_type,
                         make_search_implementer<all_photos_search>(all_photos_search_type));
  search_implementer user_tags = make_search_implementer<user_tag_search>(user_tag_search_type);
  user_tags.build_any_query = [](const vael::connection_handle& handle, const search_criteria& c,
                                 const std::string& table) {
    return search_build_any_query(handle, c.get<user_tag_search>(), table);
  };
  add_search_implementer(user_tag_search_type, std::move(user_tags));
  add_simple<filename_search>(filename_search_type);
  add_simple<not_tagged_search>(not_tagged_search_type);
  add_simple<media_has_metadata_search>(media_has_metadata_search_type);
  add_simple<all_media_stacks_search>(all_media_stacks_search_type);
  add_simple<all_version_stacks_search>(all_version_stacks_search_type);
  add_simple<history_tag_search>(history_tag_search_type);
  add_simple<creation_usage_search>(creation_usage_search_type);
  add_simple<calendar_day_search>(calendar_day_search_type);
  add_simple<advanced_metadata_search>(advanced_metadata_search_type);
  add_simple<unknown_date_search>(unknown_date_search_type);
  add_simple<unanalyzed_asset_search>(unanalyzed_asset_search_type);
  add_simple<foldername_search>(foldername_search_type);
  add_simple<missing_file_search>(missing_file_search_type);
  add_simple<simple_metadata_string_search>(simple_metadata_string_search_type);
  add_simple<smart_text_search>(smart_text_search_type);
  search_version = version;
}

int registered_search_version() {
  return search_version;
}

void add_search_implementer(std::int32_t type, search_implementer implementer) {
  implementer_table()[type] = std::move(implementer);
}

search_implementer find_search_implementer(std::int32_t type) {
  const auto& table = implementer_table();
  const auto it = table.find(type);
  if (it == table.end()) {
    throw std::runtime_error(
        "No search_criteria implementer is defined for the search type passed in.");
  }
  return it->second;
}

search_criteria::search_criteria() : value_(all_photos_search()), type_(all_photos_search_type) {}

bool search_criteria::equals(const search_criteria& other) const {
  if (type_ != other.type_) return false;
  return find_search_implementer(type_).equals(*this, other);
}

void search_criteria::serialize(std::string& out) const {
  out += serialize_number(type_);
  out += find_search_implementer(type_).serialize(*this);
}

std::uint64_t search_criteria::deserialize(const std::string& text, std::uint64_t pos) {
  *this = search_criteria();
  std::uint64_t end = pos;
  // A type number that does not fit is "bad cast", a runtime error like every bad text.
  const std::int32_t type = read_int(text, pos, &end);
  const search_implementer implementer = find_search_implementer(type);
  return implementer.deserialize(text, end, *this);
}

query_t search_criteria::build_query(const vael::connection_handle& handle,
                                     const std::string& table) const {
  return find_search_implementer(type_).build_query(handle, *this, table);
}

query_t search_criteria::build_any_query(const vael::connection_handle& handle,
                                         const std::string& table) const {
  return find_search_implementer(type_).build_any_query(handle, *this, table);
}

}  // namespace vael_util
