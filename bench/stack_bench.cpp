// Stacks through the catalog model against raw SQLite on one catalog: raw/<case> runs
// hand-written SQL with prepared statements reused, vael/<case> the model's operations, for
// the same answer. The catalog holds 50,000 media with dates a minute apart; the last 10,000
// are paired into 5,000 version stacks, the first 35,000 are piled into media stacks.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "catalog/connection.h"
#include "catalog/media_stack.h"
#include "catalog/transaction.h"
#include "catalog/version_stack.h"

namespace {

constexpr int kMedia = 50000;
constexpr int kFirstMedia = 1001;
constexpr int kStacks = 10000;
constexpr int kFirstVersioned = kFirstMedia + 40000;
constexpr int kVersioned = 10000;
constexpr int kFirstVersionTag = 600001;
constexpr int kLastAssignedId = 700000;

using vantor_bench::raw_connection;
using vantor_bench::step_done;

// The first column of the first row, 0 when there is none or it is NULL.
int step_int(sqlite3_stmt* s) {
  const int value = sqlite3_step(s) == SQLITE_ROW ? sqlite3_column_int(s, 0) : 0;
  sqlite3_reset(s);
  return value;
}

int stack_namespace_id(raw_connection& c) {
  return step_int(c.prepare("SELECT id FROM tag_table WHERE parent_id = 0 AND name = 'stack_ns'"));
}

// Made once: a catalog made through the model, then filled with raw SQL.
const std::string& filled_catalog() {
  static vantor_bench::scratch_folder folder("vantor-stack-bench");
  static const std::string path = [] {
    const std::string p = folder.file("catalog.db");
    std::ofstream(p).close();
    { vael::connection made(p); }
    raw_connection c(p);
    const std::string ns = std::to_string(stack_namespace_id(c));
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    c.exec("WITH RECURSIVE n(i) AS (SELECT " + std::to_string(kFirstMedia) +
           " UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(kFirstMedia + kMedia - 1) +
           ") INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
           "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
           "rendition_description_id) SELECT i, 1, '/img_' || i || '.jpg', '/', "
           "'img_' || i || '.jpg', 'image/jpeg', 2, "
           "strftime('%Y-%m-%dT%H:%M:%S', '2009-01-01', '+' || i || ' minutes'), "
           "strftime('%Y-%m-%dT%H:%M:%S', '2009-01-01', '+' || i || ' minutes'), 0 FROM n");
    for (const char* sort : {"media_stack_sort_table", "version_stack_sort_table"}) {
      c.exec(std::string("INSERT INTO ") + sort +
             " (media_id, search_date_begin, search_date_end) SELECT id, search_date_begin, "
             "search_date_end FROM media_table");
    }
    // Pairs: the odd media of each pair is the first version, the even one made from it.
    c.exec("WITH RECURSIVE n(k) AS (SELECT 0 UNION ALL SELECT k + 1 FROM n WHERE k < " +
           std::to_string(kVersioned / 2 - 1) +
           ") INSERT INTO tag_table (id, change_id, name, parent_id, sibling_index, type_name, "
           "media_is_ordered, can_tag_media, can_have_children, applies_to_all_in_media_stack, "
           "applies_to_all_in_version_stack) SELECT " +
           std::to_string(kFirstVersionTag) + " + k, 1, '', " + ns +
           ", k + 1, 'version_stack', 0, 0, 0, 0, 0 FROM n");
    c.exec(
        "INSERT INTO version_stack_to_media_table (stack_tag_id, media_id, media_index, "
        "parent_id) SELECT " +
        std::to_string(kFirstVersionTag) + " + (id - " + std::to_string(kFirstVersioned) +
        ") / 2, id, (id - " + std::to_string(kFirstVersioned) + ") % 2, CASE WHEN (id - " +
        std::to_string(kFirstVersioned) +
        ") % 2 = 0 THEN id + 1 ELSE 0 END FROM media_table WHERE id >= " +
        std::to_string(kFirstVersioned) + " AND id < " +
        std::to_string(kFirstVersioned + kVersioned));
    c.exec(
        "UPDATE version_stack_sort_table SET (search_date_begin, search_date_end) = (SELECT "
        "search_date_begin, search_date_end FROM media_table WHERE id = media_id - 1) WHERE "
        "media_id IN (SELECT media_id FROM version_stack_to_media_table WHERE media_index = 1)");
    c.exec("UPDATE _dbl_auto_id_table SET last_assigned_id = " + std::to_string(kLastAssignedId));
    c.exec("END TRANSACTION");
    return p;
  }();
  return path;
}

// Stack j holds 2 to 5 media, taken in turn from the first media on.
std::vector<std::vector<int>> pile_members() {
  std::vector<std::vector<int>> piles;
  int next = kFirstMedia;
  for (int j = 0; j < kStacks; ++j) {
    std::vector<int> members;
    for (int k = 0; k < 2 + j % 4; ++k) members.push_back(next++);
    piles.push_back(members);
  }
  return piles;
}

void clear_piles(const std::string& path) {
  raw_connection c(path);
  c.exec("BEGIN IMMEDIATE TRANSACTION");
  c.exec("DELETE FROM media_stack_to_media_table");
  c.exec("DELETE FROM tag_table WHERE type_name = 'stack'");
  c.exec(
      "UPDATE media_stack_sort_table SET (search_date_begin, search_date_end) = (SELECT "
      "search_date_begin, search_date_end FROM media_table WHERE id = media_id)");
  c.exec("END TRANSACTION");
}

void expect_piles(benchmark::State& state, const std::string& path) {
  raw_connection c(path);
  const int wrong = step_int(c.prepare(
      "SELECT COUNT(*) FROM media_stack_sort_table s JOIN media_stack_to_media_table m ON "
      "m.media_id = s.media_id JOIN media_stack_to_media_table t ON t.stack_tag_id = "
      "m.stack_tag_id AND t.media_index = 0 JOIN media_table top ON top.id = t.media_id WHERE "
      "s.search_date_begin != top.search_date_begin"));
  const int piles = step_int(c.prepare("SELECT COUNT(*) FROM tag_table WHERE type_name = 'stack'"));
  if (wrong != 0 || piles != kStacks) state.SkipWithError("wrong piles");
}

using vantor_bench::raw_commit;

// By hand: refuse stacked or versioned media, add the tag after its last sibling, write the
// members, give each the top's date, stamp the changed media and tags at the end.
void BM_raw_create_10000_media_stacks(benchmark::State& state) {
  const std::string& path = filled_catalog();
  const std::vector<std::vector<int>> piles = pile_members();
  for (auto _ : state) {
    state.PauseTiming();
    clear_piles(path);
    state.ResumeTiming();
    raw_connection c(path);
    raw_commit commit(c);
    const int ns = stack_namespace_id(c);
    c.exec("CREATE TEMPORARY TABLE changed_media (id INTEGER PRIMARY KEY)");
    c.exec("CREATE TEMPORARY TABLE changed_tags (id INTEGER PRIMARY KEY)");
    sqlite3_stmt* read_id = c.prepare("SELECT last_assigned_id FROM _dbl_auto_id_table");
    sqlite3_stmt* write_id = c.prepare("UPDATE _dbl_auto_id_table SET last_assigned_id = ?");
    sqlite3_stmt* stacked =
        c.prepare("SELECT stack_tag_id FROM media_stack_to_media_table WHERE media_id = ?");
    sqlite3_stmt* versioned =
        c.prepare("SELECT stack_tag_id FROM version_stack_to_media_table WHERE media_id = ?");
    sqlite3_stmt* sibling =
        c.prepare("SELECT max(sibling_index) FROM tag_table WHERE parent_id = ?");
    sqlite3_stmt* add_tag = c.prepare(
        "INSERT INTO tag_table (id, change_id, name, parent_id, sibling_index, type_name, "
        "media_is_ordered, can_tag_media, can_have_children, applies_to_all_in_media_stack, "
        "applies_to_all_in_version_stack) VALUES (?, 0, '', ?, ?, 'stack', 0, 0, 0, 0, 0)");
    sqlite3_stmt* add_member = c.prepare(
        "INSERT INTO media_stack_to_media_table (stack_tag_id, media_id, media_index) VALUES "
        "(?, ?, ?)");
    sqlite3_stmt* dates =
        c.prepare("SELECT search_date_begin, search_date_end FROM media_table WHERE id = ?");
    sqlite3_stmt* sort = c.prepare(
        "UPDATE media_stack_sort_table SET search_date_begin = ?, search_date_end = ? WHERE "
        "media_id = ?");
    sqlite3_stmt* changed_media = c.prepare("INSERT OR IGNORE INTO changed_media (id) VALUES (?)");
    sqlite3_stmt* changed_tag = c.prepare("INSERT OR IGNORE INTO changed_tags (id) VALUES (?)");
    sqlite3_stmt* stamp_media =
        c.prepare("UPDATE media_table SET change_id = ? WHERE id IN changed_media");
    sqlite3_stmt* stamp_tags =
        c.prepare("UPDATE tag_table SET change_id = ? WHERE id IN changed_tags");
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    int last_id = step_int(read_id);
    for (const std::vector<int>& members : piles) {
      for (int m : members) {
        sqlite3_bind_int(stacked, 1, m);
        sqlite3_bind_int(versioned, 1, m);
        if (step_int(stacked) != 0 || step_int(versioned) != 0) {
          state.SkipWithError("already stacked");
        }
      }
      const int tag = ++last_id;
      sqlite3_bind_int(sibling, 1, ns);
      sqlite3_bind_int(add_tag, 1, tag);
      sqlite3_bind_int(add_tag, 2, ns);
      sqlite3_bind_int(add_tag, 3, step_int(sibling) + 1);
      step_done(add_tag);
      sqlite3_bind_int(changed_tag, 1, tag);
      step_done(changed_tag);
      int index = 0;
      for (int m : members) {
        sqlite3_bind_int(add_member, 1, tag);
        sqlite3_bind_int(add_member, 2, m);
        sqlite3_bind_int(add_member, 3, index++);
        step_done(add_member);
      }
      sqlite3_bind_int(dates, 1, members.front());
      if (sqlite3_step(dates) != SQLITE_ROW) state.SkipWithError("no top");
      const std::string begin(reinterpret_cast<const char*>(sqlite3_column_text(dates, 0)));
      const std::string end(reinterpret_cast<const char*>(sqlite3_column_text(dates, 1)));
      sqlite3_reset(dates);
      for (int m : members) {
        sqlite3_bind_text(sort, 1, begin.c_str(), static_cast<int>(begin.size()), SQLITE_STATIC);
        sqlite3_bind_text(sort, 2, end.c_str(), static_cast<int>(end.size()), SQLITE_STATIC);
        sqlite3_bind_int(sort, 3, m);
        step_done(sort);
        sqlite3_bind_int(changed_media, 1, m);
        step_done(changed_media);
      }
    }
    const int change = commit.next_id();
    sqlite3_bind_int(stamp_media, 1, change);
    step_done(stamp_media);
    sqlite3_bind_int(stamp_tags, 1, change);
    step_done(stamp_tags);
    sqlite3_bind_int(write_id, 1, last_id);
    step_done(write_id);
    c.exec("END TRANSACTION");
  }
  expect_piles(state, path);
  state.SetItemsProcessed(state.iterations() * kStacks);
}

void BM_vael_create_10000_media_stacks(benchmark::State& state) {
  const std::string& path = filled_catalog();
  const std::vector<std::vector<int>> piles = pile_members();
  for (auto _ : state) {
    state.PauseTiming();
    clear_piles(path);
    state.ResumeTiming();
    vael::connection c(path);
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    for (const std::vector<int>& members : piles) vael::media_stack::create(c.handle(), members);
    t.commit();
  }
  expect_piles(state, path);
  state.SetItemsProcessed(state.iterations() * kStacks);
}

// Each pair's tag, counted once for each of its two media.
std::int64_t expected_version_sum() {
  std::int64_t sum = 0;
  for (int k = 0; k < kVersioned / 2; ++k) sum += 2 * (kFirstVersionTag + k);
  return sum;
}

// The stack of each versioned media, checked to be a version stack, as loading one does.
void BM_raw_version_stack_get_for_media(benchmark::State& state) {
  raw_connection c(filled_catalog());
  sqlite3_stmt* stack =
      c.prepare("SELECT stack_tag_id FROM version_stack_to_media_table WHERE media_id = ?");
  sqlite3_stmt* type = c.prepare("SELECT type_name FROM tag_table WHERE id = ?");
  std::int64_t sum = 0;
  for (auto _ : state) {
    for (int m = kFirstVersioned; m < kFirstVersioned + kVersioned; ++m) {
      sqlite3_bind_int(stack, 1, m);
      const int id = step_int(stack);
      sqlite3_bind_int(type, 1, id);
      if (sqlite3_step(type) != SQLITE_ROW ||
          std::string(reinterpret_cast<const char*>(sqlite3_column_text(type, 0))) !=
              "version_stack") {
        state.SkipWithError("not a version stack");
      }
      sqlite3_reset(type);
      sum += id;
    }
  }
  if (sum != state.iterations() * expected_version_sum()) state.SkipWithError("wrong stacks");
  state.SetItemsProcessed(state.iterations() * kVersioned);
}

void BM_vael_version_stack_get_for_media(benchmark::State& state) {
  vael::connection c(filled_catalog());
  std::int64_t sum = 0;
  for (auto _ : state) {
    for (int m = kFirstVersioned; m < kFirstVersioned + kVersioned; ++m) {
      sum += vael::version_stack::get_for_media(c.handle(), m).get_id();
    }
  }
  if (sum != state.iterations() * expected_version_sum()) state.SkipWithError("wrong stacks");
  state.SetItemsProcessed(state.iterations() * kVersioned);
}

}  // namespace

BENCHMARK(BM_raw_create_10000_media_stacks)
    ->Name("raw/create_10000_media_stacks")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_create_10000_media_stacks)
    ->Name("vael/create_10000_media_stacks")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_raw_version_stack_get_for_media)
    ->Name("raw/version_stack_get_for_media")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_version_stack_get_for_media)
    ->Name("vael/version_stack_get_for_media")
    ->Unit(benchmark::kMillisecond);
