#include "dbl/temporary_table.h"

#include <algorithm>

#include "dbl/query.h"

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

temporary_id_set::~temporary_id_set() {
  if (!name_.empty() && db_.is_open()) db_.implementer().release_id_table(name_);
}

const std::string& temporary_id_set::table_name() {
  if (name_.empty()) name_ = db_.implementer().acquire_id_table();
  return name_;
}

void temporary_id_set::add(std::vector<int> ids) {
  std::sort(ids.begin(), ids.end());
  query(db_, "INSERT INTO " + table_name() + " (id) VALUES (?)").execute_for_ints(ids);
}

void temporary_id_set::remove(std::vector<int> ids) {
  std::sort(ids.begin(), ids.end());
  query(db_, "DELETE FROM " + table_name() + " WHERE id = ?").execute_for_ints(ids);
}

std::vector<int> temporary_id_set::ids() {
  return query(db_, "SELECT id FROM " + table_name()).select_ints();
}

}  // namespace dbl
