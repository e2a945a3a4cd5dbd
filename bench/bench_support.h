#pragma once

#include <benchmark/benchmark.h>
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

// "WITH RECURSIVE n(i) ...": a CTE of the integers first..last, to put before a statement that
// fills rows with raw SQL.
inline std::string numbers(int first, int last) {
  return "WITH RECURSIVE n(i) AS (SELECT " + std::to_string(first) +
         " UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(last) + ") ";
}

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

// What a catalog commit does by hand: move the counter, date the new id, look for the pruning
// row. The caller stamps its changed rows with the id.
class raw_commit {
 public:
  explicit raw_commit(raw_connection& c)
      : read_(c.prepare("SELECT change_id FROM change_table WHERE change_type = 'db_changed'")),
        move_(c.prepare("UPDATE change_table SET change_id = ? WHERE change_type = 'db_changed'")),
        date_(c.prepare("INSERT INTO db_change_timestamp_table (change_id, change_date_time) "
                        "VALUES (?, '2020-01-01T00:00:00')")),
        match_(c.prepare("SELECT change_id FROM db_change_timestamp_table WHERE change_id = ?")) {}

  int next_id() {
    sqlite3_step(read_);
    const int id = sqlite3_column_int(read_, 0) + 1;
    sqlite3_reset(read_);
    sqlite3_bind_int(move_, 1, id);
    step_done(move_);
    sqlite3_bind_int(date_, 1, id);
    step_done(date_);
    sqlite3_bind_int(match_, 1, id - 11000);
    benchmark::DoNotOptimize(sqlite3_step(match_));
    sqlite3_reset(match_);
    return id;
  }

 private:
  sqlite3_stmt* read_;
  sqlite3_stmt* move_;
  sqlite3_stmt* date_;
  sqlite3_stmt* match_;
};

}  // namespace vantor_bench
