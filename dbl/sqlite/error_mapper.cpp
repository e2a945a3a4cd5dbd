#include "dbl/sqlite/error_mapper.h"

#include <sqlite3.h>

#include <new>
#include <string>

#include "dbl/exceptions.h"

namespace dbl::sqlite_util {

namespace {

// SQLite ran out of memory; the text is the one callers have always seen.
class out_of_memory : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

}  // namespace

void check_result(int code, sqlite3* db) {
  if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE) return;
  if (code == SQLITE_ERROR && db != nullptr) code = sqlite3_errcode(db);
  switch (code) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return;
    case SQLITE_ABORT:
    case SQLITE_INTERRUPT:
      throw cancel_error();
    case SQLITE_BUSY:
      throw database_busy_error(
          "The sqlite database is busy or locked.  This operation may be successful if it is "
          "attempted again.");
    case SQLITE_NOMEM:
      throw out_of_memory();
    case SQLITE_CORRUPT:
      throw database_corrupt_error();
    default:
      if (db == nullptr) {
        throw internal_database_error(
            "An internal error was encountered in the sqlite database.  No sqlite error "
            "message is available.",
            code, true);
      }
      throw internal_database_error(
          std::string("An error was encountered in the sqlite database: ") + sqlite3_errmsg(db),
          code, true);
  }
}

}  // namespace dbl::sqlite_util
