#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

namespace vantor_test {

// The rows of `sql` on the database `file`, read with SQLite alone: columns joined by '|', each
// row ended by '\n'.
inline std::string sql_rows(const std::string& file, const std::string& sql) {
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK) << file;
  std::string out;
  const auto add = [](void* text, int n, char** values, char**) {
    auto& s = *static_cast<std::string*>(text);
    for (int i = 0; i < n; ++i) s += std::string(i ? "|" : "") + (values[i] ? values[i] : "");
    s += "\n";
    return 0;
  };
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), add, &out, nullptr), SQLITE_OK) << sql;
  sqlite3_close(db);
  return out;
}

}  // namespace vantor_test
