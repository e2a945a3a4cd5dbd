#pragma once

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "dbl/database_implementer.h"
#include "dbl/sqlite/statement.h"

struct sqlite3;

namespace dbl {

// The SQLite back end: one connection, two statement caches (20 ordinary statements, 5000 of
// the generated per-table ones), the busy handler, the stack of cancel callbacks and the
// i18n_collate collation.
class sqlite_implementer : public database_implementer {
 public:
  // Opens or creates the file and sets "PRAGMA synchronous": FULL for 0, NORMAL for 1, OFF
  // otherwise. Throws internal_database_error, with the SQLite code, when the open fails.
  sqlite_implementer(const std::string& path, int synchronous);
  // Rolls back an open transaction and closes the connection.
  ~sqlite_implementer() override;

  void do_begin_transaction(bool immediate) override;
  void do_end_transaction() override;
  void do_rollback_transaction() override;

  // An uncached statement; run it with sqlite_util::statement::step().
  std::unique_ptr<prepared_statement> prepare(const std::string& sql) override;
  std::unique_ptr<sql_result_t> execute_query(const sql_request& request) override;
  std::int64_t execute(const sql_request& request) override;
  void execute_for_ints(const sql_request& request, const std::vector<int>& ints) override;
  void register_collation() override;
  std::int64_t rows_changed() const override;
  std::string column_type_word(const column_description& column) const override;

  bool has_cancel_callback() const override { return !cancel_stack_.empty(); }
  const jtb::cancel_callback& current_cancel_callback() const override;
  void push_cancel_callback(jtb::cancel_callback callback) override;
  void pop_cancel_callback() override;

  // "PRAGMA cache_size = <pages>".
  void set_cache_size(int pages);
  // "PRAGMA temp_store = ": DEFAULT for 0, FILE for 1, MEMORY for 2; nothing for others.
  void set_temp_store(int level);

  std::size_t cached_statements(bool large) { return (large ? large_ : small_).size(); }

  // For results of this connection: throws what a callback left pending, else the mapped
  // error of `code`.
  [[noreturn]] void fail(int code);

 private:
  class lease;
  friend class sqlite_result;

  static int busy_handler(void* self, int count);
  static int progress_handler(void* self);

  lease acquire(const sql_request& request);
  void run(const std::string& sql);

  sqlite3* db_ = nullptr;
  std::vector<jtb::cancel_callback> cancel_stack_;
  // An exception thrown by a callback inside SQLite, kept until SQLite has returned.
  std::exception_ptr pending_;
  sqlite_util::statement_cache small_{20};
  sqlite_util::statement_cache large_{5000};
};

}  // namespace dbl
