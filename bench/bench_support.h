#pragma once

#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantor_bench {

// A temporary folder removed with everything in it.
class scratch_folder {
 public:
  explicit scratch_folder(const char* prefix = "vantor-bench") {
    std::string pattern =
        (std::filesystem::temp_directory_path() / (std::string(prefix) + "-XXXXXX")).string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~scratch_folder() { std::filesystem::remove_all(path_); }
  scratch_folder(const scratch_folder&) = delete;
  scratch_folder& operator=(const scratch_folder&) = delete;
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// A raw connection with the catalog's pragmas; statements made by prepare() are finalized
// with it.
class raw_connection {
 public:
  explicit raw_connection(const std::string& path) {
    if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) throw std::runtime_error("open failed");
    exec("PRAGMA cache_size = 6000; PRAGMA temp_store = MEMORY;");
  }
  ~raw_connection() {
    for (sqlite3_stmt* s : statements_) sqlite3_finalize(s);
    sqlite3_close(db_);
  }
  raw_connection(const raw_connection&) = delete;
  raw_connection& operator=(const raw_connection&) = delete;
  void exec(const std::string& sql) {
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(db_));
    }
  }
  sqlite3_stmt* prepare(const std::string& sql) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &s, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(db_));
    }
    statements_.push_back(s);
    return s;
  }
  sqlite3* get() const { return db_; }

 private:
  sqlite3* db_ = nullptr;
  std::vector<sqlite3_stmt*> statements_;
};

inline void step_done(sqlite3_stmt* s) {
  if (sqlite3_step(s) != SQLITE_DONE) throw std::runtime_error("step failed");
  sqlite3_reset(s);
}

inline std::vector<int> step_ints(sqlite3_stmt* s) {
  std::vector<int> out;
  while (sqlite3_step(s) == SQLITE_ROW) out.push_back(sqlite3_column_int(s, 0));
  sqlite3_reset(s);
  return out;
}

}  // namespace vantor_bench
