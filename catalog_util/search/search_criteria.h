#pragma once

#include <boost/any.hpp>
#include <cstdint>
#include <string>

#include "catalog/connection_handle.h"
#include "catalog_util/search/query.h"

namespace vael_util {

// The type numbers of the search classes. They are stored inside saved searches: a file
// format, so they never change; 15 stays unassigned.
enum search_type : std::int32_t {
  all_photos_search_type = 1,
  user_tag_search_type = 2,
  simple_metadata_string_search_type = 3,
  filename_search_type = 4,
  not_tagged_search_type = 5,
  media_has_metadata_search_type = 6,
  all_media_stacks_search_type = 7,
  all_version_stacks_search_type = 8,
  history_tag_search_type = 9,
  creation_usage_search_type = 10,
  calendar_day_search_type = 11,
  advanced_metadata_search_type = 12,
  unknown_date_search_type = 13,
  smart_text_search_type = 14,
  unanalyzed_asset_search_type = 16,
  foldername_search_type = 17,
  missing_file_search_type = 18,
};

// One search of any class, with its type number. Every operation dispatches by the number
// through the implementer table, so the classes share no base. Copies hold copies.
// REQUIRES: register_search_implementers() ran before any operation.
class search_criteria {
 public:
  // An all_photos_search, type 1.
  search_criteria();
  template <typename Search>
  search_criteria(const Search& value, std::int32_t type) : value_(value), type_(type) {}

  std::int32_t type() const { return type_; }
  const boost::any& value() const { return value_; }
  // The held search. Throws boost::bad_any_cast when it is of another class.
  template <typename Search>
  const Search& get() const {
    return boost::any_cast<const Search&>(value_);
  }

  // Same type, and equal by the type's comparison; different types compare false without
  // asking either.
  bool equals(const search_criteria& other) const;
  // Appends the type number, then the body of the held search.
  void serialize(std::string& out) const;
  // Reads a type number and body from `pos` into this; returns the position behind them.
  // This holds an all_photos_search of type 1 from the start, so a failure leaves a valid
  // value. Throws std::runtime_error for malformed text or an unknown type number.
  std::uint64_t deserialize(const std::string& text, std::uint64_t pos);
  // The query that narrows the ids of `table` (joined as `id_table`) to the matches.
  query_t build_query(const vael::connection_handle& handle, const std::string& table) const;
  // The form for matching any of several conditions; no SQL for most types.
  query_t build_any_query(const vael::connection_handle& handle, const std::string& table) const;

 private:
  boost::any value_;
  std::int32_t type_;
};

}  // namespace vael_util
