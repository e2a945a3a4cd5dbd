#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <typeinfo>

namespace dbl {

// A value did not hold the kind asked for, or held no numeric kind.
class bad_entry_data_cast : public std::bad_cast {
 public:
  enum class reason { wrong_type, not_numeric };
  explicit bad_entry_data_cast(reason r = reason::wrong_type) noexcept : reason_(r) {}
  const char* what() const noexcept override;

 private:
  reason reason_;
};

// The running statement was interrupted by a cancel callback.
class cancel_error : public std::exception {
 public:
  const char* what() const noexcept override { return "dbl::cancel_error"; }
};

class database_busy_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class database_connection_error : public std::logic_error {
 public:
  database_connection_error()
      : std::logic_error("The connection to the database has already been closed.") {}
};

class database_corrupt_error : public std::runtime_error {
 public:
  database_corrupt_error() : std::runtime_error("The database file is corrupt.") {}
};

// Any other engine failure. Carries the engine's result code when one was known.
class internal_database_error : public std::runtime_error {
 public:
  explicit internal_database_error(const std::string& message, int code = 0, bool has_code = false)
      : std::runtime_error(message), code_(code), has_code_(has_code) {}
  int code() const noexcept { return code_; }
  bool has_code() const noexcept { return has_code_; }

 private:
  int code_;
  bool has_code_;
};

// The schema changed under a prepared statement; prepare it again.
class prepared_query_expired_error : public std::runtime_error {
 public:
  prepared_query_expired_error()
      : std::runtime_error(
            "A prepared query could not be executed because it needs to be re-prepared.") {}
};

class record_changed_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class record_has_foreign_references_error : public std::runtime_error {
 public:
  record_has_foreign_references_error()
      : std::runtime_error(
            "The record could not be removed.  There were existing references to the record in "
            "the database.") {}
};

}  // namespace dbl
