#pragma once

#include <boost/function.hpp>
#include <cstdint>
#include <string>

#include "catalog/connection_handle.h"
#include "catalog_util/search/query.h"
#include "catalog_util/search/search_criteria.h"

namespace vael_util {

// The four abilities of one search class, found by type number. Calling an empty one throws
// boost::bad_function_call.
struct search_implementer {
  boost::function<bool(const search_criteria&, const search_criteria&)> equals;
  // The body of the search, without its type number.
  boost::function<std::string(const search_criteria&)> serialize;
  // Reads a body from `pos`, stores a new value and this type in the target, and returns the
  // position behind what it read.
  boost::function<std::uint64_t(const std::string& text, std::uint64_t pos, search_criteria&)>
      deserialize;
  boost::function<query_t(const vael::connection_handle&, const search_criteria&,
                          const std::string& table)>
      build_query;
  boost::function<query_t(const vael::connection_handle&, const search_criteria&,
                          const std::string& table)>
      build_any_query;
};

// Fills the process-wide table once; a second call returns at once. Stores `version` for the
// searches that need it.
// REQUIRES: runs on one thread before searches are used on several.
void register_search_implementers(int version);
// The `version` given at registration; 0 before it.
int registered_search_version();
// Files `implementer` under `type`, replacing any there. For registration only.
void add_search_implementer(std::int32_t type, search_implementer implementer);
// A copy of the entry for `type`. Throws std::runtime_error "No search_criteria implementer
// is defined for the search type passed in." when there is none.
search_implementer find_search_implementer(std::int32_t type);

// Binds the free functions of one search class to the table's signatures. The class provides
//   bool search_equals(const Search&, const Search&);
//   std::string search_serialize(const Search&);
//   std::uint64_t search_deserialize(const std::string&, std::uint64_t, Search&);
//   query_t search_build_query(const vael::connection_handle&, const Search&, const string&);
// and has no any-form unless the caller sets one.
template <typename Search>
search_implementer make_search_implementer(std::int32_t type) {
  // Built in place: assigning a stateless lambda to a boost::function copies its unused
  // buffer, which GCC reports as uninitialized.
  return search_implementer{
      [](const search_criteria& a, const search_criteria& b) {
        return search_equals(a.get<Search>(), b.get<Search>());
      },
      [](const search_criteria& c) { return search_serialize(c.get<Search>()); },
      [type](const std::string& text, std::uint64_t pos, search_criteria& target) {
        Search value;
        const std::uint64_t end = search_deserialize(text, pos, value);
        target = search_criteria(value, type);
        return end;
      },
      [](const vael::connection_handle& handle, const search_criteria& c,
         const std::string& table) { return search_build_query(handle, c.get<Search>(), table); },
      [](const vael::connection_handle&, const search_criteria&, const std::string&) {
        return query_t();
      }};
}

}  // namespace vael_util
