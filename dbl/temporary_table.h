#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dbl/database.h"
#include "dbl/table_description.h"

namespace dbl {

// Owns one temporary table: creates it on construction and drops it on destruction, so that
// it lives exactly as long as the scope. Temporary tables belong to their connection.
class temporary_table_scope {
 public:
  // Throws what the create throws.
  temporary_table_scope(database db, table_description table);
  // Drops the table; never throws.
  ~temporary_table_scope();
  temporary_table_scope(const temporary_table_scope&) = delete;
  temporary_table_scope& operator=(const temporary_table_scope&) = delete;

  const table_description& table() const { return table_; }
  const std::string& name() const { return table_.name(); }
  const database& db() const { return db_; }

 private:
  database db_;
  table_description table_;
};

// A set of ints kept in a temporary table of one column `id` (the primary key, so a
// duplicate fails), for passing long id lists to SQL by name. The table is the connection's
// (database_implementer::acquire_id_table), taken on first use and emptied and handed back
// when the set goes; a set never used takes none.
class temporary_id_set {
 public:
  explicit temporary_id_set(database db) : db_(std::move(db)) {}
  ~temporary_id_set();
  temporary_id_set(const temporary_id_set&) = delete;
  temporary_id_set& operator=(const temporary_id_set&) = delete;

  void add(std::vector<int> ids);
  void remove(std::vector<int> ids);
  std::vector<int> ids();
  const std::string& table_name();

 private:
  database db_;
  std::string name_;  // empty until first use
};

}  // namespace dbl
