#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "dbl/database.h"
#include "dbl/entry_data.h"
#include "dbl/table_description.h"
#include "dbl/temporary_table.h"
#include "dbl/undo_object.h"

namespace dbl {

// Records the writes of one transaction in temporary undo tables on its connection, one per
// data table written, and replays them backwards (undo) or forwards (redo). Each undo table
// holds `_dbl_undo_id`, `_dbl_undo_type` and a copy of the data table's columns; the undo id
// orders the rows of all tables of the transaction, so that replay meets dependencies
// (a parent inserted before its child) in the right order in both directions.
// The tables live as long as the undoer: nothing of it reaches the file.
// REQUIRES: used on the connection that made it, on one thread.
class transaction_undoer : public jtb::undo_implementer {
 public:
  explicit transaction_undoer(database db) : db_(std::move(db)) {}
  // Drops the undo tables; never throws.
  ~transaction_undoer() override = default;
  transaction_undoer(const transaction_undoer&) = delete;
  transaction_undoer& operator=(const transaction_undoer&) = delete;

  // Called by the SQL generation once a write has succeeded. `row` holds the values as
  // inserted (new id included) or as deleted; an update records `updated`, then `original`,
  // the row as it stood before. Throws std::logic_error when the undo row is not stored.
  void add_insert(const table_description& table, const entry_data_vector& row);
  void add_update(const table_description& table, const entry_data_vector& updated,
                  const entry_data_vector& original);
  void add_delete(const table_description& table, const entry_data_vector& row);

  // Each runs in a transaction of its own (strict policy, no undo, BEGIN IMMEDIATE); on any
  // error that transaction rolls back, leaving data and undo tables as they were, so the
  // call can be tried again. REQUIRES: no transaction open on the connection.
  void undo() override;
  void redo() override;

  // Name of the undo table of `data_table`; empty when the transaction did not write it.
  std::string undo_table_name(const std::string& data_table) const;

 private:
  struct undo_table {
    table_description data;
    std::shared_ptr<temporary_table_scope> scope;
  };
  struct undo_row {
    const undo_table* table = nullptr;  // null when no table holds the id
    std::string type;
    entry_data_vector data;
  };

  const undo_table& table_for(const table_description& data);
  void add_row(const table_description& data, const char* type, const entry_data_vector& row);
  // The row with `id` in any undo table.
  undo_row find_row(int id) const;
  // The row with `id` in `table`; throws when it is missing.
  entry_data_vector partner_row(const undo_table& table, int id) const;
  void replay(const undo_row& row, int& id, bool backwards);

  std::map<std::string, undo_table, std::less<>> tables_;
  std::int32_t next_undo_id_ = 1;
  database db_;
};

}  // namespace dbl
