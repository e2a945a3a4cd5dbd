// The preference save marking 10,000 existing albums for sync (state 1, local ids given), as a
// host sends it for a large catalog: save/mark_10k through the export, raw/mark_10k the same
// values rewritten with plain SQL, one transaction per album as the export commits them. The
// marks exist before either runs, so both measure a save the user repeats.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench_support.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"
#include "catalog/transaction.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/well_known_tags.h"
#include "platform/sync_util.h"
#include "vantor/vantor.h"

namespace {

constexpr int kAlbums = 10000;

using vantor_bench::raw_connection;
using vantor_bench::step_done;

struct save_world {
  std::string catalog;
  std::string selection;
  std::vector<int> album_ids;
};

// Made once: the settings store, the agent's folder and a sync catalog with kAlbums
// collections, all in a scratch folder, and one save so that every mark exists.
const save_world& world() {
  static vantor_bench::scratch_folder folder("vantor-save-bench");
  static const save_world made = [] {
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
      ::setenv(name, folder.file("").c_str(), 1);
    }
    ::setenv("VANTOR_SETTINGS_ROOT", folder.file("registry").c_str(), 1);
    if (sync_util::set_sync_catalog(folder.file("")) != 0) {
      throw std::runtime_error("cannot set the sync catalog");
    }

    save_world w;
    w.catalog = folder.file("catalog.omb14db");
    std::ofstream(w.catalog).close();
    vael::connection c(w.catalog);
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    vael_util::initialize_catalog_defaults(
        c.handle(), {"", "Family", "Friends", "Colleagues", "", "", "Nature", "Travel", "Hobbies",
                     "Misc", "QR Code", "", "", "Smart Albums"});
    const vael::custom_tag_namespace albums =
        vael_util::create_or_load_ns(c.handle(), vael_util::ns_name::collection);
    w.selection = "<syncsettings><tagsdata><tagnamespace type=\"collection_tag\">";
    for (int i = 0; i < kAlbums; ++i) {
      const std::string name = "album " + std::to_string(i);
      const int id = albums.create_tag(name, vael_util::album_type()).get_id();
      w.album_ids.push_back(id);
      w.selection += "<tag localid=\"" + std::to_string(id) +
                     "\" onlineid=\"\" parents=\"\" label=\"" + name +
                     "\" ismarkedforsync=\"1\" isLiveAlbum=\"false\" type=\"collection\"/>";
    }
    w.selection += "</tagnamespace></tagsdata></syncsettings>";
    t.commit();
    if (VTL::SaveSyncPrefs(w.selection, "<syncon/>", "bench") != VTL::success) {
      throw std::runtime_error("the first save failed");
    }
    return w;
  }();
  return made;
}

void BM_save_mark_10k(benchmark::State& state) {
  const save_world& w = world();
  for (auto _ : state) {
    if (VTL::SaveSyncPrefs(w.selection, "<syncon/>", "bench") != VTL::success) {
      state.SkipWithError("save failed");
    }
  }
  state.SetItemsProcessed(state.iterations() * kAlbums);
}

void BM_raw_mark_10k(benchmark::State& state) {
  const save_world& w = world();
  raw_connection c(w.catalog);
  // Which value row holds each album's mark is looked up once, outside the timing.
  sqlite3_stmt* find = c.prepare(
      "SELECT v.id FROM tag_to_metadata_table l JOIN metadata_integer_table v ON v.id = "
      "l.metadata_id JOIN metadata_description_table d ON d.id = v.description_id WHERE "
      "l.tag_id = ?1 AND d.identifier = 'sync:HalcynTagSyncStatus'");
  std::vector<std::pair<int, int>> marks;  // tag id, value id
  for (int id : w.album_ids) {
    sqlite3_bind_int(find, 1, id);
    marks.emplace_back(id, vantor_bench::step_ints(find).at(0));
  }
  sqlite3_stmt* begin = c.prepare("BEGIN IMMEDIATE");
  sqlite3_stmt* mark = c.prepare("UPDATE metadata_integer_table SET value = 1 WHERE id = ?1");
  sqlite3_stmt* stamp = c.prepare("UPDATE tag_table SET change_id = change_id + 1 WHERE id = ?1");
  sqlite3_stmt* commit = c.prepare("COMMIT");
  for (auto _ : state) {
    for (const auto& [tag, value] : marks) {
      step_done(begin);
      sqlite3_bind_int(mark, 1, value);
      step_done(mark);
      sqlite3_bind_int(stamp, 1, tag);
      step_done(stamp);
      step_done(commit);
    }
  }
  state.SetItemsProcessed(state.iterations() * kAlbums);
}

}  // namespace

BENCHMARK(BM_save_mark_10k)->Name("save/mark_10k")->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_raw_mark_10k)->Name("raw/mark_10k")->Unit(benchmark::kMillisecond)->Iterations(1);
