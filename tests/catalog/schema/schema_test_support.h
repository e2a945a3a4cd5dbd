#pragma once

#include <boost/date_time/posix_time/posix_time.hpp>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "catalog/exceptions.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_generation.h"
#include "catalog/schema/schema_upgrade.h"
#include "dbl/database.h"
#include "dbl/query.h"
#include "dbl/sql_generation.h"
#include "dbl/sqlite/sqlite_database.h"
#include "dbl/transaction.h"
#include "tests/catalog/catalog_test_support.h"

namespace vael_schema_test {

// (type, name, tbl_name, sql) of one sqlite_master row; sql is "" where SQLite stores NULL.
using master_entry = std::tuple<std::string, std::string, std::string, std::string>;

inline std::set<master_entry> master_entries(dbl::database& db) {
  dbl::query q(db, "SELECT type, name, tbl_name, sql FROM sqlite_master");
  for (const char* c : {"type", "name", "tbl_name", "sql"}) q.add_column(c, typeid(std::string));
  std::set<master_entry> out;
  for (const dbl::entry_data_vector& row : q) {
    out.emplace(row[0].as_string(), row[1].as_string(), row[2].as_string(),
                row[3].is_null() ? std::string() : row[3].as_string());
  }
  return out;
}

// A value for `column` in row `n` of a fixture: ids and references are n, so that every
// reference finds its row, and every other value differs between rows and columns.
inline dbl::entry_data fixture_value(const dbl::column_description& column, int n, int position) {
  const std::type_info& type = column.type();
  const int number = n * 100 + position;
  if (type == typeid(dbl::auto_id)) return dbl::entry_data(n);
  if (type == typeid(int)) return dbl::entry_data(number);
  if (type == typeid(bool)) return dbl::entry_data(n % 2 == 0);
  if (type == typeid(std::int64_t)) return dbl::entry_data(std::int64_t{number} << 33);
  if (type == typeid(double)) return dbl::entry_data(number + 0.25);
  if (type == typeid(dbl::blob)) {
    return dbl::entry_data(dbl::blob{static_cast<unsigned char>(n), 0, 255});
  }
  if (type == typeid(boost::posix_time::ptime)) {
    return dbl::entry_data(boost::posix_time::ptime(boost::gregorian::date(2007, 3, 1)) +
                           boost::posix_time::seconds(number));
  }
  return dbl::entry_data(column.name() + " " + std::to_string(n));
}

// Fills every table of `generation` but version_table with `rows` rows; change_table gets
// the "db_changed" counter at `change_id`, and rendition_description_table keeps its row 0.
inline void populate(dbl::database& db, const vael::schema::schema_generation& generation, int rows,
                     int change_id) {
  dbl::transaction t(db);
  t.begin(dbl::strict_policy, true, true);
  for (const dbl::table_description& table : generation.tables) {
    if (table.name() == "version_table") continue;
    if (table.name() == "change_table") {
      dbl::entry_data_vector counter{change_id, "db_changed"};
      dbl::insert_row(db.implementer(), table, counter, true, nullptr);
      dbl::entry_data_vector other{change_id - 5, "current_change_id"};
      dbl::insert_row(db.implementer(), table, other, true, nullptr);
      continue;
    }
    for (int n = 1; n <= rows; ++n) {
      dbl::entry_data_vector values;
      int position = 0;
      for (const dbl::column_description& c : table.columns()) {
        values.push_back(fixture_value(c, n, position++));
      }
      dbl::insert_row(db.implementer(), table, values, true, nullptr);
    }
  }
  t.end();
}

// The rows of `table` as its columns in `shape` give them, in a stable order.
inline std::vector<dbl::entry_data_vector> rows_of(dbl::database& db,
                                                   const dbl::table_description& shape) {
  std::string columns;
  for (const dbl::column_description& c : shape.columns()) {
    columns += (columns.empty() ? "" : ", ") + c.name();
  }
  dbl::query q(db, "SELECT " + columns + " FROM " + shape.name() + " ORDER BY " + columns);
  q.set_columns(shape.columns());
  std::vector<dbl::entry_data_vector> out;
  for (const dbl::entry_data_vector& row : q) out.push_back(row);
  return out;
}

}  // namespace vael_schema_test
