#pragma once

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

}  // namespace dbl
