#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "dbl/database_implementer.h"

struct sqlite3;
struct sqlite3_stmt;

namespace dbl::sqlite_util {

// One compiled statement; finalises itself on destruction. Compiled with the legacy prepare
// call, which does not recompile silently: a schema change surfaces as SQLITE_SCHEMA, and
// the statement is then expired for good.
class statement : public prepared_statement {
 public:
  // Throws the mapped error when the text does not compile.
  statement(sqlite3* db, std::string_view sql);
  ~statement() override;
  statement(const statement&) = delete;
  statement& operator=(const statement&) = delete;

  bool is_valid() const override { return valid_; }
  bool is_expired() const { return expired_; }
  const std::string& sql() const { return sql_; }
  // Throws prepared_query_expired_error for an expired statement, std::runtime_error for one
  // otherwise finalised.
  sqlite3_stmt* handle() const;
  // Finalises now. Throws prepared_query_expired_error when SQLite reports a schema change.
  void finalize();
  // One step; returns the SQLite code, with the specific code in place of a generic error.
  // A schema change expires and finalises the statement and throws
  // prepared_query_expired_error.
  int step();

  // Set while a live result or execution owns the statement; a cache never hands it out then.
  bool in_use = false;

 private:
  sqlite3_stmt* stmt_ = nullptr;
  std::string sql_;
  bool valid_ = false;
  bool expired_ = false;
};

// Statements by SQL text, forgotten first in first out once `capacity` is reached. A hit
// does not renew an entry. The lock guards the map only, never a prepare.
class statement_cache {
 public:
  explicit statement_cache(std::size_t capacity) : capacity_(capacity) {}

  // Null on a miss.
  std::shared_ptr<statement> find(std::string_view sql);
  // Stores `s` under its text, replacing any entry of that text.
  void store(std::shared_ptr<statement> s);
  void erase(std::string_view sql);
  void clear();
  std::size_t size();

 private:
  struct entry {
    std::shared_ptr<statement> stmt;
  };
  using entry_list = std::list<entry>;

  void erase_locked(std::string_view sql);

  std::mutex mutex_;
  std::size_t capacity_;
  entry_list order_;
  // Keys view the text held by the statement of their own entry.
  std::unordered_map<std::string_view, entry_list::iterator> map_;
};

}  // namespace dbl::sqlite_util
