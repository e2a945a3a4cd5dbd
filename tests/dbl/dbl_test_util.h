#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "dbl/table_description.h"

namespace dbl {

// Readable values in test failures.
inline void PrintTo(const entry_data& v, std::ostream* out) {
  if (v.is_null()) {
    *out << "null";
  } else if (v.kind() == entry_kind::string) {
    *out << '"' << v.as_string() << '"';
  } else {
    try {
      *out << v.type().name() << ' ' << v.as_int64();
    } catch (const std::bad_cast&) {
      *out << v.type().name();
    }
  }
}

}  // namespace dbl

namespace dbl_test {

// The message of the exception of type E that `fn` throws, or "<no exception>".
template <typename E>
std::string message_of(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const E& e) {
    return e.what();
  }
  return "<no exception>";
}

// A tag-like table: auto id, a name, a parent in the same table, a flag with a default, a
// blob and a timestamp, with one named index.
inline dbl::table_description tag_table() {
  using namespace dbl;
  table_description t("tag_table");
  t.add_column(
      column_description("name", typeid(std::string), 255, not_null, not_in_primary_key, indexed));
  t.add_column(column_description(
      "parent_id", foreign_key_description("tag_table", t.column("id"), relation_none),
      not_in_primary_key, indexed));
  t.add_column(
      column_description("flag", typeid(int), 0, entry_data(0), not_in_primary_key, not_indexed));
  t.add_column(
      column_description("data", typeid(blob), 0, no_constraint, not_in_primary_key, not_indexed));
  t.add_column(column_description("when_done", typeid(boost::posix_time::ptime), 0, no_constraint,
                                  not_in_primary_key, not_indexed));
  t.add_clustered_index("tag_name_parent", {"name", "parent_id"});
  return t;
}

}  // namespace dbl_test
