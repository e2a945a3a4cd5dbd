#pragma once

#include <cstdint>
#include <string>

#include "catalog/connection_handle.h"
#include "catalog_util/search/query.h"

namespace vael_util {

// Every media: the search that narrows nothing. It has no fields and no text of its own.
struct all_photos_search {};

inline bool search_equals(const all_photos_search&, const all_photos_search&) {
  return true;
}
inline std::string search_serialize(const all_photos_search&) {
  return {};
}
inline std::uint64_t search_deserialize(const std::string&, std::uint64_t pos, all_photos_search&) {
  return pos;
}
// A query without SQL.
inline query_t search_build_query(const vael::connection_handle&, const all_photos_search&,
                                  const std::string&) {
  return query_t();
}

}  // namespace vael_util
