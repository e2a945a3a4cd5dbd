// A smart album of five rules (rating, capture date, media kind, file name, width) over
// catalogs of 100,000 and 1,000,000 media: vael/smart_album_<n> compiles the album and runs it
// through find_media(); raw/smart_album_<n> steps hand-written SQL for the same ids, prepared
// once. Each catalog is built once per run with raw SQL in the scratch folder; the large one
// only when VANTOR_BENCH_LARGE is set, since building it takes a minute.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "catalog/connection.h"
#include "catalog/metadata_view.h"
#include "catalog_util/catalog_files.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/search/search_implementer.h"
#include "catalog_util/search/search_runner.h"
#include "catalog_util/search/smart_album_search.h"

namespace {

using vantor_bench::raw_connection;
using namespace vael_util;

struct album_catalog {
  vantor_bench::scratch_folder folder{"vantor-smart-bench"};
  std::string path = folder.file("catalog.omb14db");
  int rating = 0, width = 0;
};

// Media as in the search benchmark, one in ten a video; a rating 0 to 5 on two thirds of
// them, a width on all.
std::unique_ptr<album_catalog> build(int media) {
  auto b = std::make_unique<album_catalog>();
  create_catalog_file(b->path,
                      {"-", "F", "Fr", "C", "-", "-", "T", "G", "W", "M", "QR", "-", "-", "Smart"});
  {
    vael::connection c(b->path);
    const vael::metadata_view_t view(c.handle());
    b->rating = view.get_description(metadata_identifier::rating).get_id();
    b->width = view.get_description(metadata_identifier::image_width).get_id();
  }
  const std::string last = std::to_string(1000 + media);
  const std::string n = vantor_bench::numbers(1001, 1000 + media);
  raw_connection c(b->path);
  c.exec("BEGIN IMMEDIATE TRANSACTION");
  c.exec(n +
         "INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
         "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
         "rendition_description_id) SELECT i, 1, '/Trip ' || (i / 500) || '/IMG_' || i || "
         "'.jpg', '/trip ' || (i / 500) || '/', 'img_' || i || '.jpg', CASE i % 10 WHEN 1 THEN "
         "'video/mp4' ELSE 'image/jpeg' END, 2, strftime('%Y-%m-%dT%H:%M:%S', '2009-01-01', '+' "
         "|| (i % 365) || ' days'), strftime('%Y-%m-%dT%H:%M:%S', '2009-01-01', '+' || (i % 365 "
         "+ 1) || ' days'), 0 FROM n");
  c.exec(n + "INSERT INTO metadata_integer_table (id, description_id, value) SELECT i, " +
         std::to_string(b->rating) + ", i % 6 FROM n WHERE i % 3 != 0");
  c.exec(n + "INSERT INTO metadata_integer_table (id, description_id, value) SELECT i + " + last +
         ", " + std::to_string(b->width) + ", 640 + (i % 5) * 600 FROM n");
  c.exec(n +
         "INSERT INTO media_to_metadata_table (media_id, metadata_id) SELECT i, i FROM n "
         "WHERE i % 3 != 0");
  c.exec(n + "INSERT INTO media_to_metadata_table (media_id, metadata_id) SELECT i, i + " + last +
         " FROM n");
  c.exec("UPDATE _dbl_auto_id_table SET last_assigned_id = " + std::to_string(4 * media));
  c.exec("END TRANSACTION");
  c.exec("ANALYZE");
  return b;
}

const album_catalog& catalog(int media) {
  static std::map<int, std::unique_ptr<album_catalog>> built;
  auto& b = built[media];
  if (b == nullptr) b = build(media);
  return *b;
}

search_criteria five_rules() {
  advanced_metadata_search album;
  search_rule rated;
  rated.rule_field = rule_rating;
  rated.rule_op = 3;  // above
  rated.value = 2;
  search_rule dated;
  dated.rule_field = rule_capture_date;
  dated.rule_op = op_after;
  dated.date = boost::posix_time::time_from_string("2009-03-01 00:00:00");
  search_rule photo;
  photo.rule_field = rule_media_kind;
  photo.value = 2;
  search_rule named;
  named.rule_field = rule_file_name;
  named.rule_op = op_contains;
  named.text = "img_1";
  search_rule wide;
  wide.rule_field = rule_width;
  wide.rule_op = 1;  // above
  wide.text = "1000";
  album.rules = {rated, dated, photo, named, wide};
  return search_criteria(album, advanced_metadata_search_type);
}

std::string raw_sql(const album_catalog& b) {
  const auto valued = [](int description, const char* test) {
    return "m.id IN (SELECT l.media_id FROM media_to_metadata_table l JOIN metadata_integer_table "
           "v ON v.id = l.metadata_id WHERE v.description_id = " +
           std::to_string(description) + " AND v.value " + test + ")";
  };
  return "SELECT m.id FROM media_table m WHERE " + valued(b.rating, "> 2") +
         " AND m.search_date_begin >= '2009-03-02T00:00:00' AND m.search_date_end <= "
         "'9999-12-31T23:59:59.999999' AND (m.mime_type LIKE 'image/%' OR m.mime_type = "
         "'application/vnd.norvane.ombra' OR m.mime_type = 'application/vnd.norvane.ombrix') "
         "AND m.filename_search_index LIKE '%img/_1%' ESCAPE '/' AND " +
         valued(b.width, "> 1000");
}

std::vector<int> sorted(std::vector<int> ids) {
  std::sort(ids.begin(), ids.end());
  return ids;
}

void BM_raw_smart_album(benchmark::State& state) {
  const album_catalog& b = catalog(static_cast<int>(state.range(0)));
  raw_connection db(b.path);
  sqlite3_stmt* s = db.prepare(raw_sql(b));
  vael::connection check(b.path);
  const std::vector<int> found = sorted(vantor_bench::step_ints(s));
  if (found != find_media(check.handle(), five_rules())) {
    state.SkipWithError("the hand-written statement finds other ids");
  }
  for (auto _ : state) benchmark::DoNotOptimize(sorted(vantor_bench::step_ints(s)));
  state.counters["ids"] = static_cast<double>(found.size());
}

void BM_vael_smart_album(benchmark::State& state) {
  vael::connection db(catalog(static_cast<int>(state.range(0))).path);
  for (auto _ : state) benchmark::DoNotOptimize(find_media(db.handle(), five_rules()));
}

const bool registered = [] {
  register_search_implementers(1);
  std::vector<std::int64_t> sizes = {100000};
  if (std::getenv("VANTOR_BENCH_LARGE") != nullptr) sizes.push_back(1000000);
  for (const std::int64_t size : sizes) {
    const std::string n = std::to_string(size);
    benchmark::RegisterBenchmark(("raw/smart_album_" + n).c_str(), BM_raw_smart_album)
        ->Arg(size)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("vael/smart_album_" + n).c_str(), BM_vael_smart_album)
        ->Arg(size)
        ->Unit(benchmark::kMillisecond);
  }
  return true;
}();

}  // namespace
