#include "dbl/database_implementer.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "dbl/database.h"
#include "dbl/exceptions.h"
#include "dbl/sql_generation.h"
#include "dbl/transaction_undoer.h"
#include "diagnostics/timer.h"

namespace dbl {

namespace {

const char kAutoIdTable[] = "_dbl_auto_id_table";

}  // namespace

database_implementer::database_implementer() : owner_thread_(std::this_thread::get_id()) {}

database_implementer::~database_implementer() = default;

void database_implementer::register_table(const table_description& table) {
  tables_.insert_or_assign(table.name(), table);
  for (const column_description& c : table.columns()) {
    if (!c.has_foreign_key()) continue;
    const foreign_key_description& fk = c.foreign_key();
    auto& refs = references_[fk.table()];
    bool known = false;
    for (const table_reference& r : refs) {
      known = known || (r.table == table.name() && r.column == c.name());
    }
    if (!known) refs.push_back({table.name(), c.name(), fk.column().name()});
  }
  if (table.has_auto_id()) ensure_auto_id_table();
}

bool database_implementer::table_exists(const std::string& name) {
  static const column_list columns = std::make_shared<const std::vector<column_description>>(
      1, column_description("name", typeid(std::string), 255, no_constraint, not_in_primary_key,
                            not_indexed));
  const named_parameters named{{":name", entry_data(name)}};
  sql_request request;
  request.sql = "SELECT name FROM sqlite_master WHERE type='table' AND name = :name";
  request.named = &named;
  request.columns = columns;
  return !execute_query(request)->at_end();
}

void database_implementer::create_table_with(const table_description& table, bool temporary) {
  check_not_blocked();
  const std::string sql = create_table_sql(*this, table, temporary);
  sql_request request;
  request.sql = sql;
  execute(request);
  for (const std::string& index : create_index_sqls(table)) {
    request.sql = index;
    execute(request);
  }
  register_table(table);
}

void database_implementer::create_table(const table_description& table) {
  create_table_with(table, false);
}

void database_implementer::create_temporary_table(const table_description& table) {
  create_table_with(table, true);
}

void database_implementer::drop_table(const std::string& name) {
  const std::string sql = "DROP TABLE " + name;
  sql_request request;
  request.sql = sql;
  execute(request);
  const auto it = tables_.find(name);
  if (it != tables_.end()) tables_.erase(it);
  // A dropped table refers to nothing any more.
  for (auto& [referenced, refs] : references_) {
    refs.erase(std::remove_if(refs.begin(), refs.end(),
                              [&](const table_reference& r) { return r.table == name; }),
               refs.end());
  }
}

table_description database_implementer::auto_id_table_description() const {
  table_description table(kAutoIdTable, 1);
  table.add_column(column_description("last_assigned_id", auto_id_storage_type(), 0, unique,
                                      in_primary_key, not_indexed));
  return table;
}

const table_description& database_implementer::get_table(std::string_view name) const {
  const auto it = tables_.find(name);
  if (it == tables_.end()) {
    throw std::logic_error("There is not a table with the requested name in the database.");
  }
  return it->second;
}

const std::vector<table_reference>& database_implementer::references_to(
    const std::string& table) const {
  static const std::vector<table_reference> none;
  const auto it = references_.find(table);
  return it == references_.end() ? none : it->second;
}

std::string database_implementer::unique_table_name(const std::string& base) {
  return base + std::to_string(++table_name_counter_);
}

void database_implementer::empty_id_table(const std::string& name) {
  const std::string sql = "DELETE FROM " + name;
  sql_request request;
  request.sql = sql;
  execute(request);
}

std::string database_implementer::acquire_id_table() {
  if (!free_id_tables_.empty()) {
    const std::string name = free_id_tables_.back();
    free_id_tables_.pop_back();
    // A transaction rolled back after the last set let go may have brought its rows back.
    try {
      empty_id_table(name);
    } catch (...) {
      free_id_tables_.push_back(name);
      throw;
    }
    return name;
  }
  table_description table(unique_table_name("_dbl_temp"), 1);
  table.add_column(column_description("id", typeid(int), 0, not_null, in_primary_key, not_indexed));
  create_temporary_table(table);
  standing_id_tables_.insert(table.name());
  if (in_transaction_ || in_savepoint_) unsettled_id_tables_.push_back(table.name());
  return table.name();
}

void database_implementer::release_id_table(const std::string& name) noexcept {
  if (standing_id_tables_.count(name) == 0) return;
  try {
    empty_id_table(name);
  } catch (...) {
    // The next acquire empties it.
  }
  free_id_tables_.push_back(name);
}

void database_implementer::discard_unsettled_id_tables() {
  for (const std::string& name : unsettled_id_tables_) {
    standing_id_tables_.erase(name);
    free_id_tables_.erase(std::remove(free_id_tables_.begin(), free_id_tables_.end(), name),
                          free_id_tables_.end());
    tables_.erase(name);
  }
  unsettled_id_tables_.clear();
}

void database_implementer::ensure_auto_id_table() {
  if (table_exists(kAutoIdTable)) {
    if (tables_.find(kAutoIdTable) == tables_.end()) register_table(auto_id_table_description());
    return;
  }
  create_table(auto_id_table_description());
  sql_request request;
  request.sql = "INSERT INTO _dbl_auto_id_table ( last_assigned_id ) VALUES (0)";
  if (execute(request) != 1) {
    throw std::logic_error(
        "An unexpected error occurred while initializing the dbl auto_id table.");
  }
}

std::int64_t database_implementer::next_auto_id() {
  if (!auto_id_loaded_) {
    sql_request request;
    request.sql = "SELECT * FROM _dbl_auto_id_table";
    request.columns = get_table(kAutoIdTable).shared_columns();
    const auto result = execute_query(request);
    if (result->at_end()) {
      throw std::logic_error(
          "An unexpected error occurred while initializing the dbl auto_id table.");
    }
    auto_id_counter_ = result->current_row()[0].as_int64();
    auto_id_loaded_ = true;
  }
  return ++auto_id_counter_;
}

void database_implementer::begin_transaction(save_policy_t policy, bool no_undo, bool immediate,
                                             const database& self) {
  if (in_transaction_) {
    throw std::logic_error(
        "There is already a transaction opened.  Transactions cannot be nested.");
  }
  check_not_blocked();
  std::shared_ptr<transaction_undoer> undoer;
  if (!no_undo) undoer = std::make_shared<transaction_undoer>(self);
  do_begin_transaction(immediate);
  in_transaction_ = true;
  auto_id_loaded_ = false;
  save_policy_ = policy;
  no_undo_ = no_undo;
  undoer_ = std::move(undoer);
}

std::shared_ptr<transaction_undoer> database_implementer::end_transaction() {
  std::optional<lil::timer> timer;
  if (lil::timers_enabled()) timer.emplace("dbl::transaction::end()");
  check_not_blocked();
  if (auto_id_loaded_) {
    const entry_data_vector params{entry_data(auto_id_counter_)};
    sql_request request;
    request.sql = "UPDATE _dbl_auto_id_table SET last_assigned_id = ?";
    request.params = &params;
    execute(request);
  }
  {
    std::optional<lil::timer> end_timer;
    if (lil::timers_enabled()) end_timer.emplace("dbl::sqlite_implementer::do_end_transaction");
    do_end_transaction();
  }
  if (!in_savepoint_) unsettled_id_tables_.clear();
  in_transaction_ = false;
  auto_id_loaded_ = false;
  return std::move(undoer_);
}

void database_implementer::rollback_transaction() {
  undoer_.reset();
  in_transaction_ = false;
  auto_id_loaded_ = false;
  discard_unsettled_id_tables();
  do_rollback_transaction();
}

void database_implementer::begin_savepoint() {
  if (in_transaction_ || in_savepoint_) {
    throw std::logic_error("A savepoint opens only where no transaction or savepoint is open.");
  }
  check_not_blocked();
  do_begin_transaction(true);
  in_savepoint_ = true;
}

void database_implementer::rollback_savepoint() {
  if (!in_savepoint_) throw std::logic_error("There is no open savepoint to roll back.");
  undoer_.reset();
  in_transaction_ = false;
  in_savepoint_ = false;
  auto_id_loaded_ = false;
  discard_unsettled_id_tables();
  do_rollback_transaction();
}

save_policy_t database_implementer::save_policy() const {
  if (!in_transaction_) {
    throw std::logic_error(
        "Attempted to get the save policy for the current transaction, but there is no "
        "transaction open.");
  }
  return save_policy_;
}

void database_implementer::select_ints(const sql_request& request, std::vector<int>& out) {
  for (auto result = execute_query(request); !result->at_end(); result->advance()) {
    out.push_back(result->current_row().at(0).as_int());
  }
}

std::string database_implementer::column_type_word(const column_description& column) const {
  const std::type_info& t = column.type();
  if (t == typeid(std::int64_t)) return "BIGINT";
  if (t == typeid(bool) || t == typeid(int)) return "INT";
  if (t == typeid(auto_id)) return column.has_foreign_key() ? "INT" : "INT AUTO_INCREMENT";
  if (t == typeid(std::string)) return "VARCHAR(" + std::to_string(column.width()) + ")";
  if (t == typeid(fixed_string)) return "CHAR(" + std::to_string(column.width()) + ")";
  if (t == typeid(blob)) return "VARBINARY(" + std::to_string(column.width()) + ")";
  if (t == typeid(boost::posix_time::ptime)) return "TIMESTAMP";
  throw std::logic_error(
      "An unrecognized type was encountered while building the create table statement.");
}

std::string database_implementer::column_definition(const column_description& column) const {
  std::string out = column.name() + " " + column_type_word(column);
  if (column.constraint() == not_null) out += " NOT NULL";
  if (column.constraint() == unique) out += " UNIQUE";
  return out;
}

const std::function<bool(int)>& database_implementer::busy_callback() const {
  if (!busy_callback_) {
    throw std::logic_error("There is no busy callback method set on this database connection.");
  }
  return busy_callback_;
}

void database_implementer::check_not_blocked() const {
  if (blocked_) {
    throw database_busy_error(
        "The database has been blocked from executing additional sql statements while it "
        "resolves a busy handler from another statement.");
  }
}

const jtb::cancel_callback& database_implementer::current_cancel_callback() const {
  throw std::logic_error("There is no callback currently set");
}

}  // namespace dbl
