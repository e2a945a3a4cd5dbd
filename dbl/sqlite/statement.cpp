#include "dbl/sqlite/statement.h"

#include <sqlite3.h>

#include <stdexcept>

#include "dbl/exceptions.h"
#include "dbl/sqlite/error_mapper.h"

namespace dbl::sqlite_util {

statement::statement(sqlite3* db, std::string_view sql) : sql_(sql) {
  const int rc = sqlite3_prepare(db, sql_.data(), static_cast<int>(sql_.size()), &stmt_, nullptr);
  if (rc != SQLITE_OK) {
    sqlite3_finalize(stmt_);
    stmt_ = nullptr;
    check_result(rc, db);
  }
  if (stmt_ == nullptr) {
    // Only white space or a comment: nothing SQLite could run.
    throw internal_database_error(
        "An error was encountered in the sqlite database: empty statement", SQLITE_MISUSE, true);
  }
  valid_ = true;
}

statement::~statement() {
  if (valid_) sqlite3_finalize(stmt_);
}

sqlite3_stmt* statement::handle() const {
  if (!valid_) {
    if (expired_) throw prepared_query_expired_error();
    throw std::runtime_error("The sqlite statement being accessed is invalid");
  }
  return stmt_;
}

void statement::finalize() {
  if (!valid_) return;
  valid_ = false;
  const int rc = sqlite3_finalize(stmt_);
  stmt_ = nullptr;
  if (rc == SQLITE_SCHEMA) {
    expired_ = true;
    throw prepared_query_expired_error();
  }
  expired_ = false;
}

int statement::step() {
  sqlite3_stmt* h = handle();
  int rc = sqlite3_step(h);
  if (rc == SQLITE_ROW || rc == SQLITE_DONE) return rc;
  // The legacy interface reports a generic error from the step; reset gives the real one.
  const int specific = sqlite3_reset(h);
  if (specific != SQLITE_OK) rc = specific;
  if (rc == SQLITE_SCHEMA) {
    valid_ = false;
    expired_ = true;
    sqlite3_finalize(stmt_);
    stmt_ = nullptr;
    throw prepared_query_expired_error();
  }
  return rc;
}

std::shared_ptr<statement> statement_cache::find(std::string_view sql) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = map_.find(sql);
  return it == map_.end() ? nullptr : it->second->stmt;
}

void statement_cache::store(std::shared_ptr<statement> s) {
  std::lock_guard<std::mutex> lock(mutex_);
  erase_locked(s->sql());
  order_.push_back(entry{std::move(s)});
  const auto it = std::prev(order_.end());
  map_.emplace(it->stmt->sql(), it);
  while (order_.size() > capacity_) erase_locked(order_.front().stmt->sql());
}

void statement_cache::erase(std::string_view sql) {
  std::lock_guard<std::mutex> lock(mutex_);
  erase_locked(sql);
}

void statement_cache::erase_locked(std::string_view sql) {
  const auto it = map_.find(sql);
  if (it == map_.end()) return;
  const entry_list::iterator node = it->second;
  map_.erase(it);  // before the node, whose statement owns the key's text
  order_.erase(node);
}

void statement_cache::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  map_.clear();
  order_.clear();
}

std::size_t statement_cache::size() {
  std::lock_guard<std::mutex> lock(mutex_);
  return order_.size();
}

}  // namespace dbl::sqlite_util
