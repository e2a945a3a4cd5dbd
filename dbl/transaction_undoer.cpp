#include "dbl/transaction_undoer.h"

#include <algorithm>
#include <stdexcept>

#include "dbl/query.h"
#include "dbl/sql_generation.h"
#include "dbl/transaction.h"

namespace dbl {

namespace {

const char kInsert[] = "insert";
const char kUpdate[] = "update";
const char kDelete[] = "delete";

// The two leading columns, then a copy of each data column without its rule, key or index;
// ids are stored in the 64-bit kind the auto id table uses.
table_description undo_table_description(database_implementer& impl,
                                         const table_description& data) {
  table_description t(impl.unique_table_name("_dbl_temp_undo"), 1);
  t.add_column(
      column_description("_dbl_undo_id", typeid(int), 0, unique, in_primary_key, not_indexed));
  t.add_column(column_description("_dbl_undo_type", typeid(std::string), 32, not_null,
                                  not_in_primary_key, not_indexed));
  for (const column_description& c : data.columns()) {
    const std::type_info& kind =
        c.type() == typeid(auto_id) ? impl.auto_id_storage_type() : c.type();
    t.add_column(column_description(c.name(), kind, c.width(), no_constraint, not_in_primary_key,
                                    not_indexed));
  }
  return t;
}

}  // namespace

const transaction_undoer::undo_table& transaction_undoer::table_for(const table_description& data) {
  const auto it = tables_.find(data.name());
  if (it != tables_.end()) return it->second;
  auto scope =
      std::make_shared<temporary_table_scope>(db_, undo_table_description(db_.implementer(), data));
  return tables_.emplace(data.name(), undo_table{data, std::move(scope)}).first->second;
}

void transaction_undoer::add_row(const table_description& data, const char* type,
                                 const entry_data_vector& row) {
  const undo_table& table = table_for(data);
  entry_data_vector values;
  values.reserve(row.size() + 2);
  values.emplace_back(next_undo_id_);
  values.emplace_back(std::string(type));
  values.insert(values.end(), row.begin(), row.end());
  database_implementer& impl = db_.implementer();
  const generated_sql insert = insert_sql(impl, table.scope->table(), values, true);
  sql_request request;
  request.sql = insert.text;
  request.params = &insert.params;
  request.large_cache = true;
  if (impl.execute(request) != 1) throw std::logic_error("Couldn't add a row to the undo table.");
  ++next_undo_id_;
}

void transaction_undoer::add_insert(const table_description& table, const entry_data_vector& row) {
  add_row(table, kInsert, row);
}

void transaction_undoer::add_update(const table_description& table,
                                    const entry_data_vector& updated,
                                    const entry_data_vector& original) {
  add_row(table, kUpdate, updated);
  add_row(table, kUpdate, original);
}

void transaction_undoer::add_delete(const table_description& table, const entry_data_vector& row) {
  add_row(table, kDelete, row);
}

std::string transaction_undoer::undo_table_name(const std::string& data_table) const {
  const auto it = tables_.find(data_table);
  return it == tables_.end() ? std::string() : it->second.scope->name();
}

transaction_undoer::undo_row transaction_undoer::find_row(int id) const {
  for (const auto& [name, table] : tables_) {
    query q(db_, "SELECT * FROM " + table.scope->name() + " WHERE _dbl_undo_id = ?", true);
    q.bind(entry_data(id)).set_columns(table.scope->table());
    auto it = q.begin();
    if (it == q.end()) continue;
    const entry_data_vector& cells = *it;
    if (cells.size() < 3) {
      throw std::runtime_error("Not enough columns in undo table to retrieve undo table.");
    }
    return {&table, cells[1].as_string(), entry_data_vector(cells.begin() + 2, cells.end())};
  }
  return {};
}

entry_data_vector transaction_undoer::partner_row(const undo_table& table, int id) const {
  query q(db_, "SELECT * FROM " + table.scope->name() + " WHERE _dbl_undo_id = ?", true);
  q.bind(entry_data(id)).set_columns(table.scope->table());
  auto it = q.begin();
  if (it == q.end() || it->size() < 3) {
    throw std::runtime_error("The undo table lacks the other half of an update.");
  }
  return entry_data_vector(it->begin() + 2, it->end());
}

// An update is two rows: at the lower id the new values, at the higher one the original
// values. Backwards `id` meets the original half first and steps down to the new one,
// forwards the other way round; either way it is left on the second half.
void transaction_undoer::replay(const undo_row& row, int& id, bool backwards) {
  database_implementer& impl = db_.implementer();
  const table_description& data = row.table->data;
  entry_data_vector values = row.data;
  const bool insert = row.type == (backwards ? kDelete : kInsert);
  const bool remove = row.type == (backwards ? kInsert : kDelete);
  if (insert) {
    insert_row(impl, data, values, true, nullptr);
  } else if (remove) {
    delete_row(impl, data, values, strict_policy, nullptr);
  } else if (row.type == kUpdate) {
    id += backwards ? -1 : 1;
    // The half met first is the state to reach in this direction; its partner is the state
    // the row is in now.
    update_row(impl, data, values, partner_row(*row.table, id), strict_policy, nullptr);
  } else {
    throw std::logic_error("Unexpected undo type encountered");
  }
}

void transaction_undoer::undo() {
  transaction t(db_);
  t.begin(strict_policy, true, true);
  int id = 0;
  for (const auto& [name, table] : tables_) {
    query q(db_, "SELECT MAX(_dbl_undo_id) FROM " + table.scope->name());
    q.add_column("ignored", typeid(int));
    const entry_data_vector row = q.first_row();
    if (!row[0].is_null()) id = std::max(id, row[0].as_int());
  }
  for (; id >= 1; --id) {
    const undo_row row = find_row(id);
    if (row.table != nullptr) replay(row, id, true);
  }
  t.end();
}

void transaction_undoer::redo() {
  transaction t(db_);
  t.begin(strict_policy, true, true);
  for (int id = 1;; ++id) {
    const undo_row row = find_row(id);
    if (row.table == nullptr) break;
    replay(row, id, false);
  }
  t.end();
}

}  // namespace dbl
