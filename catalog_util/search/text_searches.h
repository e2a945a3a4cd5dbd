#pragma once

#include <boost/any.hpp>
#include <boost/date_time/posix_time/ptime.hpp>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog_util/search/query.h"

namespace vael_util {

// The terms of a find bar search. A name matches the tags (or file names, or metadata values)
// that contain it, in any case; the tags of kinds 0 to 3 bring their descendants.
// Any user, album, smart or custom tag.
struct tag_criteria {
  std::string name;
};
struct people_criteria {
  std::string name;
};
struct places_criteria {
  std::string name;
};
struct events_criteria {
  std::string name;
};
struct file_criteria {
  std::string name;
};
// A string value of one of six descriptions.
struct metadata_criteria {
  enum : std::int32_t { caption = 0, make = 1, model = 2, author = 3, notes = 4, folder = 5 };
  std::string value;
  std::int32_t field = caption;
};
// Media dated within [begin, end).
struct date_criteria {
  boost::posix_time::ptime begin;
  boost::posix_time::ptime end;
};
// With a date, the media dated within it; without one, media matching `tag_text` as a user
// tag, `file_text` in their file name or `metadata_text` in any of the six descriptions.
// `field` is only stored. Made without a date: the bounds are those of an unknown date.
struct all_criteria {
  all_criteria();
  std::string tag_text;
  std::string file_text;
  std::string metadata_text;
  std::int32_t field = 0;
  boost::posix_time::ptime begin;
  boost::posix_time::ptime end;
  bool has_date = false;
};

// The term kind of each class: a stored number.
template <typename Term>
inline constexpr std::int32_t term_kind_of = -1;
template <>
inline constexpr std::int32_t term_kind_of<tag_criteria> = 0;
template <>
inline constexpr std::int32_t term_kind_of<people_criteria> = 1;
template <>
inline constexpr std::int32_t term_kind_of<places_criteria> = 2;
template <>
inline constexpr std::int32_t term_kind_of<events_criteria> = 3;
template <>
inline constexpr std::int32_t term_kind_of<file_criteria> = 4;
template <>
inline constexpr std::int32_t term_kind_of<metadata_criteria> = 5;
template <>
inline constexpr std::int32_t term_kind_of<date_criteria> = 6;
template <>
inline constexpr std::int32_t term_kind_of<all_criteria> = 7;

// One term: a value of the class its `kind` names.
struct text_search_criteria {
  text_search_criteria() = default;
  template <typename Term>
  explicit text_search_criteria(const Term& term) : value(term), kind(term_kind_of<Term>) {
    static_assert(term_kind_of<Term> >= 0, "not a text search term");
  }
  boost::any value;
  std::int32_t kind = 0;
};

struct operator_criteria {
  enum : std::int32_t { and_op = 0, or_op = 1, not_op = 2 };
  std::int32_t op = and_op;
};

// What a user typed, parsed by the host into terms and operators, applied left to right:
// "a OR b AND c" is "(a OR b) AND c". NOT negates the terms up to the next AND or OR.
// Terms side by side are joined by AND; of AND and OR in a row the last counts; operators
// before the first term and after the last are dropped; a search of no term matches nothing.
// `query_text` is the typed text, stored for display only.
struct smart_text_search {
  enum : std::int32_t { term_entry = 0, operator_entry = 1 };
  // Each value holds a text_search_criteria (term_entry) or an operator_criteria.
  std::vector<std::pair<boost::any, std::int32_t>> entries;
  std::string query_text;

  template <typename Term>
  smart_text_search& add(const Term& term) {
    entries.emplace_back(text_search_criteria(term), term_entry);
    return *this;
  }
  smart_text_search& add_operator(std::int32_t op) {
    entries.emplace_back(operator_criteria{op}, operator_entry);
    return *this;
  }
};

// Media with a string value of one of the descriptions that matches `text` as the kind says,
// in any case.
struct simple_metadata_string_search {
  enum : std::int32_t { exact = 0, begins = 1, word_begins = 2, contains = 3 };
  std::vector<int> description_ids;
  std::string text;
  // Any number other than the first three means contains.
  std::int32_t string_match_kind = contains;
};

// Compiling reads the catalog: tag names are looked up then, so a search follows renames
// only when compiled again. Throws what the lookup throws, std::logic_error when a
// metadata description of the terms is missing, and std::runtime_error for a metadata term
// of a field not listed above. Reading refuses entry and term kinds that
// are not listed above ("bad cast" for an entry whose value is of another class).
bool search_equals(const smart_text_search& a, const smart_text_search& b);
std::string search_serialize(const smart_text_search& s);
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos, smart_text_search& s);
query_t search_build_query(const vael::connection_handle& handle, const smart_text_search& s,
                           const std::string& table);

bool search_equals(const simple_metadata_string_search& a, const simple_metadata_string_search& b);
std::string search_serialize(const simple_metadata_string_search& s);
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 simple_metadata_string_search& s);
query_t search_build_query(const vael::connection_handle& handle,
                           const simple_metadata_string_search& s, const std::string& table);

}  // namespace vael_util
