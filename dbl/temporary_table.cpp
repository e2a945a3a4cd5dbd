#include "dbl/temporary_table.h"

namespace dbl {

temporary_table_scope::temporary_table_scope(database db, table_description table)
    : db_(std::move(db)), table_(std::move(table)) {
  db_.create_temporary_table(table_);
}

temporary_table_scope::~temporary_table_scope() {
  try {
    if (db_.is_open()) db_.implementer().drop_temporary_table(table_.name());
  } catch (...) {
    // A temporary table goes with its connection at the latest.
  }
}

}  // namespace dbl
