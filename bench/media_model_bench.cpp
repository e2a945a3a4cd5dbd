// Media and metadata through the catalog model against raw SQLite: raw/<case> runs
// hand-written SQL with prepared statements reused, vael/<case> the model's operations, for
// the same rows. Also the folder import as a user runs it, in files per second.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "catalog/connection.h"
#include "catalog/media.h"
#include "catalog/metadata_view.h"
#include "catalog/transaction.h"
#include "catalog/volume_manager.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "tests/support/jpeg_fixture.h"
#include "tools/vantor/folder_import.h"

namespace {

namespace fs = std::filesystem;
namespace pt = boost::posix_time;
namespace ids = vael_util::metadata_identifier;
using vantor_bench::raw_connection;
using vantor_bench::step_done;

constexpr int kCreated = 100000;
constexpr int kRead = 10000;
constexpr int kImported = 10000;
constexpr int kIntegerType = 1;
constexpr int kDateType = 3;
const char* const kFourValues[] = {ids::file_size, ids::image_width, ids::image_height,
                                   ids::file_date};

vantor_bench::scratch_folder& scratch() {
  static vantor_bench::scratch_folder folder("vantor-media-bench");
  return folder;
}

// A new catalog with one builtin volume and the default metadata descriptions, made once and
// copied for each run, so every run starts from the same file.
const std::string& template_catalog() {
  static const std::string path = [] {
    const std::string p = scratch().file("template.db");
    std::ofstream(p).close();
    vael::connection c(p);
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    vael::volume_t v;
    v.serial = "bench";
    v.drive_path_if_builtin = "/photos";
    vael::get_volume_manager(c.handle()).add_volume(v);
    vael_util::create_default_metadata_descriptions(c.handle());
    t.commit();
    return p;
  }();
  return path;
}

std::string fresh_copy(const std::string& name) {
  const std::string p = scratch().file(name);
  fs::copy_file(template_catalog(), p, fs::copy_options::overwrite_existing);
  return p;
}

int volume_id(const std::string& path) {
  raw_connection c(path);
  sqlite3_stmt* q = c.prepare("SELECT id FROM volume_table WHERE serial = 'bench'");
  return vantor_bench::step_ints(q).at(0);
}

std::string file_name(int i) {
  return "img_" + std::to_string(i) + ".jpg";
}

const pt::ptime kUnknownBegin(pt::time_from_string("1400-01-01 00:00:00"));
const pt::ptime kUnknownEnd(pt::time_from_string("9999-12-31 23:59:59.999999"));
const pt::ptime kFileDate(pt::time_from_string("2020-05-06 07:08:09"));

// The rows that vael writes for a master and four metadata values, by hand: ids from the
// layer's counter, the path check, the media row and its two sort rows, then for each value
// what setting a single-valued property takes (a look for a value to overwrite, then the
// value and its link), then the commit's stamping.
void BM_raw_create_media_with_metadata(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = fresh_copy("raw.db");
    const int volume = volume_id(path);
    state.ResumeTiming();
    raw_connection c(path);
    const std::string begin_text = pt::to_iso_extended_string(kUnknownBegin);
    const std::string end_text = pt::to_iso_extended_string(kUnknownEnd);
    const std::string date_text = pt::to_iso_extended_string(kFileDate);
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    sqlite3_stmt* counter = c.prepare("SELECT last_assigned_id FROM _dbl_auto_id_table");
    std::int64_t next_id = vantor_bench::step_ints(counter).at(0);
    sqlite3_stmt* description =
        c.prepare("SELECT id FROM metadata_description_table WHERE identifier = ?");
    std::vector<int> descriptions;
    for (const char* identifier : kFourValues) {
      sqlite3_bind_text(description, 1, identifier, -1, SQLITE_STATIC);
      descriptions.push_back(vantor_bench::step_ints(description).at(0));
    }
    sqlite3_stmt* taken = c.prepare(
        "SELECT id FROM media_table WHERE filename_search_index = ? AND filepath_search_index = ? "
        "AND volume_id = ?");
    sqlite3_stmt* media = c.prepare(
        "INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
        "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
        "rendition_description_id) VALUES (?, 0, ?, '/pictures/', ?, 'image/jpeg', ?, ?, ?, 0)");
    sqlite3_stmt* sort_media = c.prepare(
        "INSERT INTO media_stack_sort_table (media_id, search_date_begin, search_date_end) "
        "VALUES (?, ?, ?)");
    sqlite3_stmt* sort_version = c.prepare(
        "INSERT INTO version_stack_sort_table (media_id, search_date_begin, search_date_end) "
        "VALUES (?, ?, ?)");
    sqlite3_stmt* integer = c.prepare(
        "INSERT INTO metadata_integer_table (id, description_id, value) VALUES (?, ?, ?)");
    sqlite3_stmt* date = c.prepare(
        "INSERT INTO metadata_date_time_table (id, description_id, value) VALUES (?, ?, ?)");
    sqlite3_stmt* link =
        c.prepare("INSERT INTO media_to_metadata_table (media_id, metadata_id) VALUES (?, ?)");
    sqlite3_stmt* existing_integer = c.prepare(
        "SELECT v.id FROM metadata_integer_table v INNER JOIN media_to_metadata_table ON v.id = "
        "metadata_id AND media_id = ? WHERE +v.description_id = ?");
    sqlite3_stmt* existing_date = c.prepare(
        "SELECT v.id FROM metadata_date_time_table v INNER JOIN media_to_metadata_table ON v.id "
        "= metadata_id AND media_id = ? WHERE +v.description_id = ?");
    for (int i = 0; i < kCreated; ++i) {
      const std::string name = file_name(i);
      sqlite3_bind_text(taken, 1, name.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_bind_text(taken, 2, "/pictures/", -1, SQLITE_STATIC);
      sqlite3_bind_int(taken, 3, volume);
      if (!vantor_bench::step_ints(taken).empty()) state.SkipWithError("path taken");
      const std::int64_t id = ++next_id;
      const std::string full = "/pictures/" + name;
      sqlite3_bind_int64(media, 1, id);
      sqlite3_bind_text(media, 2, full.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_bind_text(media, 3, name.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_bind_int(media, 4, volume);
      sqlite3_bind_text(media, 5, begin_text.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(media, 6, end_text.c_str(), -1, SQLITE_STATIC);
      step_done(media);
      for (sqlite3_stmt* sort : {sort_media, sort_version}) {
        sqlite3_bind_int64(sort, 1, id);
        sqlite3_bind_text(sort, 2, begin_text.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_text(sort, 3, end_text.c_str(), -1, SQLITE_STATIC);
        step_done(sort);
      }
      for (std::size_t d = 0; d < descriptions.size(); ++d) {
        sqlite3_stmt* existing = d == 3 ? existing_date : existing_integer;
        sqlite3_bind_int64(existing, 1, id);
        sqlite3_bind_int(existing, 2, descriptions[d]);
        if (!vantor_bench::step_ints(existing).empty()) state.SkipWithError("value present");
        const std::int64_t value_id = ++next_id;
        sqlite3_stmt* value = d == 3 ? date : integer;
        sqlite3_bind_int64(value, 1, value_id);
        sqlite3_bind_int(value, 2, descriptions[d]);
        if (d == 3) {
          sqlite3_bind_text(value, 3, date_text.c_str(), -1, SQLITE_STATIC);
        } else {
          sqlite3_bind_int64(value, 3, 1000 + i);
        }
        step_done(value);
        sqlite3_bind_int64(link, 1, id);
        sqlite3_bind_int64(link, 2, value_id);
        step_done(link);
      }
    }
    c.exec("UPDATE _dbl_auto_id_table SET last_assigned_id = " + std::to_string(next_id));
    c.exec(
        "UPDATE change_table SET change_id = change_id + 1 WHERE change_type = 'db_changed'; "
        "INSERT INTO db_change_timestamp_table (change_id, change_date_time) SELECT change_id, "
        "'2020-01-01T00:00:00' FROM change_table WHERE change_type = 'db_changed'; "
        "UPDATE media_table SET change_id = (SELECT change_id FROM change_table WHERE "
        "change_type = 'db_changed') WHERE change_id = 0");
    c.exec("END TRANSACTION");
  }
  state.SetItemsProcessed(state.iterations() * kCreated);
}

void BM_vael_create_media_with_metadata(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = fresh_copy("vael.db");
    const int volume = volume_id(path);
    state.ResumeTiming();
    vael::connection c(path);
    const vael::connection_handle& h = c.handle();
    vael::transaction t(h);
    t.begin(vael::without_undo, vael::lock_now);
    for (int i = 0; i < kCreated; ++i) {
      const int id =
          vael::media::create_master(h, volume, "/pictures/" + file_name(i), "image/jpeg").get_id();
      for (int d = 0; d < 3; ++d) {
        vael_util::create_media(h, kFourValues[d], kIntegerType, id,
                                dbl::entry_data(static_cast<std::int64_t>(1000 + i)));
      }
      vael_util::create_media(h, ids::file_date, kDateType, id, dbl::entry_data(kFileDate));
    }
    t.commit();
  }
  state.SetItemsProcessed(state.iterations() * kCreated);
}

// A catalog holding the media and values of one vael run, made once for the readers.
const std::string& filled_catalog() {
  static const std::string path = [] {
    const std::string p = fresh_copy("filled.db");
    const int volume = volume_id(p);
    vael::connection c(p);
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    for (int i = 0; i < kRead; ++i) {
      const int id =
          vael::media::create_master(c.handle(), volume, "/pictures/" + file_name(i), "image/jpeg")
              .get_id();
      for (int d = 0; d < 3; ++d) {
        vael_util::create_media(c.handle(), kFourValues[d], kIntegerType, id,
                                dbl::entry_data(static_cast<std::int64_t>(i)));
      }
      vael_util::create_media(c.handle(), ids::file_date, kDateType, id,
                              dbl::entry_data(kFileDate));
    }
    t.commit();
    return p;
  }();
  return path;
}

std::vector<int> filled_media() {
  raw_connection c(filled_catalog());
  return vantor_bench::step_ints(c.prepare("SELECT id FROM media_table ORDER BY id"));
}

// What get_all_on_media asks, one statement per value table, with the descriptions known.
void BM_raw_read_all_metadata(benchmark::State& state) {
  const std::vector<int> media = filled_media();
  raw_connection c(filled_catalog());
  std::vector<sqlite3_stmt*> tables;
  for (const char* table :
       {"metadata_string_table", "metadata_integer_table", "metadata_decimal_table",
        "metadata_date_time_table", "metadata_blob_table"}) {
    const std::string t = table;
    tables.push_back(c.prepare("SELECT " + t + ".id, " + t + ".description_id," + t +
                               ".value\nFROM " + t + "\nINNER JOIN media_to_metadata_table ON " +
                               t + ".id = metadata_id AND media_id = ?\n"));
  }
  std::int64_t values = 0;
  for (auto _ : state) {
    for (int id : media) {
      for (std::size_t t = 0; t < tables.size(); ++t) {
        sqlite3_stmt* q = tables[t];
        sqlite3_bind_int(q, 1, id);
        while (sqlite3_step(q) == SQLITE_ROW) {
          benchmark::DoNotOptimize(sqlite3_column_int(q, 1));
          if (t == 3) {
            std::string text(reinterpret_cast<const char*>(sqlite3_column_text(q, 2)));
            benchmark::DoNotOptimize(pt::from_iso_extended_string(text));
          } else {
            benchmark::DoNotOptimize(sqlite3_column_int64(q, 2));
          }
          ++values;
        }
        sqlite3_reset(q);
      }
    }
  }
  if (values != state.iterations() * 4 * kRead) state.SkipWithError("wrong value count");
  state.SetItemsProcessed(state.iterations() * kRead);
}

void BM_vael_read_all_metadata(benchmark::State& state) {
  const std::vector<int> media = filled_media();
  vael::connection c(filled_catalog());
  const vael::metadata_view_t view(c.handle());
  std::int64_t values = 0;
  for (auto _ : state) {
    for (int id : media) values += static_cast<std::int64_t>(view.get_all_on_media(id).size());
  }
  if (values != state.iterations() * 4 * kRead) state.SkipWithError("wrong value count");
  state.SetItemsProcessed(state.iterations() * kRead);
}

// Small JPEGs with a capture date, written once.
const std::string& photo_folder() {
  static const std::string folder = [] {
    const std::string f = scratch().file("photos");
    for (int i = 0; i < kImported; ++i) {
      const std::string sub = f + "/" + std::to_string(i / 500);
      if (i % 500 == 0) fs::create_directories(sub);
      vantor_test::WriteJpeg(sub + "/" + file_name(i), [](Exiv2::ExifData& exif, auto&) {
        exif["Exif.Photo.DateTimeOriginal"] = "2014:01:15 10:30:00";
      });
    }
    return f;
  }();
  return folder;
}

void BM_import_files_per_second(benchmark::State& state) {
  const std::string& folder = photo_folder();
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = fresh_copy("import.db");
    state.ResumeTiming();
    vael::connection c(path);
    const vantor_cli::import_summary s = vantor_cli::import_folder(c.handle(), folder);
    if (s.imported != kImported) state.SkipWithError("not every file was imported");
  }
  state.SetItemsProcessed(state.iterations() * kImported);
}

}  // namespace

BENCHMARK(BM_raw_create_media_with_metadata)
    ->Name("raw/create_100000_media_4_values")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(BM_vael_create_media_with_metadata)
    ->Name("vael/create_100000_media_4_values")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(BM_raw_read_all_metadata)
    ->Name("raw/read_all_metadata_10000_media")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_vael_read_all_metadata)
    ->Name("vael/read_all_metadata_10000_media")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_import_files_per_second)
    ->Name("import/files_per_second")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);
