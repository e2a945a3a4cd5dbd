// Listing every media of a catalog, as a user runs it: vael/list_media runs `vantor media list`,
// raw/list_media the same columns through the sqlite3 shell, both as processes writing to
// /dev/null. The catalog holds 10,000 media; VANTOR_BENCH_LIST_MEDIA asks for another count
// (the goal is stated for 100,000).

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include "bench/bench_support.h"
#include "catalog/connection.h"

namespace {

using vantor_bench::raw_connection;

int media_count() {
  const char* asked = std::getenv("VANTOR_BENCH_LIST_MEDIA");
  return asked != nullptr && std::atoi(asked) > 0 ? std::atoi(asked) : 10000;
}

const std::string& listed_catalog() {
  static vantor_bench::scratch_folder folder("vantor-list-bench");
  static const std::string path = [] {
    const std::string p = folder.file("catalog.db");
    std::ofstream(p).close();
    { vael::connection made(p); }
    raw_connection c(p);
    c.exec("WITH RECURSIVE n(i) AS (SELECT 1001 UNION ALL SELECT i + 1 FROM n WHERE i < " +
           std::to_string(1000 + media_count()) +
           ") INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
           "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
           "rendition_description_id) SELECT i, 1, '/pictures/trip ' || (i / 500) || '/img_' || "
           "i || '.jpg', '/pictures/trip ' || (i / 500) || '/', 'img_' || i || '.jpg', "
           "'image/jpeg', 1, '2009-01-01T00:00:00', '2009-01-01T00:00:01', 0 FROM n");
    return p;
  }();
  return path;
}

void run(benchmark::State& state, const std::string& command) {
  const std::string line = command + " > /dev/null";
  for (auto _ : state) {
    if (std::system(line.c_str()) != 0) {
      state.SkipWithError(("failed: " + command).c_str());
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * media_count());
}

void BM_raw_list_media(benchmark::State& state) {
  run(state, "sqlite3 -separator '\t' '" + listed_catalog() +
                 "' 'SELECT id, volume_id, mime_type, full_filepath FROM media_table ORDER BY id'");
}

void BM_vael_list_media(benchmark::State& state) {
  run(state,
      std::string("'") + VANTOR_BENCH_CLI + "' --quiet media list '" + listed_catalog() + "'");
}

}  // namespace

BENCHMARK(BM_raw_list_media)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_list_media)->Unit(benchmark::kMillisecond);
