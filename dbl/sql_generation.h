#pragma once

#include <string>
#include <vector>

#include "dbl/database_implementer.h"
#include "dbl/entry_data.h"
#include "dbl/table_description.h"

namespace dbl {

// The statements the layer issues for a described table. Values are always bound, never
// spliced into the text; the texts themselves are fixed, blanks included, since other code
// and stored undo tables depend on them.

struct generated_sql {
  std::string text;
  entry_data_vector params;
};

// CREATE [TEMPORARY] TABLE text. Foreign key clauses only for a table that is not temporary.
std::string create_table_sql(const database_implementer& impl, const table_description& table,
                             bool temporary);
// The CREATE INDEX statements: one per indexed column, then one per named index.
std::vector<std::string> create_index_sqls(const table_description& table);

// INSERT text for `values`. Unless `keep_ids`, every auto_id column without a foreign key
// takes impl.next_auto_id(), which is stored into `values` as int. Throws std::logic_error
// when the value count does not match the columns.
generated_sql insert_sql(database_implementer& impl, const table_description& table,
                         entry_data_vector& values, bool keep_ids);
// SELECT of the row whose key columns hold the values of `values`.
generated_sql select_current_sql(const table_description& table, const entry_data_vector& values);
// UPDATE text from `original` to `updated`; `current` is the row as the database has it, used
// under merge_policy (and for skip_change_check columns) to refresh the cells of `original`
// that changed. Empty text when nothing changed. Throws std::logic_error on a size mismatch.
generated_sql update_sql(const table_description& table, const entry_data_vector& updated,
                         entry_data_vector& original, const entry_data_vector* current,
                         save_policy_t policy);
// DELETE text. Throws std::logic_error on a size mismatch.
generated_sql delete_sql(const table_description& table, const entry_data_vector& values,
                         save_policy_t policy);
// "SELECT * FROM <table> WHERE id = :auto_id LIMIT 1".
std::string load_by_id_sql(const std::string& table);
// "SELECT * FROM <table> WHERE <column> = ?".
std::string referrers_sql(const std::string& table, const std::string& column);

// Runs the insert and records it with `undoer` when there is one. `values` receives the new
// ids. Throws internal_database_error when no row was inserted.
void insert_row(database_implementer& impl, const table_description& table,
                entry_data_vector& values, bool keep_ids, transaction_undoer* undoer);
// Runs the update from `original` to `updated`; nothing when no column changed. Throws
// record_changed_error when the row is gone or, under strict_policy, changed meanwhile.
void update_row(database_implementer& impl, const table_description& table,
                const entry_data_vector& updated, const entry_data_vector& original,
                save_policy_t policy, transaction_undoer* undoer);
// Refuses with std::runtime_error while other rows point at the row, then deletes it.
// Throws record_changed_error when no row matched.
void delete_row(database_implementer& impl, const table_description& table,
                const entry_data_vector& values, save_policy_t policy, transaction_undoer* undoer);

}  // namespace dbl
