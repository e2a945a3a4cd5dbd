#include "dbl/sql_generation.h"

#include <cstdint>
#include <optional>
#include <stdexcept>

#include "dbl/exceptions.h"
#include "dbl/transaction_undoer.h"
#include "diagnostics/timer.h"

namespace dbl {

namespace {

void append_joined(std::string& out, const std::vector<std::string>& parts, const char* separator) {
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i != 0) out += separator;
    out += parts[i];
  }
}

// WHERE terms test with IS NULL; SET terms write = NULL. Both bind a non-null value.
void add_where_term(std::string& where, bool& first, const std::string& column,
                    const entry_data& value, entry_data_vector& params) {
  if (!first) where += " AND ";
  first = false;
  where += column;
  if (value.is_null()) {
    where += " IS NULL";
  } else {
    where += " = ?";
    params.push_back(value);
  }
}

bool is_new_auto_id(const column_description& c) {
  return c.type() == typeid(auto_id) && !c.has_foreign_key();
}

std::optional<lil::timer> label(const char* verb, const std::string& table) {
  std::optional<lil::timer> t;
  if (lil::timers_enabled()) t.emplace(std::string(verb) + table);
  return t;
}

// The row the database holds now for the key of `values`; throws `changed` when it is gone.
entry_data_vector fetch_current(database_implementer& impl, const table_description& table,
                                const entry_data_vector& values, const char* changed) {
  const generated_sql select = select_current_sql(table, values);
  sql_request request;
  request.sql = select.text;
  request.params = &select.params;
  request.columns = table.shared_columns();
  request.large_cache = true;
  const auto result = impl.execute_query(request);
  if (result->at_end()) throw record_changed_error(changed);
  return result->current_row();
}

const char kUpdateChanged[] =
    "The record has changed or been deleted from the database since it was created, and could "
    "not be saved.";
const char kDeleteChanged[] =
    "The record has changed or has already been removed from the database since it was "
    "created, and could not be removed.";

}  // namespace

std::string create_table_sql(const database_implementer& impl, const table_description& table,
                             bool temporary) {
  std::string sql = temporary ? "CREATE TEMPORARY TABLE " : "CREATE TABLE ";
  sql += table.name();
  sql += " (";
  std::vector<std::string> keys;
  std::vector<const column_description*> foreign_keys;
  bool first = true;
  for (const column_description& c : table.columns()) {
    if (!first) sql += ",";
    first = false;
    sql += "\n\t";
    sql += impl.column_definition(c);
    if (c.is_key()) keys.push_back(c.name());
    if (c.has_foreign_key()) foreign_keys.push_back(&c);
  }
  if (!keys.empty()) {
    sql += "\n\t,\tPRIMARY KEY (";
    append_joined(sql, keys, ", ");
    sql += ")";
  }
  if (!temporary) {
    for (const column_description* c : foreign_keys) {
      sql += ",\n\tFOREIGN KEY (" + c->name() + ") REFERENCES " + c->foreign_key().table() + "(" +
             c->foreign_key().column().name() + ")";
    }
  }
  sql += "\n)";
  return sql;
}

std::vector<std::string> create_index_sqls(const table_description& table) {
  std::vector<std::string> out;
  const std::string& t = table.name();
  for (const column_description& c : table.columns()) {
    if (c.is_indexed()) {
      out.push_back("CREATE INDEX index_" + t + "_" + c.name() + " ON " + t + "(" + c.name() + ")");
    }
  }
  for (const auto& [name, columns] : table.indexes()) {
    std::string sql = "CREATE INDEX " + name + " ON " + t + "(";
    append_joined(sql, columns, ", ");
    sql += ")";
    out.push_back(std::move(sql));
  }
  return out;
}

generated_sql insert_sql(database_implementer& impl, const table_description& table,
                         entry_data_vector& values, bool keep_ids) {
  const auto& columns = table.columns();
  if (values.size() != columns.size()) {
    throw std::logic_error(
        "The insert statement couldn't be generated because the column data was invalid.");
  }
  generated_sql out;
  out.params.reserve(values.size());
  std::vector<bool> bound(columns.size());
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!keep_ids && is_new_auto_id(columns[i])) {
      values[i] = entry_data(static_cast<int>(impl.next_auto_id()));
    } else if (values[i].is_null()) {
      continue;
    }
    bound[i] = true;
    out.params.push_back(values[i]);
  }
  const auto text = [&] {
    std::string sql;
    sql.reserve(64 + 24 * columns.size());
    sql += "INSERT INTO ";
    sql += table.name();
    sql += "\n\t(";
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (i != 0) sql += ", ";
      sql += columns[i].name();
    }
    sql += ")\n\tVALUES (";
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (i != 0) sql += ", ";
      sql += bound[i] ? "? " : "NULL ";
    }
    sql += ")\n";
    return sql;
  };
  if (columns.size() > 64) {
    out.text = text();
  } else {
    // The text depends only on which cells are bound, so it is kept with the table.
    std::uint64_t key = 0;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (bound[i]) key |= std::uint64_t{1} << i;
    }
    out.text = *table.insert_texts().get(key, text);
  }
  return out;
}

generated_sql select_current_sql(const table_description& table, const entry_data_vector& values) {
  generated_sql out;
  out.text = "SELECT * FROM " + table.name() + "\nWHERE ";
  bool first = true;
  const auto& columns = table.columns();
  for (std::size_t i = 0; i < columns.size() && i < values.size(); ++i) {
    if (columns[i].is_key())
      add_where_term(out.text, first, columns[i].name(), values[i], out.params);
  }
  return out;
}

namespace {

// The UPDATE of update_sql(). `refreshed`, when given, receives the cells of `original` that
// the merge rule replaces with those of `current`.
generated_sql build_update(const table_description& table, const entry_data_vector& updated,
                           const entry_data_vector& original, const entry_data_vector* current,
                           save_policy_t policy, entry_data_vector* refreshed) {
  const auto& columns = table.columns();
  if (updated.size() != columns.size() || original.size() != columns.size() ||
      (current != nullptr && current->size() != columns.size())) {
    throw std::logic_error(
        "The update statement couldn't be generated because the column data was invalid.");
  }
  generated_sql out;
  out.text.reserve(96);
  out.text += "UPDATE ";
  out.text += table.name();
  out.text += "\nSET ";
  const std::size_t head = out.text.size();
  std::string where = "WHERE ";
  entry_data_vector where_params;
  bool first_where = true;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const column_description& c = columns[i];
    const bool differs = original[i] != updated[i];
    if (!c.is_key() && !differs) continue;
    if (!c.is_key() && (policy == merge_policy || c.skip_change_check())) {
      if (current != nullptr && refreshed != nullptr) (*refreshed)[i] = (*current)[i];
    } else {
      add_where_term(where, first_where, c.name(), original[i], where_params);
    }
    if (differs) {
      if (out.text.size() != head) out.text += ", ";
      out.text += c.name();
      if (updated[i].is_null()) {
        out.text += " = NULL";
      } else {
        out.text += " = ?";
        out.params.push_back(updated[i]);
      }
    }
  }
  if (out.text.size() == head) return generated_sql();
  out.text += "\n";
  out.text += where;
  out.params.insert(out.params.end(), where_params.begin(), where_params.end());
  return out;
}

}  // namespace

generated_sql update_sql(const table_description& table, const entry_data_vector& updated,
                         entry_data_vector& original, const entry_data_vector* current,
                         save_policy_t policy) {
  return build_update(table, updated, original, current, policy, &original);
}

generated_sql delete_sql(const table_description& table, const entry_data_vector& values,
                         save_policy_t policy) {
  const auto& columns = table.columns();
  if (values.size() != columns.size()) {
    throw std::logic_error(
        "The delete statement couldn't be generated because the data was invalid.");
  }
  generated_sql out;
  out.text = "DELETE FROM " + table.name() + "\nWHERE ";
  bool first = true;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const column_description& c = columns[i];
    if (c.is_key() || (policy == strict_policy && !c.skip_change_check())) {
      add_where_term(out.text, first, c.name(), values[i], out.params);
    }
  }
  return out;
}

std::string load_by_id_sql(const std::string& table) {
  return "SELECT * FROM " + table + " WHERE id = :auto_id LIMIT 1";
}

std::string referrers_sql(const std::string& table, const std::string& column) {
  return "SELECT * FROM " + table + " WHERE " + column + " = ?";
}

void insert_row(database_implementer& impl, const table_description& table,
                entry_data_vector& values, bool keep_ids, transaction_undoer* undoer) {
  const auto timer = label("dbl::insert into ", table.name());
  const generated_sql insert = insert_sql(impl, table, values, keep_ids);
  sql_request request;
  request.sql = insert.text;
  request.params = &insert.params;
  request.large_cache = true;
  if (impl.execute(request) != 1) {
    throw internal_database_error(
        "The record was not inserted into the database, but no error was received from the "
        "database.");
  }
  if (undoer != nullptr) undoer->add_insert(table, values);
}

void update_row(database_implementer& impl, const table_description& table,
                const entry_data_vector& updated, const entry_data_vector& original,
                save_policy_t policy, transaction_undoer* undoer) {
  const auto timer = label("dbl::update ", table.name());
  if (undoer == nullptr) {
    // The row as it stands only serves to show the undo record the other writer's values;
    // without an undoer the WHERE clause alone decides, so neither the read nor a copy of
    // the original values is needed.
    const generated_sql update = build_update(table, updated, original, nullptr, policy, nullptr);
    if (update.text.empty()) return;
    sql_request request;
    request.sql = update.text;
    request.params = &update.params;
    request.large_cache = true;
    if (impl.execute(request) != 1) throw record_changed_error(kUpdateChanged);
    return;
  }
  entry_data_vector before = original;
  std::optional<entry_data_vector> current;
  if (policy == merge_policy && before.size() == table.column_count() &&
      updated.size() == table.column_count()) {
    bool changed = false;
    for (std::size_t i = 0; i < updated.size() && !changed; ++i) changed = before[i] != updated[i];
    if (!changed) return;
    current = fetch_current(impl, table, before, kUpdateChanged);
  }
  const generated_sql update =
      update_sql(table, updated, before, current ? &*current : nullptr, policy);
  if (update.text.empty()) return;
  sql_request request;
  request.sql = update.text;
  request.params = &update.params;
  request.large_cache = true;
  if (impl.execute(request) != 1) throw record_changed_error(kUpdateChanged);
  undoer->add_update(table, updated, before);
}

void delete_row(database_implementer& impl, const table_description& table,
                const entry_data_vector& values, save_policy_t policy, transaction_undoer* undoer) {
  const auto timer = label("dbl::delete ", table.name());
  for (const table_reference& ref : impl.references_to(table.name())) {
    const int position = table.column_position(ref.referenced_column);
    if (position < 0 || values.size() != table.column_count()) continue;
    const entry_data& value = values[static_cast<std::size_t>(position)];
    if (value.is_null()) continue;
    const std::string sql = referrers_sql(ref.table, ref.column);
    const entry_data_vector params{value};
    sql_request request;
    request.sql = sql;
    request.params = &params;
    request.columns = impl.get_table(ref.table).shared_columns();
    request.large_cache = true;
    if (!impl.execute_query(request)->at_end()) {
      throw std::runtime_error("Foreign key still exists for the entry being deleted.");
    }
  }
  const generated_sql remove = delete_sql(table, values, policy);
  entry_data_vector removed_row = values;
  if (policy == merge_policy && undoer != nullptr) {
    removed_row = fetch_current(impl, table, values, kDeleteChanged);
  }
  sql_request request;
  request.sql = remove.text;
  request.params = &remove.params;
  request.large_cache = true;
  if (impl.execute(request) != 1) throw record_changed_error(kDeleteChanged);
  if (undoer != nullptr) undoer->add_delete(table, removed_row);
}

}  // namespace dbl
