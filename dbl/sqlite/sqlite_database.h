#pragma once

#include <string>

#include "dbl/database.h"
#include "dbl/progress.h"

namespace dbl {

enum synchronous_level : int {
  synchronous_full = 0,
  synchronous_normal = 1,
  synchronous_off = 2,
};

// Opens (or creates) a SQLite file as a dbl::database: busy handler installed, "PRAGMA
// synchronous" set, collation "i18n_collate" registered. Throws internal_database_error with
// "The following sqlite error was encountered: " and the SQLite message when the open fails.
class sqlite_database : public database {
 public:
  explicit sqlite_database(const std::string& path, int synchronous = synchronous_full);

  // "PRAGMA cache_size = <pages>".
  void set_cache_size(int pages);
  // "PRAGMA temp_store = ": DEFAULT for 0, FILE for 1, MEMORY for 2; nothing for others.
  void set_temp_store(int level);
};

namespace sqlite_util {

// Keeps a cancel callback pushed on a database for the life of the scope.
class scoped_cancel_callback {
 public:
  scoped_cancel_callback(database db, jtb::cancel_callback callback);
  ~scoped_cancel_callback();
  scoped_cancel_callback(const scoped_cancel_callback&) = delete;
  scoped_cancel_callback& operator=(const scoped_cancel_callback&) = delete;

 private:
  database db_;
};

}  // namespace sqlite_util
}  // namespace dbl
