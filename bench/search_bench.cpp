// Each simple search over a catalog of 100,000 media against hand-written SQL that gives the
// same ids, in one run: vael/search_<case> compiles the stored search and runs it through
// find_media(), raw/search_<case> steps a hand-written statement prepared once, and
// raw/search_<case>_statement steps the very statement vael compiles, prepared once, which
// tells the cost of the layers from the cost of the statement. All sort their ids. Before
// timing, each raw case checks that it finds what vael finds.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/metadata_view.h"
#include "catalog/transaction.h"
#include "catalog_util/catalog_files.h"
#include "catalog_util/creation_file.h"
#include "catalog_util/search/search_implementer.h"
#include "catalog_util/search/search_runner.h"
#include "catalog_util/search/simple_searches.h"

namespace {

constexpr int kMedia = 100000;
constexpr int kFirst = 1001;
constexpr int kCreation = kFirst + kMedia;

using vantor_bench::raw_connection;
using namespace vael_util;

struct bench_catalog {
  vantor_bench::scratch_folder folder{"vantor-search-bench"};
  std::string path = folder.file("catalog.omb14db");
  int trips = 0, kin = 0, rating = 0;
  std::vector<int> listed;
};

// Media on the catalog's own volume, in folders of 500, one in ten of unknown date, the rest
// one day each through a year; one in ten a video. Tags from a root with ten children on one
// in seven, a second root on one in eleven; stacks, versions and metadata on other shares;
// a creation listing 1,000 media.
const bench_catalog& catalog() {
  static const std::unique_ptr<bench_catalog> made = [] {
    auto b = std::make_unique<bench_catalog>();
    create_catalog_file(
        b->path, {"-", "F", "Fr", "C", "-", "-", "T", "G", "W", "M", "QR", "-", "-", "Smart"});
    std::vector<int> children;
    {
      vael::connection c(b->path);
      vael::transaction t(c.handle());
      t.begin(vael::without_undo, vael::lock_now);
      const auto user = vael::get_custom_tag_namespace(c.handle(), "user_ns");
      vael::tag trips = user.create_tag("Trips", {"user_misc", false, true, true});
      for (int i = 0; i < 10; ++i) {
        children.push_back(
            trips.create_child("Trip " + std::to_string(i), {"user_misc", false, true, false})
                .get_id());
      }
      b->trips = trips.get_id();
      b->kin = user.create_tag("Kin", {"user_misc", false, true, false}).get_id();
      b->rating =
          vael::metadata_view_t(c.handle())
              .create_description("bench:rating", vael::metadata_data_type::integer_type,
                                  vael::metadata_association_type::media_association_type, false)
              .get_id();
      t.commit();
    }
    raw_connection c(b->path);
    const std::string n = vantor_bench::numbers(kFirst, kFirst + kMedia - 1);
    const auto child = [&](int k) { return std::to_string(children[static_cast<size_t>(k)]); };
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    c.exec(n +
           "INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
           "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
           "rendition_description_id) SELECT i, 1, '/Trip ' || (i / 500) || '/IMG_' || i || "
           "'.jpg', '/trip ' || (i / 500) || '/', 'img_' || i || '.jpg', CASE i % 10 WHEN 1 "
           "THEN 'video/mp4' ELSE 'image/jpeg' END, 2, CASE i % 10 WHEN 0 THEN "
           "'1400-01-01T00:00:00' ELSE strftime('%Y-%m-%dT%H:%M:%S', '2009-01-01', '+' || (i % "
           "365) || ' days') END, CASE i % 10 WHEN 0 THEN '9999-12-31T23:59:59.999999' ELSE "
           "strftime('%Y-%m-%dT%H:%M:%S', '2009-01-01', '+' || (i % 365 + 1) || ' days') END, 0 "
           "FROM n");
    std::string cases;
    for (int k = 0; k < 10; ++k) cases += " WHEN " + std::to_string(k) + " THEN " + child(k);
    c.exec(n +
           "INSERT INTO tag_to_media_table (media_id, tag_id, media_index) SELECT i, CASE i % 10" +
           cases + " END, 0 FROM n WHERE i % 7 = 0");
    c.exec(n + "INSERT INTO tag_to_media_table (media_id, tag_id, media_index) SELECT i, " +
           std::to_string(b->kin) + ", 0 FROM n WHERE i % 11 = 0");
    c.exec(n +
           "INSERT INTO media_stack_to_media_table (stack_tag_id, media_id, media_index) SELECT "
           "1, i, 0 FROM n WHERE i % 13 = 0");
    c.exec(n +
           "INSERT INTO version_stack_to_media_table (stack_tag_id, media_id, media_index, "
           "parent_id) SELECT 1, i, 0, 0 FROM n WHERE i % 17 = 0");
    c.exec(n + "INSERT INTO metadata_integer_table (id, description_id, value) SELECT i, " +
           std::to_string(b->rating) + ", 3 FROM n WHERE i % 5 = 0");
    c.exec(n +
           "INSERT INTO media_to_metadata_table (media_id, metadata_id) SELECT i, i FROM n "
           "WHERE i % 5 = 0");
    c.exec("INSERT INTO media_table VALUES (" + std::to_string(kCreation) +
           ", 1, '/show.omss', '/', 'show.omss', 'application/vnd.norvane.omb.slideshow', 2, "
           "'1400-01-01T00:00:00', '9999-12-31T23:59:59.999999', 0)");
    c.exec("UPDATE _dbl_auto_id_table SET last_assigned_id = 400000");
    c.exec("END TRANSACTION");
    c.exec("ANALYZE");
    for (int i = 0; i < 1000; ++i) b->listed.push_back(kFirst + i * 97);
    write_creation_file(b->folder.file("show.omss"), "Show", b->listed, "");
    return b;
  }();
  return *made;
}

std::string id_text(const std::vector<int>& ids) {
  std::string text;
  for (const int id : ids) text += (text.empty() ? "" : ",") + std::to_string(id);
  return text;
}

// The tag and its descendants, as hand-written SQL finds them.
std::string subtree(int tag) {
  return "WITH RECURSIVE sub(id) AS (SELECT " + std::to_string(tag) +
         " UNION ALL SELECT tag_table.id FROM tag_table JOIN sub ON tag_table.parent_id = "
         "sub.id) ";
}

struct search_case {
  const char* name;
  std::function<search_criteria(const bench_catalog&)> search;
  std::function<std::string(const bench_catalog&)> sql;
};

const std::vector<search_case>& cases() {
  static const std::vector<search_case> all = {
      {"user_tag",
       [](const bench_catalog& b) {
         return search_criteria(user_tag_search{{b.trips}, {}}, 2);
       },
       [](const bench_catalog& b) {
         return subtree(b.trips) +
                "SELECT DISTINCT media_id FROM tag_to_media_table WHERE tag_id IN sub";
       }},
      {"filename",
       [](const bench_catalog&) { return search_criteria(filename_search{"IMG_123"}, 4); },
       [](const bench_catalog&) {
         return std::string(
             "SELECT id FROM media_table WHERE filename_search_index LIKE '%img/_123%' ESCAPE '/'");
       }},
      {"not_tagged",
       [](const bench_catalog&) { return search_criteria(not_tagged_search{{"user_ns"}}, 5); },
       [](const bench_catalog&) {
         return "WITH RECURSIVE sub(id) AS (SELECT id FROM tag_table WHERE parent_id = (SELECT id "
                "FROM tag_table WHERE parent_id = 0 AND name = 'user_ns') UNION ALL SELECT "
                "tag_table.id FROM tag_table JOIN sub ON tag_table.parent_id = sub.id) SELECT id "
                "FROM media_table WHERE id NOT IN (SELECT media_id FROM tag_to_media_table WHERE "
                "tag_id IN sub)";
       }},
      {"has_metadata",
       [](const bench_catalog& b) {
         return search_criteria(media_has_metadata_search{b.rating}, 6);
       },
       [](const bench_catalog& b) {
         return "SELECT m.media_id FROM media_to_metadata_table m JOIN metadata_integer_table v ON "
                "v.id = m.metadata_id WHERE v.description_id = " +
                std::to_string(b.rating);
       }},
      {"media_stacks",
       [](const bench_catalog&) { return search_criteria(all_media_stacks_search{}, 7); },
       [](const bench_catalog&) {
         return std::string("SELECT media_id FROM media_stack_to_media_table");
       }},
      {"version_stacks",
       [](const bench_catalog&) { return search_criteria(all_version_stacks_search{}, 8); },
       [](const bench_catalog&) {
         return std::string("SELECT media_id FROM version_stack_to_media_table");
       }},
      {"history_tag",
       [](const bench_catalog& b) {
         return search_criteria(history_tag_search{{b.kin}, "Kin"}, 9);
       },
       [](const bench_catalog& b) {
         return "SELECT media_id FROM tag_to_media_table WHERE tag_id = " + std::to_string(b.kin);
       }},
      {"creation_usage",
       [](const bench_catalog&) { return search_criteria(creation_usage_search{{kCreation}}, 10); },
       [](const bench_catalog& b) {
         return "SELECT id FROM media_table WHERE id IN (" + id_text(b.listed) + ")";
       }},
      {"calendar_day",
       [](const bench_catalog&) {
         return search_criteria(calendar_day_search{boost::gregorian::date(2009, 3, 15)}, 11);
       },
       [](const bench_catalog&) {
         return std::string(
             "SELECT id FROM media_table WHERE search_date_begin >= '2009-03-15T00:00:00' AND "
             "search_date_begin < '2009-03-16T00:00:00' AND search_date_end <= "
             "'2009-03-16T00:00:00'");
       }},
      {"unknown_date",
       [](const bench_catalog&) { return search_criteria(unknown_date_search{}, 13); },
       [](const bench_catalog&) {
         return std::string(
             "SELECT id FROM media_table WHERE search_date_begin = '1400-01-01T00:00:00' AND "
             "search_date_end = '9999-12-31T23:59:59.999999'");
       }},
      {"unanalyzed",
       [](const bench_catalog& b) {
         unanalyzed_asset_search s;
         s.image_tag_ids = {b.kin};
         s.video_tag_ids = {b.trips};
         return search_criteria(s, 16);
       },
       [](const bench_catalog& b) {
         return subtree(b.trips) +
                "SELECT id FROM media_table WHERE NOT (mime_type LIKE 'image%' AND id IN "
                "(SELECT media_id FROM tag_to_media_table WHERE tag_id = " +
                std::to_string(b.kin) +
                ")) AND NOT (mime_type LIKE 'video%' AND id IN (SELECT media_id FROM "
                "tag_to_media_table "
                "WHERE tag_id IN sub))";
       }},
      {"foldername",
       [](const bench_catalog&) {
         return search_criteria(foldername_search{"/Trip 7", 2}, 17);
       },
       [](const bench_catalog&) {
         return std::string(
             "SELECT id FROM media_table WHERE volume_id = 2 AND filepath_search_index = '/trip "
             "7/'");
       }},
      {"missing_file",
       [](const bench_catalog& b) { return search_criteria(missing_file_search{b.listed}, 18); },
       [](const bench_catalog& b) {
         return "SELECT id FROM media_table WHERE id IN (" + id_text(b.listed) + ")";
       }},
  };
  return all;
}

std::vector<int> raw_ids(sqlite3_stmt* s) {
  std::vector<int> ids = vantor_bench::step_ints(s);
  std::sort(ids.begin(), ids.end());
  return ids;
}

void run_raw(benchmark::State& state, const search_case& c) {
  raw_connection db(catalog().path);
  sqlite3_stmt* s = db.prepare(c.sql(catalog()));
  vael::connection check(catalog().path);
  if (raw_ids(s) != find_media(check.handle(), c.search(catalog()))) {
    state.SkipWithError("the hand-written statement finds other ids");
  }
  for (auto _ : state) benchmark::DoNotOptimize(raw_ids(s));
}

// vael's statement for the case, its values bound as the database layer binds them.
sqlite3_stmt* prepare_compiled(raw_connection& db, const search_case& c) {
  vael::connection compiler(catalog().path);
  const query_t q = c.search(catalog()).build_query(compiler.handle(), every_media_table);
  sqlite3_stmt* s = db.prepare(q.has_sql() ? q.sql() : "SELECT id FROM media_table");
  const auto bind = [&](int index, const dbl::entry_data& v) {
    if (v.kind() == dbl::entry_kind::timestamp) {
      const std::string text = boost::posix_time::to_iso_extended_string(v.as_ptime());
      sqlite3_bind_text(s, index, text.c_str(), -1, SQLITE_TRANSIENT);
    } else if (v.kind() == dbl::entry_kind::string) {
      sqlite3_bind_text(s, index, v.as_string().c_str(), -1, SQLITE_TRANSIENT);
    } else {
      sqlite3_bind_int(s, index, v.as_int());
    }
  };
  int index = 1;
  for (const dbl::entry_data& v : q.positional()) bind(index++, v);
  for (const auto& [name, v] : q.named()) bind(sqlite3_bind_parameter_index(s, name.c_str()), v);
  return s;
}

void run_statement(benchmark::State& state, const search_case& c) {
  raw_connection db(catalog().path);
  sqlite3_stmt* s = prepare_compiled(db, c);
  vael::connection check(catalog().path);
  std::vector<int> ids = raw_ids(s);
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  if (ids != find_media(check.handle(), c.search(catalog()))) {
    state.SkipWithError("the compiled statement finds other ids");
  }
  for (auto _ : state) benchmark::DoNotOptimize(raw_ids(s));
}

void run_vael(benchmark::State& state, const search_case& c) {
  vael::connection db(catalog().path);
  for (auto _ : state) benchmark::DoNotOptimize(find_media(db.handle(), c.search(catalog())));
}

const bool registered = [] {
  register_search_implementers(1);
  for (const search_case& c : cases()) {
    benchmark::RegisterBenchmark((std::string("raw/search_") + c.name).c_str(), run_raw, c)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("raw/search_") + c.name + "_statement").c_str(),
                                 run_statement, c)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("vael/search_") + c.name).c_str(), run_vael, c)
        ->Unit(benchmark::kMillisecond);
  }
  return true;
}();

}  // namespace
