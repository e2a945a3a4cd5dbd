#pragma once

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "dbl/exceptions.h"
#include "dbl/query.h"
#include "dbl/record.h"
#include "dbl/sqlite/sqlite_database.h"
#include "dbl/table_description.h"
#include "dbl/transaction.h"
#include "tests/support/sandbox.h"

namespace dbl {

// Helpers of the tests, which are written in this namespace to see the library's names too.
namespace test {

// The message of the exception of type E that `fn` throws, or "<no exception>".
template <typename E = std::logic_error>
std::string message_of(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const E& e) {
    return e.what();
  }
  return "<no exception>";
}

// A nullable column outside the key and every index.
inline column_description plain_column(const std::string& name, const std::type_info& type,
                                       std::uint64_t width = 0) {
  return {name, type, width, no_constraint, not_in_primary_key, not_indexed};
}

// A tag-like table: auto id, a name, a parent in the same table, a flag with a default, a
// blob and a timestamp, with one named index.
inline table_description tag_table() {
  table_description t("tag_table");
  t.add_column(
      column_description("name", typeid(std::string), 255, not_null, not_in_primary_key, indexed));
  t.add_column(column_description(
      "parent_id", foreign_key_description("tag_table", t.column("id"), relation_none),
      not_in_primary_key, indexed));
  t.add_column(
      column_description("flag", typeid(int), 0, entry_data(0), not_in_primary_key, not_indexed));
  t.add_column(plain_column("data", typeid(blob)));
  t.add_column(plain_column("when_done", typeid(boost::posix_time::ptime)));
  t.add_clustered_index("tag_name_parent", {"name", "parent_id"});
  return t;
}

using rows = std::vector<entry_data_vector>;

// Every row of `table`, by id, in the table's own column kinds.
inline rows all_rows(const database& db, const table_description& table) {
  query q(db, "SELECT * FROM " + table.name() + " ORDER BY id");
  q.set_columns(table);
  return rows(q.begin(), q.end());
}

// The first column of the first row of `sql`.
inline int scalar(const database& db, const std::string& sql) {
  return query(db, sql).select_ints().at(0);
}

// The first column of every row of `sql`, as text.
inline std::vector<std::string> texts(const database& db, const std::string& sql) {
  query q(db, sql);
  q.add_column("text", typeid(std::string));
  std::vector<std::string> out;
  for (const entry_data_vector& row : q) out.push_back(row[0].as_string());
  return out;
}

// The auto id counter as stored in the database.
inline int stored_counter(const database& db) {
  return scalar(db, "SELECT last_assigned_id FROM _dbl_auto_id_table");
}

// Saves a new tag in `db`; REQUIRES an open transaction there.
inline record new_tag(database& db, const table_description& tags, const std::string& name,
                      entry_data parent = entry_data()) {
  record r(db, tags);
  r["name"] = name;
  r["parent_id"] = std::move(parent);
  r["flag"] = 0;
  r.save();
  return r;
}

// A sandboxed database file ("d.db") holding tag_table.
class tag_db_test : public ::testing::Test {
 protected:
  tag_db_test() { db_.create_table(tags_); }

  // Saves a new tag; REQUIRES an open transaction.
  record save_tag(const std::string& name, entry_data parent = entry_data()) {
    return new_tag(db_, tags_, name, std::move(parent));
  }
  // Saves a new tag in a transaction of its own and returns its id.
  int add_tag(const std::string& name, entry_data parent = entry_data()) {
    int id = 0;
    write([&] { id = save_tag(name, std::move(parent)).id(); });
    return id;
  }
  // Runs `step` in one committed transaction without undo.
  void write(const std::function<void()>& step) {
    transaction t(db_);
    t.begin(merge_policy, true);
    step();
    t.end();
  }
  int count() const { return scalar(db_, "SELECT COUNT(*) FROM tag_table"); }

  vantor_test::sandbox box_;
  const std::string file_ = box_.path("d.db");
  sqlite_database db_{file_};
  table_description tags_ = tag_table();
};

}  // namespace test
}  // namespace dbl
