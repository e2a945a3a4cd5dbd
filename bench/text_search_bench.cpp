// A text search of ten terms (tags, a person, file names, a caption, dates, AND NOT) over a
// catalog of 100,000 media, in one run: vael/text_search_ten_terms compiles it (looking up
// its tag names) and runs it through find_media(), raw/text_search_ten_terms steps
// hand-written SQL for the same ids, and raw/text_search_ten_terms_statement steps the very
// statement vael compiles, prepared once. Each raw case first checks that it finds what vael
// finds.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/metadata_view.h"
#include "catalog/transaction.h"
#include "catalog_util/catalog_files.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/search/search_implementer.h"
#include "catalog_util/search/search_runner.h"
#include "catalog_util/search/text_searches.h"
#include "catalog_util/well_known_tags.h"

namespace {

constexpr int kMedia = 100000;
constexpr int kFirst = 1001;

using vantor_bench::raw_connection;
using namespace vael_util;

struct text_catalog {
  vantor_bench::scratch_folder folder{"vantor-text-search-bench"};
  std::string path = folder.file("catalog.omb14db");
  std::vector<int> places;
  int kin = 0, ann = 0, caption = 0;
};

// Media named img_<id>.jpg, one day each through a year; places 0 to 9 (children of one
// root) on one in seven, Kin on one in eleven, the person Ann on one in thirteen, a caption
// "caption <id % 100>" on one in five.
const text_catalog& catalog() {
  static const std::unique_ptr<text_catalog> made = [] {
    auto b = std::make_unique<text_catalog>();
    create_catalog_file(
        b->path, {"-", "F", "Fr", "C", "-", "-", "T", "G", "W", "M", "QR", "-", "-", "Smart"});
    {
      vael::connection c(b->path);
      vael::transaction t(c.handle());
      t.begin(vael::without_undo, vael::lock_now);
      const auto user = vael::get_custom_tag_namespace(c.handle(), ns_name::user);
      vael::tag root = user.create_tag("Places", user_misc_parent_type());
      for (int i = 0; i < 10; ++i) {
        b->places.push_back(
            root.create_child("Place " + std::to_string(i), user_misc_leaf_type()).get_id());
      }
      b->kin = user.create_tag("Kin", user_misc_leaf_type()).get_id();
      b->ann = create_or_load_ns(c.handle(), ns_name::person)
                   .create_tag("Ann", user_person_type())
                   .get_id();
      b->caption = vael::metadata_view_t(c.handle())
                       .get_description(metadata_identifier::image_description)
                       .get_id();
      t.commit();
    }
    raw_connection c(b->path);
    const std::string n = vantor_bench::numbers(kFirst, kFirst + kMedia - 1);
    const auto tagging = [&](const std::string& tag, int every) {
      c.exec(n + "INSERT INTO tag_to_media_table (media_id, tag_id, media_index) SELECT i, " + tag +
             ", 0 FROM n WHERE i % " + std::to_string(every) + " = 0");
    };
    std::string place = "CASE i % 10";
    for (int k = 0; k < 10; ++k) {
      place += " WHEN " + std::to_string(k) + " THEN " +
               std::to_string(b->places[static_cast<std::size_t>(k)]);
    }
    c.exec("BEGIN IMMEDIATE TRANSACTION");
    c.exec(n +
           "INSERT INTO media_table (id, change_id, full_filepath, filepath_search_index, "
           "filename_search_index, mime_type, volume_id, search_date_begin, search_date_end, "
           "rendition_description_id) SELECT i, 1, '/p/IMG_' || i || '.jpg', '/p/', 'img_' || i "
           "|| '.jpg', 'image/jpeg', 2, strftime('%Y-%m-%dT%H:%M:%S', '2009-01-01', '+' || (i % "
           "365) || ' days'), strftime('%Y-%m-%dT%H:%M:%S', '2009-01-01', '+' || (i % 365 + 1) "
           "|| ' days'), 0 FROM n");
    tagging(place + " END", 7);
    tagging(std::to_string(b->kin), 11);
    tagging(std::to_string(b->ann), 13);
    c.exec(n + "INSERT INTO metadata_string_table (id, description_id, value) SELECT i, " +
           std::to_string(b->caption) + ", 'caption ' || (i % 100) FROM n WHERE i % 5 = 0");
    c.exec(n +
           "INSERT INTO media_to_metadata_table (media_id, metadata_id) SELECT i, i FROM n "
           "WHERE i % 5 = 0");
    c.exec("UPDATE _dbl_auto_id_table SET last_assigned_id = 400000");
    c.exec("END TRANSACTION");
    c.exec("ANALYZE");
    return b;
  }();
  return *made;
}

// place 1 OR place 2 OR ann OR kin OR file img_123 OR caption 42 OR a week of March OR
// place 3 OR place 4 AND NOT file 9.jpg, applied left to right.
search_criteria ten_terms() {
  namespace pt = boost::posix_time;
  const std::int32_t OR = operator_criteria::or_op;
  smart_text_search s;
  s.add(tag_criteria{"place 1"}).add_operator(OR).add(tag_criteria{"place 2"});
  s.add_operator(OR).add(people_criteria{"ann"}).add_operator(OR).add(tag_criteria{"kin"});
  s.add_operator(OR).add(file_criteria{"IMG_123"});
  s.add_operator(OR).add(metadata_criteria{"caption 42", metadata_criteria::caption});
  s.add_operator(OR).add(date_criteria{pt::time_from_string("2009-03-01 00:00:00"),
                                       pt::time_from_string("2009-03-08 00:00:00")});
  s.add_operator(OR).add(tag_criteria{"place 3"}).add_operator(OR).add(tag_criteria{"place 4"});
  s.add_operator(operator_criteria::and_op).add_operator(operator_criteria::not_op);
  s.add(file_criteria{"9.jpg"});
  return search_criteria(s, smart_text_search_type);
}

std::string hand_written_sql(const text_catalog& b) {
  std::string tags;
  for (const int id : {b.places[1], b.places[2], b.ann, b.kin, b.places[3], b.places[4]}) {
    tags += (tags.empty() ? "" : ",") + std::to_string(id);
  }
  return "SELECT id FROM media_table WHERE (id IN (SELECT media_id FROM tag_to_media_table "
         "WHERE tag_id IN (" +
         tags +
         ")) OR filename_search_index LIKE '%img/_123%' ESCAPE '/' OR id IN (SELECT m.media_id "
         "FROM media_to_metadata_table m JOIN metadata_string_table v ON v.id = m.metadata_id "
         "WHERE v.description_id = " +
         std::to_string(b.caption) +
         " AND v.value LIKE '%caption 42%') OR (search_date_begin >= '2009-03-01T00:00:00' AND "
         "search_date_begin < '2009-03-08T00:00:00' AND search_date_end <= "
         "'2009-03-08T00:00:00')) AND filename_search_index NOT LIKE '%9.jpg%'";
}

std::vector<int> sorted_unique_ids(sqlite3_stmt* s) {
  std::vector<int> ids = vantor_bench::step_ints(s);
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

// vael's statement, its values bound as the database layer binds them.
sqlite3_stmt* prepare_compiled(raw_connection& db) {
  vael::connection compiler(catalog().path);
  const query_t q = ten_terms().build_query(compiler.handle(), every_media_table);
  sqlite3_stmt* s = db.prepare(q.sql());
  for (const auto& [name, v] : q.named()) {
    const int index = sqlite3_bind_parameter_index(s, name.c_str());
    if (v.kind() == dbl::entry_kind::timestamp) {
      const std::string text = boost::posix_time::to_iso_extended_string(v.as_ptime());
      sqlite3_bind_text(s, index, text.c_str(), -1, SQLITE_TRANSIENT);
    } else if (v.kind() == dbl::entry_kind::string) {
      sqlite3_bind_text(s, index, v.as_string().c_str(), -1, SQLITE_TRANSIENT);
    } else {
      sqlite3_bind_int(s, index, v.as_int());
    }
  }
  return s;
}

void run_raw(benchmark::State& state, bool same_statement) {
  raw_connection db(catalog().path);
  sqlite3_stmt* s = same_statement ? prepare_compiled(db) : db.prepare(hand_written_sql(catalog()));
  vael::connection check(catalog().path);
  if (sorted_unique_ids(s) != find_media(check.handle(), ten_terms())) {
    state.SkipWithError("the raw statement finds other ids");
  }
  for (auto _ : state) benchmark::DoNotOptimize(sorted_unique_ids(s));
}

void run_vael(benchmark::State& state) {
  vael::connection db(catalog().path);
  const search_criteria search = ten_terms();
  for (auto _ : state) benchmark::DoNotOptimize(find_media(db.handle(), search));
}

const bool registered = [] {
  register_search_implementers(1);
  benchmark::RegisterBenchmark("raw/text_search_ten_terms", run_raw, false)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("raw/text_search_ten_terms_statement", run_raw, true)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("vael/text_search_ten_terms", run_vael)
      ->Unit(benchmark::kMillisecond);
  return true;
}();

}  // namespace
