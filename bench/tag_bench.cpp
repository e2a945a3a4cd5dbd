// Tags through the catalog model against raw SQLite on one catalog: raw/<case> runs
// hand-written SQL with prepared statements reused, vael/<case> the model's operations, for
// the same answer. The catalog holds 100,000 media, a 10,000-tag forest in person_ns, 20 tags
// of user_ns on three each of 10,000 media, and in event_ns a 1,000-tag subtree to move.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "catalog/catalog_database.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/hierarchy_change.h"
#include "catalog/tag.h"
#include "catalog/transaction.h"
#include "dbl/query.h"

namespace {

constexpr int kMedia = 100000;
constexpr int kFirstMedia = 1001;
constexpr int kQueried = 10000;
constexpr int kForestNs = 500001;  // person_ns: 10,000 tags, ten children each
constexpr int kForestTags = 10000;
constexpr int kUserNs = 600001;  // user_ns: tag 600002 for bulk tagging, 600003.. on media
constexpr int kBulkTag = 600002;
constexpr int kFirstQueryTag = 600003;
constexpr int kQueryTags = 20;
constexpr int kMoveNs = 700001;  // event_ns: B, and X with 1,000 tags beneath it
constexpr int kMoveTarget = 700002;
constexpr int kMoved = 700003;
constexpr int kMovedBelow = 1000;

using vantor_bench::raw_connection;
using vantor_bench::step_done;
using vantor_bench::step_ints;

std::string tag_rows(int first, int count, const std::string& parent, const std::string& sibling,
                     const char* type, int can_tag_media, int can_have_children) {
  return "WITH RECURSIVE n(k) AS (SELECT 0 UNION ALL SELECT k + 1 FROM n WHERE k < " +
         std::to_string(count - 1) +
         ") INSERT INTO tag_table (id, change_id, name, parent_id, sibling_index, type_name, "
         "media_is_ordered, can_tag_media, can_have_children, applies_to_all_in_media_stack, "
         "applies_to_all_in_version_stack) SELECT " +
         std::to_string(first) + " + k, 1, 'tag ' || k, " + parent + ", " + sibling + ", '" + type +
         "', 0, " + std::to_string(can_tag_media) + ", " + std::to_string(can_have_children) +
         ", 0, 0 FROM n";
}

std::string namespace_row(int id, const char* name, int sibling) {
  return "INSERT INTO tag_table VALUES (" + std::to_string(id) + ", 1, '" + name + "', 0, " +
         std::to_string(sibling) + ", 'custom_tag_namespace', 0, 0, 1, 0, 0)";
}

// Ten children per tag: tag k of a tree hangs under the root when k < 10, else under k/10-1.
std::string tree_parent(int first, int root) {
  return "CASE WHEN k < 10 THEN " + std::to_string(root) + " ELSE " + std::to_string(first) +
         " + k / 10 - 1 END";
}

// Made once: a catalog made through the model, then filled with raw SQL.
const std::string& filled_catalog() {
  static vantor_bench::scratch_folder folder("vantor-tag-bench");
  static const std::string path = [] {
    const std::string p = folder.file("catalog.db");
    std::ofstream(p).close();
    { vael::connection made(p); }
    raw_connection c(p);
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    c.exec("WITH RECURSIVE n(i) AS (SELECT " + std::to_string(kFirstMedia) +
           " UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(kFirstMedia + kMedia - 1) +
           ") INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
           "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
           "rendition_description_id) SELECT i, 1, 'pictures/img_' || i || '.jpg', 'pictures', "
           "'img_' || i || '.jpg', 'image/jpeg', 2, '2009-01-01T00:00:00', "
           "'2009-01-01T00:00:01', 0 FROM n");
    c.exec(namespace_row(kForestNs, "person_ns", 10));
    c.exec(tag_rows(kForestNs + 1, kForestTags, tree_parent(kForestNs + 1, kForestNs), "k % 10",
                    "user_person", 1, 1));
    c.exec(namespace_row(kUserNs, "user_ns", 11));
    c.exec(tag_rows(kBulkTag, 1 + kQueryTags, std::to_string(kUserNs), "k", "user_misc", 1, 0));
    for (int offset : {0, 7, 13}) {
      c.exec("INSERT INTO tag_to_media_table (media_id, tag_id, media_index) SELECT id, " +
             std::to_string(kFirstQueryTag) + " + (id + " + std::to_string(offset) + ") % " +
             std::to_string(kQueryTags) + ", 0 FROM media_table WHERE id < " +
             std::to_string(kFirstMedia + kQueried));
    }
    c.exec(namespace_row(kMoveNs, "event_ns", 12));
    c.exec(tag_rows(kMoveTarget, 2, std::to_string(kMoveNs), "k", "user_event", 1, 1));
    c.exec(tag_rows(kMoved + 1, kMovedBelow, tree_parent(kMoved + 1, kMoved), "k % 10",
                    "user_event", 1, 1));
    c.exec("UPDATE _dbl_auto_id_table SET last_assigned_id = 800000");
    c.exec("END TRANSACTION");
    return p;
  }();
  return path;
}

std::vector<int> queried_media() {
  std::vector<int> ids;
  for (int i = 0; i < kQueried; ++i) ids.push_back(kFirstMedia + i);
  return ids;
}

using vantor_bench::raw_commit;

void clear_bulk_tag(const std::string& path) {
  raw_connection c(path);
  c.exec("DELETE FROM tag_to_media_table WHERE tag_id = " + std::to_string(kBulkTag));
}

void BM_raw_tag_100000_media(benchmark::State& state) {
  const std::string& path = filled_catalog();
  for (auto _ : state) {
    state.PauseTiming();
    clear_bulk_tag(path);
    state.ResumeTiming();
    raw_connection c(path);
    raw_commit commit(c);
    c.exec("CREATE TEMPORARY TABLE changed_media (id INTEGER PRIMARY KEY)");
    sqlite3_stmt* tagged = c.prepare(
        "SELECT media_id FROM tag_to_media_table WHERE media_id = ? AND tag_id = ? LIMIT 1");
    sqlite3_stmt* insert = c.prepare(
        "INSERT INTO tag_to_media_table (media_id, tag_id, media_index) VALUES (?, ?, 0)");
    sqlite3_stmt* changed = c.prepare("INSERT OR IGNORE INTO changed_media (id) VALUES (?)");
    sqlite3_stmt* stamp_media =
        c.prepare("UPDATE media_table SET change_id = ? WHERE id IN changed_media");
    sqlite3_stmt* stamp_tag = c.prepare("UPDATE tag_table SET change_id = ? WHERE id = ?");
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    for (int m = kFirstMedia; m < kFirstMedia + kMedia; ++m) {
      sqlite3_bind_int(tagged, 1, m);
      sqlite3_bind_int(tagged, 2, kBulkTag);
      const bool present = sqlite3_step(tagged) == SQLITE_ROW;
      sqlite3_reset(tagged);
      if (present) continue;
      sqlite3_bind_int(insert, 1, m);
      sqlite3_bind_int(insert, 2, kBulkTag);
      step_done(insert);
      sqlite3_bind_int(changed, 1, m);
      step_done(changed);
    }
    const int id = commit.next_id();
    sqlite3_bind_int(stamp_media, 1, id);
    step_done(stamp_media);
    sqlite3_bind_int(stamp_tag, 1, id);
    sqlite3_bind_int(stamp_tag, 2, kBulkTag);
    step_done(stamp_tag);
    c.exec("END TRANSACTION");
  }
  clear_bulk_tag(path);  // the queries below count the tags of user_ns
  state.SetItemsProcessed(state.iterations() * kMedia);
}

void BM_vael_tag_100000_media(benchmark::State& state) {
  const std::string& path = filled_catalog();
  for (auto _ : state) {
    state.PauseTiming();
    clear_bulk_tag(path);
    state.ResumeTiming();
    vael::connection c(path);
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    vael::tag tag = vael::get_tag(c.handle(), kBulkTag);
    for (int m = kFirstMedia; m < kFirstMedia + kMedia; ++m) tag.tag_media(m);
    t.commit();
  }
  clear_bulk_tag(path);  // the queries below count the tags of user_ns
  state.SetItemsProcessed(state.iterations() * kMedia);
}

// The namespace filter by hand: user_ns is flat, so a tag is in it when its parent is.
void BM_raw_get_tags_on_media(benchmark::State& state) {
  raw_connection c(filled_catalog());
  sqlite3_stmt* q = c.prepare(
      "SELECT tag_id FROM tag_to_media_table INNER JOIN tag_table ON tag_table.id = tag_id "
      "WHERE media_id = ? AND tag_table.parent_id = ?");
  std::int64_t found = 0;
  for (auto _ : state) {
    for (int m : queried_media()) {
      sqlite3_bind_int(q, 1, m);
      sqlite3_bind_int(q, 2, kUserNs);
      found += static_cast<std::int64_t>(step_ints(q).size());
    }
  }
  if (found != state.iterations() * 3 * kQueried) state.SkipWithError("wrong tag count");
  state.SetItemsProcessed(state.iterations() * kQueried);
}

void BM_vael_get_tags_on_media(benchmark::State& state) {
  vael::connection c(filled_catalog());
  const vael::tag ns = vael::get_custom_tag_namespace(c.handle(), "user_ns").as_tag();
  std::int64_t found = 0;
  for (auto _ : state) {
    for (int m : queried_media())
      found += static_cast<std::int64_t>(ns.get_tags_on_media(m).size());
  }
  if (found != state.iterations() * 3 * kQueried) state.SkipWithError("wrong tag count");
  state.SetItemsProcessed(state.iterations() * kQueried);
}

void BM_raw_get_tags_on_any_media(benchmark::State& state) {
  raw_connection c(filled_catalog());
  c.exec("CREATE TEMPORARY TABLE ids (id INTEGER PRIMARY KEY)");
  sqlite3_stmt* add = c.prepare("INSERT INTO ids (id) VALUES (?)");
  sqlite3_stmt* q = c.prepare(
      "SELECT DISTINCT tag_id FROM tag_to_media_table INNER JOIN ids ON ids.id = media_id "
      "INNER JOIN tag_table ON tag_table.id = tag_id WHERE tag_table.parent_id = ?");
  for (auto _ : state) {
    for (int m : queried_media()) {
      sqlite3_bind_int(add, 1, m);
      step_done(add);
    }
    sqlite3_bind_int(q, 1, kUserNs);
    if (step_ints(q).size() != kQueryTags) state.SkipWithError("wrong tag count");
    c.exec("DELETE FROM ids");
  }
  state.SetItemsProcessed(state.iterations() * kQueried);
}

void BM_vael_get_tags_on_any_media(benchmark::State& state) {
  vael::connection c(filled_catalog());
  const vael::tag ns = vael::get_custom_tag_namespace(c.handle(), "user_ns").as_tag();
  const std::vector<int> media = queried_media();
  for (auto _ : state) {
    if (ns.get_tags_on_any_media(media, false).size() != kQueryTags) {
      state.SkipWithError("wrong tag count");
    }
  }
  state.SetItemsProcessed(state.iterations() * kQueried);
}

// Breadth first from the namespace, reading every row whole, as loading the tags does.
void BM_raw_walk_forest(benchmark::State& state) {
  raw_connection c(filled_catalog());
  sqlite3_stmt* children = c.prepare(
      "SELECT id, change_id, name, parent_id, sibling_index, type_name, media_is_ordered, "
      "can_tag_media, can_have_children, applies_to_all_in_media_stack, "
      "applies_to_all_in_version_stack FROM tag_table WHERE parent_id = ? ORDER BY "
      "sibling_index");
  for (auto _ : state) {
    std::vector<int> out;
    std::vector<int> frontier{kForestNs};
    while (!frontier.empty()) {
      std::vector<int> next;
      for (int id : frontier) {
        sqlite3_bind_int(children, 1, id);
        while (sqlite3_step(children) == SQLITE_ROW) {
          std::string name(reinterpret_cast<const char*>(sqlite3_column_text(children, 2)));
          benchmark::DoNotOptimize(name);
          next.push_back(sqlite3_column_int(children, 0));
        }
        sqlite3_reset(children);
      }
      out.insert(out.end(), next.begin(), next.end());
      frontier = std::move(next);
    }
    if (out.size() != kForestTags) state.SkipWithError("wrong tag count");
  }
  state.SetItemsProcessed(state.iterations() * kForestTags);
}

void BM_vael_walk_forest(benchmark::State& state) {
  vael::connection c(filled_catalog());
  for (auto _ : state) {
    // A cold cache is the starting point, not part of the walk.
    state.PauseTiming();
    vael::clear_caches(c.handle());
    state.ResumeTiming();
    const vael::custom_tag_namespace ns = vael::get_custom_tag_namespace(c.handle(), "person_ns");
    if (ns.get_all_descendant_ids().size() != kForestTags) state.SkipWithError("wrong tag count");
  }
  state.SetItemsProcessed(state.iterations() * kForestTags);
}

// X goes under B and back, in turns. By hand: count the namespace before and after, detach
// and reattach the new parent's children, stamp them.
void BM_raw_move_subtree(benchmark::State& state) {
  raw_connection c(filled_catalog());
  raw_commit commit(c);
  sqlite3_stmt* count = c.prepare(
      "WITH RECURSIVE down(id) AS (SELECT id FROM tag_table WHERE parent_id = ? UNION ALL "
      "SELECT tag_table.id FROM tag_table JOIN down ON tag_table.parent_id = down.id) "
      "SELECT COUNT(*) FROM down");
  sqlite3_stmt* children =
      c.prepare("SELECT id FROM tag_table WHERE parent_id = ? ORDER BY sibling_index");
  sqlite3_stmt* place = c.prepare(
      "UPDATE tag_table SET parent_id = ?, sibling_index = ?, change_id = ? WHERE id = ?");
  bool under_target = false;
  for (auto _ : state) {
    const int parent = under_target ? kMoveNs : kMoveTarget;
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    sqlite3_bind_int(count, 1, kMoveNs);
    const std::vector<int> before = step_ints(count);
    sqlite3_bind_int(children, 1, parent);
    std::vector<int> list = step_ints(children);
    list.push_back(kMoved);
    const int id = commit.next_id();
    for (int child : list) {
      sqlite3_bind_int(place, 1, 0);
      sqlite3_bind_int(place, 2, 0);
      sqlite3_bind_int(place, 3, id);
      sqlite3_bind_int(place, 4, child);
      step_done(place);
    }
    int index = 0;
    for (int child : list) {
      sqlite3_bind_int(place, 1, parent);
      sqlite3_bind_int(place, 2, index++);
      sqlite3_bind_int(place, 3, id);
      sqlite3_bind_int(place, 4, child);
      step_done(place);
    }
    if (step_ints(count) != before) state.SkipWithError("count changed");
    c.exec("END TRANSACTION");
    under_target = !under_target;
  }
}

void BM_vael_move_subtree(benchmark::State& state) {
  vael::connection c(filled_catalog());
  vael::custom_tag_namespace ns = vael::get_custom_tag_namespace(c.handle(), "event_ns");
  bool under_target = false;
  for (auto _ : state) {
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    vael::start_tag_hierarchy_change(c.handle(), ns);
    const vael::tag moved = vael::get_tag(c.handle(), kMoved);
    if (under_target) {
      std::vector<vael::tag> list = ns.get_children();
      list.push_back(moved);
      ns.set_children(list);
    } else {
      vael::tag target = vael::get_tag(c.handle(), kMoveTarget);
      std::vector<vael::tag> list = target.get_children();
      list.push_back(moved);
      target.set_children(list);
    }
    vael::finish_tag_hierarchy_change(c.handle());
    t.commit();
    under_target = !under_target;
  }
}

}  // namespace

BENCHMARK(BM_raw_tag_100000_media)->Name("raw/tag_100000_media")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_tag_100000_media)->Name("vael/tag_100000_media")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_raw_get_tags_on_media)->Name("raw/get_tags_on_media")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_get_tags_on_media)->Name("vael/get_tags_on_media")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_raw_get_tags_on_any_media)
    ->Name("raw/get_tags_on_any_media")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_get_tags_on_any_media)
    ->Name("vael/get_tags_on_any_media")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_raw_walk_forest)->Name("raw/walk_forest")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_walk_forest)->Name("vael/walk_forest")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_raw_move_subtree)->Name("raw/move_subtree")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_move_subtree)->Name("vael/move_subtree")->Unit(benchmark::kMillisecond);
