// Pairs of benchmarks over a table shaped like the catalog's media table: raw/<case> drives
// the sqlite3 C API directly with reused prepared statements, dbl/<case> goes through the
// database layer. Both sides use the same schema and pragmas.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "dbl/database_copy.h"
#include "dbl/query.h"
#include "dbl/record.h"
#include "dbl/sql_generation.h"
#include "dbl/sqlite/sqlite_database.h"
#include "dbl/transaction.h"

namespace {

namespace pt = boost::posix_time;

constexpr int kInsertRows = 100000;
constexpr int kUpdateRows = 10000;
constexpr int kLookups = 10000;

dbl::table_description media_table() {
  using namespace dbl;
  table_description volumes("volume_table");
  table_description renditions("rendition_description_table");
  table_description t("media_table");
  const auto plain = [&](const char* name, const std::type_info& type, std::uint64_t width) {
    t.add_column(column_description(name, type, width, not_null, not_in_primary_key, not_indexed));
  };
  plain("change_id", typeid(int), 0);
  plain("full_filepath", typeid(std::string), 260);
  plain("filepath_search_index", typeid(std::string), 256);
  plain("filename_search_index", typeid(std::string), 256);
  plain("mime_type", typeid(std::string), 63);
  t.add_column(column_description(
      "volume_id", foreign_key_description("volume_table", volumes.column("id"), relation_required),
      not_in_primary_key, not_indexed));
  plain("search_date_begin", typeid(pt::ptime), 0);
  plain("search_date_end", typeid(pt::ptime), 0);
  t.add_column(
      column_description("rendition_description_id",
                         foreign_key_description("rendition_description_table",
                                                 renditions.column("id"), relation_required),
                         not_in_primary_key, not_indexed));
  t.add_clustered_index("media_table_change_id_index", {"change_id", "id"});
  t.add_clustered_index("media_table_filepath_index",
                        {"filepath_search_index", "filename_search_index", "id"});
  t.add_clustered_index("media_table_filename_index", {"filename_search_index", "id"});
  t.add_clustered_index("media_table_volume_index", {"volume_id", "id"});
  t.add_clustered_index("media_table_search_date_begin_index", {"search_date_begin", "id"});
  t.add_clustered_index("media_table_search_date_end_index", {"search_date_end", "id"});
  t.add_clustered_index("media_table_mimetype_index", {"mime_type", "id"});
  return t;
}

struct media_values {
  int change_id;
  std::string full_filepath;
  std::string filepath_search_index;
  std::string filename_search_index;
  std::string mime_type;
  int volume_id;
  pt::ptime begin;
  pt::ptime end;
  int rendition_description_id;
};

media_values media_for(int i) {
  const std::string folder = "c:/users/someone/pictures/2009/trip " + std::to_string(i / 500);
  const std::string file = "img_" + std::to_string(i) + ".jpg";
  const pt::ptime when = pt::ptime(boost::gregorian::date(2009, 1, 1)) + pt::seconds(i * 37);
  return {1,    folder + "/" + file,   folder, file, "image/jpeg", 1 + i % 3,
          when, when + pt::seconds(1), 0};
}

const char kPragmas[] =
    "PRAGMA synchronous = NORMAL; PRAGMA cache_size = 6000; PRAGMA temp_store = MEMORY;";

using vantor_bench::scratch_folder;

dbl::sqlite_database open_dbl(const std::string& path) {
  dbl::sqlite_database db(path, dbl::synchronous_normal);
  db.set_cache_size(6000);
  db.set_temp_store(2);
  return db;
}

// A file with the media table and its auto id table, made through the layer.
void create_schema(const std::string& path) {
  open_dbl(path).create_table(media_table());
}

// A raw connection with the same pragmas, closed on destruction.
class raw_connection {
 public:
  explicit raw_connection(const std::string& path) {
    if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) throw std::runtime_error("open failed");
    exec(kPragmas);
  }
  ~raw_connection() { sqlite3_close(db_); }
  void exec(const char* sql) {
    if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(db_));
    }
  }
  sqlite3_stmt* prepare(const char* sql) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db_, sql, -1, &s, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(db_));
    }
    return s;
  }
  sqlite3* get() const { return db_; }

 private:
  sqlite3* db_ = nullptr;
};

using vantor_bench::step_done;
void bind_text(sqlite3_stmt* s, int i, const std::string& v) {
  sqlite3_bind_text(s, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
}

std::string column_string(sqlite3_stmt* s, int i) {
  return std::string(reinterpret_cast<const char*>(sqlite3_column_text(s, i)),
                     static_cast<std::size_t>(sqlite3_column_bytes(s, i)));
}

// Reads the current row the way a typed caller would, timestamps parsed.
media_values read_raw_row(sqlite3_stmt* s) {
  return {sqlite3_column_int(s, 1),
          column_string(s, 2),
          column_string(s, 3),
          column_string(s, 4),
          column_string(s, 5),
          sqlite3_column_int(s, 6),
          pt::from_iso_extended_string(column_string(s, 7)),
          pt::from_iso_extended_string(column_string(s, 8)),
          sqlite3_column_int(s, 9)};
}

// Raw inserts keep the auto id bookkeeping of the layer: one read and one write of the
// counter per transaction.
void raw_insert(const std::string& path, int rows) {
  raw_connection c(path);
  c.exec("BEGIN IMMEDIATE TRANSACTION");
  sqlite3_stmt* counter = c.prepare("SELECT last_assigned_id FROM _dbl_auto_id_table");
  sqlite3_step(counter);
  std::int64_t next = sqlite3_column_int64(counter, 0);
  sqlite3_finalize(counter);
  sqlite3_stmt* insert = c.prepare(
      "INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
      "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
      "rendition_description_id) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  for (int i = 0; i < rows; ++i) {
    const media_values m = media_for(i);
    sqlite3_bind_int(insert, 1, static_cast<int>(++next));
    sqlite3_bind_int(insert, 2, m.change_id);
    bind_text(insert, 3, m.full_filepath);
    bind_text(insert, 4, m.filepath_search_index);
    bind_text(insert, 5, m.filename_search_index);
    bind_text(insert, 6, m.mime_type);
    sqlite3_bind_int(insert, 7, m.volume_id);
    bind_text(insert, 8, pt::to_iso_extended_string(m.begin));
    bind_text(insert, 9, pt::to_iso_extended_string(m.end));
    sqlite3_bind_int(insert, 10, m.rendition_description_id);
    step_done(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_stmt* store = c.prepare("UPDATE _dbl_auto_id_table SET last_assigned_id = ?");
  sqlite3_bind_int64(store, 1, next);
  step_done(store);
  sqlite3_finalize(store);
  c.exec("END TRANSACTION");
}

// With `undo`, every insert also writes its row to the transaction's undo table, and the
// undo tables are dropped at the end, as when the undo stack lets the transaction go.
void dbl_insert(const std::string& path, int rows, bool undo = false) {
  dbl::sqlite_database db = open_dbl(path);
  const dbl::table_description table = media_table();
  db.register_table(table);
  dbl::transaction t(db);
  t.begin(dbl::merge_policy, !undo, true);
  for (int i = 0; i < rows; ++i) {
    const media_values m = media_for(i);
    dbl::record r(db, table);
    r["change_id"] = m.change_id;
    r["full_filepath"] = m.full_filepath;
    r["filepath_search_index"] = m.filepath_search_index;
    r["filename_search_index"] = m.filename_search_index;
    r["mime_type"] = m.mime_type;
    r["volume_id"] = m.volume_id;
    r["search_date_begin"] = m.begin;
    r["search_date_end"] = m.end;
    r["rendition_description_id"] = m.rendition_description_id;
    r.save(!undo);
  }
  if (undo) {
    t.end_with_undo();
  } else {
    t.end();
  }
}

// One filled file shared by the read cases.
const std::string& filled_file() {
  static scratch_folder folder;
  static const std::string path = [] {
    const std::string p = folder.file("filled.db");
    create_schema(p);
    raw_insert(p, kInsertRows);
    return p;
  }();
  return path;
}

void BM_raw_insert_media(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    scratch_folder folder;
    create_schema(folder.file("m.db"));
    state.ResumeTiming();
    raw_insert(folder.file("m.db"), kInsertRows);
  }
  state.SetItemsProcessed(state.iterations() * kInsertRows);
}

void BM_dbl_insert_media(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    scratch_folder folder;
    create_schema(folder.file("m.db"));
    state.ResumeTiming();
    dbl_insert(folder.file("m.db"), kInsertRows);
  }
  state.SetItemsProcessed(state.iterations() * kInsertRows);
}

void BM_dbl_insert_media_with_undo(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    scratch_folder folder;
    create_schema(folder.file("m.db"));
    state.ResumeTiming();
    dbl_insert(folder.file("m.db"), kInsertRows, true);
  }
  state.SetItemsProcessed(state.iterations() * kInsertRows);
}

// The copy of the filled file into a new one with the same schema: the rows with their ids,
// then the auto id row past the largest id, in one transaction on the target.
void raw_copy(const std::string& from, const std::string& to) {
  raw_connection source(from);
  raw_connection target(to);
  target.exec("BEGIN IMMEDIATE TRANSACTION");
  sqlite3_stmt* count = source.prepare("SELECT COUNT(*) FROM media_table");
  sqlite3_step(count);
  benchmark::DoNotOptimize(sqlite3_column_int64(count, 0));
  sqlite3_finalize(count);
  target.exec("DELETE FROM _dbl_auto_id_table");
  sqlite3_stmt* select = source.prepare("SELECT * FROM media_table");
  sqlite3_stmt* insert = target.prepare(
      "INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
      "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
      "rendition_description_id) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  while (sqlite3_step(select) == SQLITE_ROW) {
    for (int i = 0; i < 10; ++i) sqlite3_bind_value(insert, i + 1, sqlite3_column_value(select, i));
    step_done(insert);
  }
  sqlite3_finalize(select);
  sqlite3_finalize(insert);
  sqlite3_stmt* largest = target.prepare("SELECT max(id) FROM media_table");
  sqlite3_step(largest);
  const std::int64_t next = sqlite3_column_int64(largest, 0) + 1;
  sqlite3_finalize(largest);
  sqlite3_stmt* store =
      target.prepare("INSERT INTO _dbl_auto_id_table (last_assigned_id) VALUES (?)");
  sqlite3_bind_int64(store, 1, next);
  step_done(store);
  sqlite3_finalize(store);
  target.exec("END TRANSACTION");
}

void dbl_copy(const std::string& from, const std::string& to) {
  dbl::sqlite_database source = open_dbl(from);
  dbl::sqlite_database target = open_dbl(to);
  const dbl::table_description table = media_table();
  source.register_table(table);
  target.register_table(table);
  int reports = 0;
  dbl::transaction t(target);
  t.begin(dbl::merge_policy, true, true);
  dbl::copy_database(source, target, [&](int, int) { return ++reports > 0; });
  t.end();
  benchmark::DoNotOptimize(reports);
}

void BM_raw_copy(benchmark::State& state) {
  const std::string& from = filled_file();
  for (auto _ : state) {
    state.PauseTiming();
    scratch_folder folder;
    create_schema(folder.file("c.db"));
    state.ResumeTiming();
    raw_copy(from, folder.file("c.db"));
  }
  state.SetItemsProcessed(state.iterations() * kInsertRows);
}

void BM_dbl_copy_database(benchmark::State& state) {
  const std::string& from = filled_file();
  for (auto _ : state) {
    state.PauseTiming();
    scratch_folder folder;
    create_schema(folder.file("c.db"));
    state.ResumeTiming();
    dbl_copy(from, folder.file("c.db"));
  }
  state.SetItemsProcessed(state.iterations() * kInsertRows);
}

void BM_raw_select_media(benchmark::State& state) {
  raw_connection c(filled_file());
  sqlite3_stmt* select = c.prepare("SELECT * FROM media_table");
  for (auto _ : state) {
    std::size_t rows = 0;
    while (sqlite3_step(select) == SQLITE_ROW) {
      const std::int64_t id = sqlite3_column_int(select, 0);
      media_values m = read_raw_row(select);
      benchmark::DoNotOptimize(id);
      benchmark::DoNotOptimize(m);
      ++rows;
    }
    sqlite3_reset(select);
    if (rows != kInsertRows) state.SkipWithError("wrong row count");
  }
  sqlite3_finalize(select);
  state.SetItemsProcessed(state.iterations() * kInsertRows);
}

void BM_dbl_select_media(benchmark::State& state) {
  dbl::sqlite_database db = open_dbl(filled_file());
  const dbl::table_description table = media_table();
  db.register_table(table);
  for (auto _ : state) {
    dbl::query q(db, "SELECT * FROM media_table");
    q.set_columns(table);
    std::size_t rows = 0;
    for (const dbl::entry_data_vector& row : q) {
      benchmark::DoNotOptimize(row.data());
      ++rows;
    }
    if (rows != kInsertRows) state.SkipWithError("wrong row count");
  }
  state.SetItemsProcessed(state.iterations() * kInsertRows);
}

void BM_raw_update_media(benchmark::State& state) {
  raw_connection c(filled_file());
  sqlite3_stmt* update = c.prepare("UPDATE media_table SET change_id = ? WHERE id = ?");
  int round = 0;
  for (auto _ : state) {
    ++round;
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    for (int id = 1; id <= kUpdateRows; ++id) {
      sqlite3_bind_int(update, 1, round * 100 + id % 7);
      sqlite3_bind_int(update, 2, id);
      step_done(update);
      if (sqlite3_changes(c.get()) != 1) state.SkipWithError("no row");
    }
    c.exec("END TRANSACTION");
  }
  sqlite3_finalize(update);
  state.SetItemsProcessed(state.iterations() * kUpdateRows);
}

void BM_dbl_update_media(benchmark::State& state) {
  dbl::sqlite_database db = open_dbl(filled_file());
  const dbl::table_description table = media_table();
  db.register_table(table);
  std::vector<dbl::record> records;
  records.reserve(kUpdateRows);
  for (int id = 1; id <= kUpdateRows; ++id) records.emplace_back(db, table, id);
  int round = 1000;
  for (auto _ : state) {
    ++round;
    dbl::transaction t(db);
    t.begin(dbl::merge_policy, true, true);
    for (dbl::record& r : records) {
      r["change_id"] = round * 100 + r.id() % 7;
      r.save(true);
    }
    t.end();
  }
  state.SetItemsProcessed(state.iterations() * kUpdateRows);
}

void BM_raw_lookup_by_id(benchmark::State& state) {
  raw_connection c(filled_file());
  sqlite3_stmt* select = c.prepare("SELECT * FROM media_table WHERE id = ? LIMIT 1");
  for (auto _ : state) {
    for (int id = 1; id <= kLookups; ++id) {
      sqlite3_bind_int(select, 1, id);
      if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("no row");
      media_values m = read_raw_row(select);
      benchmark::DoNotOptimize(m);
      sqlite3_reset(select);
    }
  }
  sqlite3_finalize(select);
  state.SetItemsProcessed(state.iterations() * kLookups);
}

void BM_dbl_lookup_by_id(benchmark::State& state) {
  dbl::sqlite_database db = open_dbl(filled_file());
  const dbl::table_description table = media_table();
  db.register_table(table);
  for (auto _ : state) {
    for (int id = 1; id <= kLookups; ++id) {
      dbl::record r(db, table, id);
      benchmark::DoNotOptimize(r.values().data());
    }
  }
  state.SetItemsProcessed(state.iterations() * kLookups);
}

}  // namespace

BENCHMARK(BM_raw_insert_media)
    ->Name("raw/insert_media")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(BM_dbl_insert_media)
    ->Name("dbl/insert_media")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(BM_dbl_insert_media_with_undo)
    ->Name("dbl/insert_media_with_undo")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(BM_raw_copy)->Name("raw/copy")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_dbl_copy_database)
    ->Name("dbl/copy_database")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(BM_raw_select_media)->Name("raw/select_media")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_dbl_select_media)->Name("dbl/select_media")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_raw_update_media)->Name("raw/update_media")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_dbl_update_media)->Name("dbl/update_media")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_raw_lookup_by_id)->Name("raw/lookup_by_id")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_dbl_lookup_by_id)->Name("dbl/lookup_by_id")->Unit(benchmark::kMillisecond);
