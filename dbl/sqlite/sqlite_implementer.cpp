#include "dbl/sqlite/sqlite_implementer.h"

#include <sqlite3.h>

#include <array>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstddef>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "dbl/exceptions.h"
#include "dbl/sqlite/collation.h"
#include "dbl/sqlite/error_mapper.h"

namespace dbl {

namespace {

constexpr int kBusyRetryLimit = 10000;
constexpr int kProgressStep = 100;

// ISO extended text; a special value has no time part and goes out as its name alone.
std::string timestamp_text(const boost::posix_time::ptime& t) {
  if (t.is_special()) return boost::gregorian::to_iso_extended_string(t.date());
  // The same few times are bound again and again (the unknown-date bounds of every new media
  // and of both its sort rows, a stack's top dates on each member, a file date), and boost
  // formats through a stream, which costs more than the statement; so the last eight texts
  // are kept. Fewer than the times in one rotation would miss on every bind.
  thread_local std::array<std::pair<boost::posix_time::ptime, std::string>, 8> recent;
  thread_local std::size_t next = 0;
  for (const auto& [time, text] : recent) {
    if (!text.empty() && time == t) return text;
  }
  std::string text = boost::posix_time::to_iso_extended_string(t);
  recent[next] = {t, text};
  next = (next + 1) % recent.size();
  return text;
}

boost::posix_time::ptime parse_timestamp(const std::string& text) {
  using boost::posix_time::ptime;
  if (text.find('T') != std::string::npos) {
    return boost::posix_time::from_iso_extended_string(text);
  }
  if (text == "not-a-date-time") return ptime(boost::date_time::not_a_date_time);
  if (text == "+infinity") return ptime(boost::date_time::pos_infin);
  if (text == "-infinity") return ptime(boost::date_time::neg_infin);
  return ptime(boost::gregorian::from_simple_string(text));
}

void check_bind(int rc, sqlite3* db) {
  sqlite_util::check_result(rc, db);
}

// Binds one value to parameter `index`. Text and blobs are copied unless `keep` says the
// caller keeps them alive until the statement is reset.
void bind_value(sqlite3_stmt* h, sqlite3* db, int index, const entry_data& v, bool keep) {
  const auto lifetime = keep ? SQLITE_STATIC : SQLITE_TRANSIENT;
  switch (v.kind()) {
    case entry_kind::null:
      return check_bind(sqlite3_bind_null(h, index), db);
    case entry_kind::int32:
    case entry_kind::int16:
    case entry_kind::uint16:
    case entry_kind::auto_id_value:
      return check_bind(sqlite3_bind_int(h, index, v.as_int()), db);
    case entry_kind::uint32:
    case entry_kind::int64:
      return check_bind(sqlite3_bind_int64(h, index, v.as_int64()), db);
    case entry_kind::float64:
      return check_bind(sqlite3_bind_double(h, index, v.as_double()), db);
    case entry_kind::boolean:
      return check_bind(sqlite3_bind_int(h, index, v.as_bool() ? 1 : 0), db);
    case entry_kind::string:
    case entry_kind::fixed_text: {
      const std::string& s = v.as_string();
      return check_bind(sqlite3_bind_text(h, index, s.data(), static_cast<int>(s.size()), lifetime),
                        db);
    }
    case entry_kind::timestamp: {
      const std::string s = timestamp_text(v.as_ptime());
      return check_bind(
          sqlite3_bind_text(h, index, s.data(), static_cast<int>(s.size()), SQLITE_TRANSIENT), db);
    }
    case entry_kind::bytes: {
      // A zero-length blob needs a non-null pointer, or SQLite stores NULL.
      static const unsigned char kEmpty[1] = {0};
      const blob& b = v.as_blob();
      const void* data = b.empty() ? kEmpty : b.data();
      return check_bind(sqlite3_bind_blob(h, index, data, static_cast<int>(b.size()), lifetime),
                        db);
    }
    default:
      throw std::logic_error(
          "An unrecognized data type was encountered in the sqlite binding code.");
  }
}

void bind_request(sqlite3_stmt* h, sqlite3* db, const sql_request& request, bool keep) {
  if (request.params != nullptr) {
    int index = 1;
    for (const entry_data& v : *request.params) bind_value(h, db, index++, v, keep);
  }
  if (request.named != nullptr) {
    for (const auto& [name, v] : *request.named) {
      const int index = sqlite3_bind_parameter_index(h, name.c_str());
      if (index > 0) bind_value(h, db, index, v, keep);
    }
  }
}

entry_data read_cell(sqlite3_stmt* h, int i, const column_description& column) {
  switch (sqlite3_column_type(h, i)) {
    case SQLITE_NULL:
      return entry_data();
    case SQLITE_INTEGER:
      switch (column.kind()) {
        case entry_kind::int64:
          return entry_data(static_cast<std::int64_t>(sqlite3_column_int64(h, i)));
        case entry_kind::float64:
          return entry_data(sqlite3_column_double(h, i));
        case entry_kind::boolean:
          return entry_data(sqlite3_column_int(h, i) != 0);
        default:
          return entry_data(sqlite3_column_int(h, i));
      }
    case SQLITE_FLOAT:
      return entry_data(sqlite3_column_double(h, i));
    case SQLITE_TEXT: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(h, i));
      std::string s(text, static_cast<std::size_t>(sqlite3_column_bytes(h, i)));
      switch (column.kind()) {
        case entry_kind::timestamp:
          return entry_data(parse_timestamp(s));
        case entry_kind::fixed_text:
          return entry_data(fixed_string{column.width(), std::move(s)});
        case entry_kind::wstring:
          return entry_data(blob(s.begin(), s.end()));
        default:
          return entry_data(std::move(s));
      }
    }
    default: {
      const auto* data = static_cast<const unsigned char*>(sqlite3_column_blob(h, i));
      const auto size = static_cast<std::size_t>(sqlite3_column_bytes(h, i));
      return entry_data(data == nullptr ? blob() : blob(data, data + size));
    }
  }
}

}  // namespace

// Holds a statement for one execution; resets it and gives it back on destruction.
class sqlite_implementer::lease {
 public:
  explicit lease(std::shared_ptr<sqlite_util::statement> s) : s_(std::move(s)) {
    s_->in_use = true;
  }
  lease(lease&& other) noexcept : s_(std::move(other.s_)) {}
  lease& operator=(lease&&) = delete;
  ~lease() { release(); }

  sqlite_util::statement& operator*() const { return *s_; }
  sqlite_util::statement* operator->() const { return s_.get(); }
  void release() noexcept {
    if (s_ == nullptr) return;
    if (s_->is_valid()) {
      sqlite3_stmt* h = s_->handle();
      sqlite3_reset(h);
      sqlite3_clear_bindings(h);
    }
    s_->in_use = false;
    s_.reset();
  }

 private:
  std::shared_ptr<sqlite_util::statement> s_;
};

class sqlite_result : public sql_result_t {
 public:
  sqlite_result(sqlite_implementer& impl, sqlite_implementer::lease statement, column_list columns)
      : impl_(impl), statement_(std::move(statement)), columns_(std::move(columns)) {}

  int column_index(const std::string& name) override {
    if (names_.empty() && !at_end_) {
      sqlite3_stmt* h = statement_->handle();
      const int n = sqlite3_column_count(h);
      for (int i = 0; i < n; ++i) names_.emplace(sqlite3_column_name(h, i), i);
    }
    const auto it = names_.find(name);
    if (it == names_.end()) {
      throw std::logic_error("The column " + name + " is not a valid result of this query.");
    }
    return it->second;
  }

  const entry_data_vector& current_row() const override { return row_; }

  void advance() override {
    if (at_end_) {
      throw std::logic_error("An attempt to advance a query that had no more results was made.");
    }
    const int rc = statement_->step();
    if (rc == SQLITE_ROW) {
      read_row();
    } else if (rc == SQLITE_DONE || rc == SQLITE_OK) {
      at_end_ = true;
      row_.clear();
      // Give the statement back early, so that the cache can hand it out again.
      statement_.release();
    } else {
      impl_.fail(rc);
    }
  }

  bool at_end() const override { return at_end_; }

 private:
  void read_row() {
    sqlite3_stmt* h = statement_->handle();
    const int n = sqlite3_column_count(h);
    if (columns_ == nullptr || static_cast<std::size_t>(n) != columns_->size()) {
      throw std::logic_error(
          "Could not read the result from the sqlite database, because there was an unexpected "
          "number of result entries for this row.");
    }
    row_.resize(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
      const auto at = static_cast<std::size_t>(i);
      row_[at] = read_cell(h, i, (*columns_)[at]);
    }
  }

  sqlite_implementer& impl_;
  sqlite_implementer::lease statement_;
  column_list columns_;
  entry_data_vector row_;
  std::unordered_map<std::string, int> names_;
  bool at_end_ = false;
};

sqlite_implementer::sqlite_implementer(const std::string& path, int synchronous) {
  const int rc = sqlite3_open(path.c_str(), &db_);
  if (rc != SQLITE_OK) {
    const std::string message = db_ != nullptr ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
    sqlite3_close(db_);
    db_ = nullptr;
    throw internal_database_error("The following sqlite error was encountered: " + message, rc,
                                  true);
  }
  try {
    sqlite3_busy_handler(db_, &busy_handler, this);
    run(std::string("PRAGMA synchronous = ") + (synchronous == 0   ? "FULL;"
                                                : synchronous == 1 ? "NORMAL;"
                                                                   : "OFF;"));
    register_collation();
  } catch (...) {
    sqlite3_close(db_);
    throw;
  }
}

sqlite_implementer::~sqlite_implementer() {
  if (in_transaction()) {
    try {
      rollback_transaction();
    } catch (...) {
      // Closing rolls back what is left in any case.
    }
  }
  small_.clear();
  large_.clear();
  // Results that outlive the connection still hold statements; close_v2 waits for them.
  sqlite3_close_v2(db_);
}

void sqlite_implementer::run(const std::string& sql) {
  sql_request request;
  request.sql = sql;
  execute(request);
}

void sqlite_implementer::do_begin_transaction(bool immediate) {
  if (in_savepoint()) {
    run("SAVEPOINT dbl_nested");
  } else {
    run(immediate ? "BEGIN IMMEDIATE TRANSACTION" : "BEGIN TRANSACTION");
  }
}

void sqlite_implementer::do_end_transaction() {
  run(in_savepoint() ? "RELEASE dbl_nested" : "END TRANSACTION");
}

void sqlite_implementer::do_rollback_transaction() {
  // SQLite may have rolled back already, after an I/O error or a busy commit; then the
  // savepoint went with it.
  if (sqlite3_get_autocommit(db_) != 0) return;
  if (in_savepoint()) {
    run("ROLLBACK TO dbl_nested");
    run("RELEASE dbl_nested");
  } else {
    run("ROLLBACK TRANSACTION");
  }
}

std::unique_ptr<prepared_statement> sqlite_implementer::prepare(const std::string& sql) {
  check_not_blocked();
  return std::make_unique<sqlite_util::statement>(db_, sql);
}

sqlite_implementer::lease sqlite_implementer::acquire(const sql_request& request) {
  // After an error such as a failed allocation SQLite may have rolled the transaction back on
  // its own, even when the caller passed over the error; what followed would then be saved
  // statement by statement.
  if (in_transaction() && sqlite3_get_autocommit(db_) != 0) {
    throw internal_database_error(
        "The transaction was rolled back after an earlier error; none of it was saved.",
        SQLITE_ABORT, true);
  }
  sqlite_util::statement_cache& cache = request.large_cache ? large_ : small_;
  std::shared_ptr<sqlite_util::statement> s = cache.find(request.sql);
  if (s != nullptr && !s->in_use && s->is_valid()) return lease(std::move(s));
  const bool store = s == nullptr || !s->is_valid();
  try {
    s = std::make_shared<sqlite_util::statement>(db_, request.sql);
  } catch (...) {
    // A busy callback that threw during the prepare comes first.
    if (pending_ != nullptr) fail(SQLITE_BUSY);
    throw;
  }
  // A statement still in use by a live result is not shared; the fresh one stays uncached.
  if (store) cache.store(s);
  return lease(std::move(s));
}

std::int64_t sqlite_implementer::execute(const sql_request& request) {
  check_not_blocked();
  for (int attempt = 0;; ++attempt) {
    try {
      lease statement = acquire(request);
      bind_request(statement->handle(), db_, request, true);
      int rc;
      while ((rc = statement->step()) == SQLITE_ROW) {
      }
      if (rc != SQLITE_DONE) fail(rc);
      return sqlite3_changes(db_);
    } catch (const prepared_query_expired_error&) {
      // The schema changed since the cached statement was compiled; no row was produced yet,
      // so it is safe to compile it again once.
      if (attempt > 0) throw;
    }
  }
}

std::unique_ptr<sql_result_t> sqlite_implementer::execute_query(const sql_request& request) {
  check_not_blocked();
  for (int attempt = 0;; ++attempt) {
    try {
      lease statement = acquire(request);
      bind_request(statement->handle(), db_, request, false);
      auto result = std::make_unique<sqlite_result>(*this, std::move(statement), request.columns);
      result->advance();
      return result;
    } catch (const prepared_query_expired_error&) {
      if (attempt > 0) throw;
    }
  }
}

void sqlite_implementer::execute_for_ints(const sql_request& request,
                                          const std::vector<int>& ints) {
  check_not_blocked();
  for (int attempt = 0;; ++attempt) {
    try {
      lease statement = acquire(request);
      sqlite3_stmt* h = statement->handle();
      for (const int value : ints) {
        check_bind(sqlite3_bind_int(h, 1, value), db_);
        int rc;
        while ((rc = statement->step()) == SQLITE_ROW) {
        }
        if (rc != SQLITE_DONE) fail(rc);
        sqlite3_reset(h);
      }
      return;
    } catch (const prepared_query_expired_error&) {
      // Only the first step can meet a changed schema: nothing ran yet.
      if (attempt > 0) throw;
    }
  }
}

void sqlite_implementer::register_collation() {
  sqlite_util::check_result(sqlite_util::register_i18n_collate(db_), db_);
}

std::int64_t sqlite_implementer::rows_changed() const {
  return sqlite3_changes(db_);
}

std::string sqlite_implementer::column_type_word(const column_description& column) const {
  switch (column.kind()) {
    case entry_kind::auto_id_value:
    case entry_kind::int32:
    case entry_kind::int64:
    case entry_kind::boolean:
      return "INTEGER";
    case entry_kind::float64:
      return "NUMERIC";
    case entry_kind::timestamp:
    case entry_kind::string:
      return "TEXT";
    case entry_kind::bytes:
      return "BLOB";
    default:
      return database_implementer::column_type_word(column);
  }
}

const jtb::cancel_callback& sqlite_implementer::current_cancel_callback() const {
  if (cancel_stack_.empty()) return database_implementer::current_cancel_callback();
  return cancel_stack_.back();
}

void sqlite_implementer::push_cancel_callback(jtb::cancel_callback callback) {
  if (cancel_stack_.empty()) sqlite3_progress_handler(db_, kProgressStep, &progress_handler, this);
  cancel_stack_.push_back(std::move(callback));
}

void sqlite_implementer::pop_cancel_callback() {
  if (cancel_stack_.empty()) return;
  cancel_stack_.pop_back();
  if (cancel_stack_.empty()) sqlite3_progress_handler(db_, 0, nullptr, nullptr);
}

void sqlite_implementer::set_cache_size(int pages) {
  run("PRAGMA cache_size = " + std::to_string(pages));
}

void sqlite_implementer::set_temp_store(int level) {
  static const char* const kLevels[] = {"DEFAULT", "FILE", "MEMORY"};
  if (level < 0 || level > 2) return;
  run(std::string("PRAGMA temp_store = ") + kLevels[level]);
}

void sqlite_implementer::fail(int code) {
  if (pending_ != nullptr) {
    std::exception_ptr e = std::move(pending_);
    pending_ = nullptr;
    std::rethrow_exception(e);
  }
  sqlite_util::check_result(code, db_);
  throw internal_database_error(
      "An error was encountered in the sqlite database: " + std::string(sqlite3_errmsg(db_)), code,
      true);
}

int sqlite_implementer::busy_handler(void* self, int count) {
  auto* impl = static_cast<sqlite_implementer*>(self);
  if (count > kBusyRetryLimit || !impl->busy_callback_) return 0;
  impl->blocked_ = true;
  int answer = 0;
  try {
    answer = impl->busy_callback_(count) ? 1 : 0;
  } catch (...) {
    // Nothing may unwind through SQLite: give up the wait and rethrow once it has returned.
    impl->pending_ = std::current_exception();
  }
  impl->blocked_ = false;
  return answer;
}

int sqlite_implementer::progress_handler(void* self) {
  auto* impl = static_cast<sqlite_implementer*>(self);
  if (impl->cancel_stack_.empty()) return 0;
  try {
    return impl->cancel_stack_.back()() == jtb::progress_continue ? 0 : 4;
  } catch (...) {
    impl->pending_ = std::current_exception();
    return 4;
  }
}

}  // namespace dbl
