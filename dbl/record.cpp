#include "dbl/record.h"

#include <stdexcept>

#include "dbl/exceptions.h"
#include "dbl/query.h"
#include "dbl/sql_generation.h"

namespace dbl {

namespace {

void require_transaction(const database& db) {
  if (!db.in_transaction()) {
    throw std::logic_error("Can't save a record when not in a transaction");
  }
}

entry_data_vector load_row(const database& db, const table_description& table, int id) {
  query q(db, load_by_id_sql(table.name()), true);
  q.bind(":auto_id", entry_data(id)).set_columns(table);
  return q.first_row();
}

}  // namespace

record::record(database db, table_description table)
    : current_(table.column_count()), db_(std::move(db)), table_(std::move(table)) {}

record::record(database db, table_description table, entry_data_vector values, bool in_database)
    : current_(std::move(values)),
      in_database_(in_database),
      db_(std::move(db)),
      table_(std::move(table)) {
  if (current_.size() != table_.column_count()) {
    throw std::logic_error(
        "Could not create the record because the default data did not have the right number "
        "of entries.");
  }
  if (in_database_) original_ = current_;
}

record::record(database db, table_description table, int id)
    : record(db, table, load_row(db, table, id), true) {}

std::size_t record::position(std::string_view column) const {
  const int p = table_.column_position(column);
  if (p < 0) throw std::logic_error("The column requested is not valid for this record.");
  return static_cast<std::size_t>(p);
}

const entry_data& record::get(std::string_view column) const {
  return current_[position(column)];
}

entry_data& record::operator[](std::string_view column) {
  return current_[position(column)];
}

void record::save(bool without_undo) {
  require_transaction(db_);
  database_implementer& impl = db_.implementer();
  transaction_undoer* undoer = without_undo ? nullptr : impl.current_undoer().get();
  if (in_database_) {
    update_row(impl, table_, current_, original_, impl.save_policy(), undoer);
    // Most cells still share their value with the original; copy only the others.
    for (std::size_t i = 0; i < current_.size(); ++i) {
      if (!original_[i].shares(current_[i])) original_[i] = current_[i];
    }
    return;
  }
  entry_data_vector values = current_;
  insert_row(impl, table_, values, false, undoer);
  current_ = values;
  original_ = std::move(values);
  in_database_ = true;
}

void record::remove(bool check_references, bool without_undo) {
  require_transaction(db_);
  database_implementer& impl = db_.implementer();
  for (const table_reference& ref : impl.references_to(table_.name())) {
    const int p = table_.column_position(ref.referenced_column);
    if (p < 0) continue;
    const entry_data& value = current_[static_cast<std::size_t>(p)];
    if (value.is_null()) continue;
    const table_description& referrer = impl.get_table(ref.table);
    query q(db_, referrers_sql(ref.table, ref.column), true);
    q.bind(value).set_columns(referrer);
    if (check_references) {
      if (q.begin() != q.end()) throw record_has_foreign_references_error();
      continue;
    }
    // Read the referrers before removing any, so the walk never sees its own deletes.
    std::vector<entry_data_vector> rows(q.begin(), q.end());
    for (entry_data_vector& row : rows) {
      record(db_, referrer, std::move(row), true).remove(check_references, without_undo);
    }
  }
  transaction_undoer* undoer = without_undo ? nullptr : impl.current_undoer().get();
  delete_row(impl, table_, current_, impl.save_policy(), undoer);
}

}  // namespace dbl
