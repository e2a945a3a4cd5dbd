// Expanding tags to their descendants through vael_util against raw SQLite on one catalog:
// raw/<case> runs hand-written SQL with prepared statements reused, vael/<case> the helper,
// for the same answer. The catalog holds a 10,000-tag forest in user_ns: ten top-level tags,
// each the root of a tree with ten children per tag.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "catalog/connection.h"
#include "catalog_util/well_known_tags.h"

namespace {

constexpr int kNamespace = 500001;
constexpr int kFirstTag = 500002;
constexpr int kTags = 10000;
constexpr int kTopLevel = 10;

void exec(sqlite3* db, const std::string& sql) {
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw std::runtime_error(sqlite3_errmsg(db));
  }
}

// Made once: a catalog made through the model, then filled with raw SQL. Tag k hangs under
// the namespace when k < 10, else under tag k / 10 - 1.
const std::string& filled_catalog() {
  static vantor_bench::scratch_folder folder("vantor-wellknown-bench");
  static const std::string path = [] {
    const std::string p = folder.file("catalog.db");
    std::ofstream(p).close();
    { vael::connection made(p); }
    sqlite3* db = nullptr;
    if (sqlite3_open(p.c_str(), &db) != SQLITE_OK) throw std::runtime_error("open failed");
    exec(db, "BEGIN IMMEDIATE TRANSACTION");
    exec(db, "INSERT INTO tag_table VALUES (" + std::to_string(kNamespace) +
                 ", 1, 'user_ns', 0, 10, 'custom_tag_namespace', 0, 0, 1, 0, 0)");
    exec(db, "WITH RECURSIVE n(k) AS (SELECT 0 UNION ALL SELECT k + 1 FROM n WHERE k < " +
                 std::to_string(kTags - 1) +
                 ") INSERT INTO tag_table (id, change_id, name, parent_id, sibling_index, "
                 "type_name, media_is_ordered, can_tag_media, can_have_children, "
                 "applies_to_all_in_media_stack, applies_to_all_in_version_stack) SELECT " +
                 std::to_string(kFirstTag) + " + k, 1, 'tag ' || k, CASE WHEN k < 10 THEN " +
                 std::to_string(kNamespace) + " ELSE " + std::to_string(kFirstTag) +
                 " + k / 10 - 1 END, k % 10, 'user_custom', 0, 1, 1, 0, 0 FROM n");
    exec(db, "UPDATE _dbl_auto_id_table SET last_assigned_id = 600000");
    exec(db, "END TRANSACTION");
    sqlite3_close(db);
    return p;
  }();
  return path;
}

std::vector<int> top_level_ids() {
  std::vector<int> ids;
  for (int i = 0; i < kTopLevel; ++i) ids.push_back(kFirstTag + i);
  return ids;
}

// A raw connection with the catalog's pragmas and the one statement the walk needs.
class raw_walk {
 public:
  explicit raw_walk(const std::string& path) {
    if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) throw std::runtime_error("open failed");
    exec(db_, "PRAGMA cache_size = 6000; PRAGMA temp_store = MEMORY;");
    if (sqlite3_prepare_v2(db_,
                           "SELECT id, can_have_children FROM tag_table WHERE parent_id = ? "
                           "ORDER BY sibling_index",
                           -1, &children_, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(db_));
    }
  }
  ~raw_walk() {
    sqlite3_finalize(children_);
    sqlite3_close(db_);
  }
  raw_walk(const raw_walk&) = delete;
  raw_walk& operator=(const raw_walk&) = delete;

  // For each id: the id, then its descendants breadth first in sibling order; a tag that
  // cannot have children is not descended into.
  void expand(const std::vector<int>& input, std::vector<int>& out) {
    out.clear();
    std::vector<int> frontier;
    std::vector<int> next;
    for (int id : input) {
      out.push_back(id);
      frontier.assign(1, id);
      while (!frontier.empty()) {
        next.clear();
        for (int parent : frontier) {
          sqlite3_bind_int(children_, 1, parent);
          while (sqlite3_step(children_) == SQLITE_ROW) {
            const int child = sqlite3_column_int(children_, 0);
            out.push_back(child);
            if (sqlite3_column_int(children_, 1) != 0) next.push_back(child);
          }
          sqlite3_reset(children_);
        }
        frontier.swap(next);
      }
    }
  }

 private:
  sqlite3* db_ = nullptr;
  sqlite3_stmt* children_ = nullptr;
};

void BM_raw_expand_tag_descendants(benchmark::State& state) {
  raw_walk walk(filled_catalog());
  const std::vector<int> input = top_level_ids();
  std::vector<int> out;
  for (auto _ : state) {
    walk.expand(input, out);
    benchmark::DoNotOptimize(out.data());
  }
  if (out.size() != kTags) state.SkipWithError("wrong tag count");
  state.SetItemsProcessed(state.iterations() * kTags);
}

void BM_vael_expand_tag_descendants(benchmark::State& state) {
  const std::vector<int> input = top_level_ids();
  std::vector<int> expected;
  raw_walk(filled_catalog()).expand(input, expected);
  vael::connection c(filled_catalog());
  std::vector<int> out;
  for (auto _ : state) {
    out = vael_util::expand_tag_descendants(c.handle(), input);
    benchmark::DoNotOptimize(out.data());
  }
  if (out != expected || out.size() != kTags) state.SkipWithError("not the raw answer");
  state.SetItemsProcessed(state.iterations() * kTags);
}

}  // namespace

BENCHMARK(BM_raw_expand_tag_descendants)
    ->Name("raw/expand_tag_descendants")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_expand_tag_descendants)
    ->Name("vael/expand_tag_descendants")
    ->Unit(benchmark::kMillisecond);
