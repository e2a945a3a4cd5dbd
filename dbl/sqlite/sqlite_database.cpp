#include "dbl/sqlite/sqlite_database.h"

#include "dbl/sqlite/sqlite_implementer.h"

namespace dbl {

sqlite_database::sqlite_database(const std::string& path, int synchronous)
    : database(std::make_unique<sqlite_implementer>(path, synchronous)) {}

void sqlite_database::set_cache_size(int pages) {
  static_cast<sqlite_implementer&>(implementer()).set_cache_size(pages);
}

void sqlite_database::set_temp_store(int level) {
  static_cast<sqlite_implementer&>(implementer()).set_temp_store(level);
}

namespace sqlite_util {

scoped_cancel_callback::scoped_cancel_callback(database db, jtb::cancel_callback callback)
    : db_(std::move(db)) {
  db_.push_cancel_callback(std::move(callback));
}

scoped_cancel_callback::~scoped_cancel_callback() {
  if (db_.is_open()) db_.pop_cancel_callback();
}

}  // namespace sqlite_util
}  // namespace dbl
