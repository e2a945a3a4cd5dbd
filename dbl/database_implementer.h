#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <typeinfo>
#include <vector>

#include "dbl/entry_data.h"
#include "dbl/progress.h"
#include "dbl/table_description.h"

namespace dbl {

class database;
class transaction_undoer;

// How a save treats columns that somebody else changed since the row was read.
enum save_policy_t : std::int32_t {
  merge_policy = 0,   // take the other writer's values for columns this save did not change
  strict_policy = 1,  // refuse the save when any column changed meanwhile
};

using named_parameters = std::map<std::string, entry_data, std::less<>>;

using column_list = std::shared_ptr<const std::vector<column_description>>;

// One statement to run: text, parameters and the columns its rows must have. The text and
// parameters are views that the caller keeps alive for the call; a result keeps its own
// copies of whatever its later steps need.
struct sql_request {
  std::string_view sql;
  const entry_data_vector* params = nullptr;  // bound as ?1, ?2, ...
  const named_parameters* named = nullptr;    // keys with their colon, ":name"
  column_list columns;                        // null when no rows are read
  bool large_cache = false;  // keep the statement in the cache of 5000 rather than of 20
};

// A column of another table that points at a column of the table it is filed under.
struct table_reference {
  std::string table;              // the referring table
  std::string column;             // its referring column
  std::string referenced_column;  // the column pointed at
};

// The rows of one running statement. Construction positions it on the first row.
class sql_result_t {
 public:
  virtual ~sql_result_t() = default;
  // Position of a result column. Throws std::logic_error for an unknown name.
  virtual int column_index(const std::string& name) = 0;
  // REQUIRES: !at_end().
  virtual const entry_data_vector& current_row() const = 0;
  // Steps to the next row. Throws std::logic_error when already at the end.
  virtual void advance() = 0;
  virtual bool at_end() const = 0;
};

// A statement compiled for one connection.
class prepared_statement {
 public:
  virtual ~prepared_statement() = default;
  virtual bool is_valid() const = 0;
};

// The back end of a dbl::database: connection, transaction state, registered tables, the
// foreign key reference map, the auto id counter, busy and cancel callbacks. A connection is
// used by one thread at a time.
class database_implementer {
 public:
  database_implementer();
  virtual ~database_implementer();
  database_implementer(const database_implementer&) = delete;
  database_implementer& operator=(const database_implementer&) = delete;

  // Tables.
  // Files the description and its foreign keys; ensures the auto id table when the table
  // has an auto id.
  virtual void register_table(const table_description& table);
  virtual bool table_exists(const std::string& name);
  virtual const std::type_info& auto_id_storage_type() const { return typeid(std::int64_t); }
  virtual void create_table(const table_description& table);
  virtual void drop_table(const std::string& name);
  virtual void create_temporary_table(const table_description& table);
  virtual void drop_temporary_table(const std::string& name) { drop_table(name); }
  virtual table_description auto_id_table_description() const;
  // Throws std::logic_error for a table that is not registered.
  const table_description& get_table(std::string_view name) const;
  const std::map<std::string, table_description, std::less<>>& tables() const { return tables_; }
  // The columns of other tables that point at `table`; empty when none.
  const std::vector<table_reference>& references_to(const std::string& table) const;
  std::string unique_table_name(const std::string& base);
  // The temporary id tables behind temporary_id_set, kept for the connection once made: a table
  // made and dropped for every set would be a schema change at every commit, and a rollback
  // after one makes SQLite compile every cached statement again. Acquiring gives an empty
  // table, "_dbl_temp" plus a number, for the caller alone until it is released.
  std::string acquire_id_table();
  // Empties the table for the next set; never throws.
  void release_id_table(const std::string& name) noexcept;

  // Transactions.
  // Throws std::logic_error when a transaction is open already; a failure leaves none open.
  // Unless `no_undo`, the transaction gets a transaction_undoer on `self`.
  void begin_transaction(save_policy_t policy, bool no_undo, bool immediate, const database& self);
  // Writes back the auto id counter and commits, then hands over the transaction's undoer
  // (null for a no-undo transaction). On failure the transaction stays open.
  std::shared_ptr<transaction_undoer> end_transaction();
  // Drops the undoer, with its undo tables, and rolls back.
  void rollback_transaction();
  bool in_transaction() const { return in_transaction_; }
  // Opens a savepoint: until rollback_savepoint(), transactions nest in it, so that a commit
  // reaches only as far as the savepoint, and its rollback takes back every change since. Lets
  // code that commits run and leave the database as it found it.
  // Throws std::logic_error when a transaction or a savepoint is open already.
  void begin_savepoint();
  // Rolls back to where begin_savepoint() was, an open transaction included, and closes the
  // savepoint. Throws std::logic_error when none is open.
  void rollback_savepoint();
  bool in_savepoint() const { return in_savepoint_; }
  // Throws std::logic_error outside a transaction.
  save_policy_t save_policy() const;
  bool undo_enabled() const { return in_transaction_ && !no_undo_; }
  // The undoer of the open transaction; null when it records no undo.
  const std::shared_ptr<transaction_undoer>& current_undoer() const { return undoer_; }

  // Inside a savepoint these nest in it.
  virtual void do_begin_transaction(bool immediate) = 0;
  virtual void do_end_transaction() = 0;
  virtual void do_rollback_transaction() = 0;

  // Statements.
  virtual std::unique_ptr<prepared_statement> prepare(const std::string& sql) = 0;
  // Runs the request and positions the result on its first row.
  virtual std::unique_ptr<sql_result_t> execute_query(const sql_request& request) = 0;
  // Runs the request to its end, ignoring rows; returns rows_changed().
  virtual std::int64_t execute(const sql_request& request) = 0;
  // Appends the first column of every row, as int.
  virtual void select_ints(const sql_request& request, std::vector<int>& out);
  // Runs the statement once for each value, bound to parameter 1.
  virtual void execute_for_ints(const sql_request& request, const std::vector<int>& ints) = 0;
  virtual void register_collation() = 0;
  virtual std::int64_t rows_changed() const = 0;

  // SQL words. Throws std::logic_error for a kind with no column type.
  virtual std::string column_type_word(const column_description& column) const;
  std::string column_definition(const column_description& column) const;

  // The next auto id; reads the stored counter on first use in a transaction.
  // REQUIRES: in_transaction().
  std::int64_t next_auto_id();

  // Busy and cancel.
  void set_busy_callback(std::function<bool(int)> callback) {
    busy_callback_ = std::move(callback);
  }
  // Throws std::logic_error when none was set.
  const std::function<bool(int)>& busy_callback() const;
  bool has_busy_callback() const { return static_cast<bool>(busy_callback_); }
  // Throws database_busy_error while a busy callback runs on this connection.
  void check_not_blocked() const;
  virtual bool has_cancel_callback() const { return false; }
  // Throws std::logic_error when none is set.
  virtual const jtb::cancel_callback& current_cancel_callback() const;
  virtual void push_cancel_callback(jtb::cancel_callback callback) { (void)callback; }
  virtual void pop_cancel_callback() {}

  std::thread::id owner_thread() const { return owner_thread_; }

 protected:
  void ensure_auto_id_table();
  void empty_id_table(const std::string& name);
  // Forgets the id tables made in a transaction that is rolled back.
  void discard_unsettled_id_tables();
  void create_table_with(const table_description& table, bool temporary);

  bool blocked_ = false;
  std::function<bool(int)> busy_callback_;

 private:
  bool in_transaction_ = false;
  bool in_savepoint_ = false;
  save_policy_t save_policy_ = merge_policy;
  bool no_undo_ = true;
  // Holds a database handle on this connection while the transaction is open; end and
  // rollback let go of it, so the cycle lasts no longer than the transaction.
  std::shared_ptr<transaction_undoer> undoer_;
  bool auto_id_loaded_ = false;
  std::int64_t auto_id_counter_ = 0;
  std::map<std::string, table_description, std::less<>> tables_;
  std::map<std::string, std::vector<table_reference>, std::less<>> references_;
  std::uint32_t table_name_counter_ = 0;
  // Id tables that stand: free for the next set, or made in the open transaction and so gone
  // if it rolls back.
  std::set<std::string> standing_id_tables_;
  std::vector<std::string> free_id_tables_;
  std::vector<std::string> unsettled_id_tables_;
  std::thread::id owner_thread_;
};

}  // namespace dbl
