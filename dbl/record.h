#pragma once

#include <string>
#include <string_view>

#include "dbl/database.h"
#include "dbl/entry_data.h"
#include "dbl/table_description.h"

namespace dbl {

// One row of a described table in memory. Keeps the values as loaded (or last saved) beside
// the values the caller edits, so that a save writes only what changed and can tell when
// another writer changed the row meanwhile. A value: copies are independent.
class record {
 public:
  // A new row, every value null.
  record(database db, table_description table);
  // A row from `values`, one per column in column order; `in_database` says it exists
  // already. Throws std::logic_error when the count does not match the columns.
  record(database db, table_description table, entry_data_vector values, bool in_database);
  // Loads the row with this id. Throws std::logic_error when there is none.
  record(database db, table_description table, int id);

  // Throws std::logic_error for a column the table lacks.
  const entry_data& get(std::string_view column) const;
  entry_data& operator[](std::string_view column);
  void set(std::string_view column, const entry_data& value) { (*this)[column] = value; }

  // Inserts a new row (taking a new id) or updates the changed columns under the
  // transaction's save policy. Records undo unless `without_undo`. Throws
  // std::logic_error outside a transaction, record_changed_error when the row changed or
  // went away meanwhile; on failure the record is left as it was.
  void save(bool without_undo = false);
  // Names for remove()'s first argument.
  static constexpr bool refuse_if_referenced = true;
  static constexpr bool cascade_references = false;
  // Deletes the row. With `check_references`, throws record_has_foreign_references_error
  // while other rows point at it; otherwise removes those rows first, recursively. The
  // record object itself is left as it was. REQUIRES: an open transaction.
  void remove(bool check_references = true, bool without_undo = false);

  // The `id` column as int.
  int id() const { return get("id").as_int(); }
  bool in_database() const { return in_database_; }
  const entry_data_vector& values() const { return current_; }
  const entry_data_vector& original_values() const { return original_; }
  const table_description& table() const { return table_; }
  const database& db() const { return db_; }

 private:
  std::size_t position(std::string_view column) const;

  entry_data_vector current_;
  entry_data_vector original_;
  bool in_database_ = false;
  database db_;
  table_description table_;
};

}  // namespace dbl
