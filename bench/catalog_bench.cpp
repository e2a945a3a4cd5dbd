// The catalog model against raw SQLite on one catalog of 100,000 media and 10,000 tags:
// vael/open_catalog opens it through vael::connection; raw/ and vael/ commit_1000_media
// stamp one new change id on 1,000 changed media, raw/ doing by hand what a commit does.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "bench/bench_support.h"
#include "catalog/catalog_database.h"
#include "catalog/connection.h"
#include "catalog/transaction.h"

namespace {

constexpr int kMedia = 100000;
constexpr int kTags = 10000;
constexpr int kChanged = 1000;

using vantor_bench::raw_connection;
using vantor_bench::step_done;

// Made once: a new catalog through the model, then filled with raw SQL, media ids 1001 on.
const std::string& filled_catalog() {
  static vantor_bench::scratch_folder folder("vantor-catalog-bench");
  static const std::string path = [] {
    const std::string p = folder.file("catalog.db");
    std::ofstream(p).close();
    { vael::connection made(p); }
    raw_connection c(p);
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    c.exec("WITH RECURSIVE n(i) AS (SELECT 1001 UNION ALL SELECT i + 1 FROM n WHERE i < " +
           std::to_string(1000 + kMedia) +
           ") INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
           "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
           "rendition_description_id) SELECT i, 1, 'pictures/trip ' || (i / 500) || '/img_' || i "
           "|| '.jpg', 'pictures/trip ' || (i / 500), 'img_' || i || '.jpg', 'image/jpeg', 2, "
           "'2009-01-01T00:00:00', '2009-01-01T00:00:01', 0 FROM n");
    c.exec("WITH RECURSIVE n(i) AS (SELECT 200001 UNION ALL SELECT i + 1 FROM n WHERE i < " +
           std::to_string(200000 + kTags) +
           ") INSERT INTO tag_table (id, change_id, name, parent_id, sibling_index, type_name, "
           "media_is_ordered, can_tag_media, can_have_children, applies_to_all_in_media_stack, "
           "applies_to_all_in_version_stack) SELECT i, 1, 'tag ' || i, 1, i, 'user_tag', 0, 1, 1, "
           "0, 0 FROM n");
    c.exec("UPDATE _dbl_auto_id_table SET last_assigned_id = 300000");
    c.exec("END TRANSACTION");
    return p;
  }();
  return path;
}

void BM_vael_open_catalog(benchmark::State& state) {
  const std::string& path = filled_catalog();
  for (auto _ : state) {
    vael::connection c(path);
    benchmark::DoNotOptimize(vael::current_change_id(c.handle()));
  }
}

// The statements of a commit, prepared once as a hand-written program would: move the
// counter, date the id, look for the pruning row, pass the ids through a temporary table and
// stamp them.
void BM_raw_commit_1000_media(benchmark::State& state) {
  raw_connection c(filled_catalog());
  c.exec("CREATE TEMPORARY TABLE changed_ids (id INTEGER PRIMARY KEY)");
  sqlite3_stmt* read = c.prepare("SELECT change_id FROM change_table WHERE change_type = ?");
  sqlite3_stmt* move = c.prepare("UPDATE change_table SET change_id = ? WHERE change_type = ?");
  sqlite3_stmt* date = c.prepare(
      "INSERT INTO db_change_timestamp_table (change_id, change_date_time) VALUES (?, "
      "'2020-01-01T00:00:00')");
  sqlite3_stmt* match =
      c.prepare("SELECT change_id FROM db_change_timestamp_table WHERE change_id = ?");
  sqlite3_stmt* add = c.prepare("INSERT INTO changed_ids (id) VALUES (?)");
  sqlite3_stmt* stamp = c.prepare("UPDATE media_table SET change_id = ? WHERE id IN changed_ids");
  int round = 0;
  for (auto _ : state) {
    ++round;
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    sqlite3_bind_text(read, 1, "db_changed", -1, SQLITE_STATIC);
    if (sqlite3_step(read) != SQLITE_ROW) state.SkipWithError("no counter");
    const int new_id = sqlite3_column_int(read, 0) + 1;
    sqlite3_reset(read);
    sqlite3_bind_int(move, 1, new_id);
    sqlite3_bind_text(move, 2, "db_changed", -1, SQLITE_STATIC);
    step_done(move);
    sqlite3_bind_int(date, 1, new_id);
    step_done(date);
    sqlite3_bind_int(match, 1, new_id - 11000);
    benchmark::DoNotOptimize(sqlite3_step(match));
    sqlite3_reset(match);
    for (int i = 0; i < kChanged; ++i) {
      sqlite3_bind_int(add, 1, 1001 + (round * kChanged + i) % kMedia);
      step_done(add);
    }
    sqlite3_bind_int(stamp, 1, new_id);
    step_done(stamp);
    c.exec("DELETE FROM changed_ids");
    c.exec("END TRANSACTION");
  }
  state.SetItemsProcessed(state.iterations() * kChanged);
}

void BM_vael_commit_1000_media(benchmark::State& state) {
  vael::connection c(filled_catalog());
  int round = 0;
  for (auto _ : state) {
    ++round;
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    for (int i = 0; i < kChanged; ++i) {
      vael::mark_media_changed(c.handle(), 1001 + (round * kChanged + i) % kMedia);
    }
    t.commit();
  }
  state.SetItemsProcessed(state.iterations() * kChanged);
}

}  // namespace

BENCHMARK(BM_vael_open_catalog)->Name("vael/open_catalog")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_raw_commit_1000_media)->Name("raw/commit_1000_media")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_commit_1000_media)->Name("vael/commit_1000_media")->Unit(benchmark::kMillisecond);
