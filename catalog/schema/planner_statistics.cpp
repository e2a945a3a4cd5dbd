#include "catalog/schema/planner_statistics.h"

#include <exception>
#include <vector>

#include "dbl/query.h"
#include "dbl/transaction.h"

namespace vael::schema {
namespace {

// sqlite_stat1 rows: rows in the table, then the rows one value of the index's first 1, 2...
// columns selects. A catalog of 100,000 media on a few volumes, in folders of about 50; a
// forest of 10,000 tags with about 10 children per parent.
struct statistic {
  const char* table;
  const char* index;
  const char* stat;
};
constexpr statistic typical_catalog[] = {
    {"media_table", "media_table_volume_index", "100000 25000 1"},
    {"media_table", "media_table_filepath_index", "100000 50 1 1"},
    {"media_table", "media_table_filename_index", "100000 2 1"},
    {"media_table", "media_table_change_id_index", "100000 100 1"},
    {"media_table", "media_table_mimetype_index", "100000 20000 1"},
    {"media_table", "media_table_search_date_begin_index", "100000 3 1"},
    {"media_table", "media_table_search_date_end_index", "100000 3 1"},
    {"tag_table", "tag_table_parent_sibling_index", "10000 10 1 1"},
    {"tag_table", "tag_table_change_id_index", "10000 100 1"},
};

int count(dbl::database& db, const char* sql) {
  dbl::query q(db, sql);
  q.add_column("ignored", typeid(int));
  return q.first_row()[0].as_int();
}

}  // namespace

void seed_planner_statistics(dbl::database& db) {
  try {
    const bool has_statistics =
        count(db, "SELECT COUNT(*) FROM sqlite_master WHERE name = 'sqlite_stat1'") != 0;
    // Rows of indexes that an upgrade dropped mislead nobody but are noise; what is missing
    // is a row for an index the old schema did not have, which ANALYZE of the old file left
    // without one.
    const char* const missing =
        "SELECT COUNT(*) FROM sqlite_master WHERE type = 'index' AND name = ? AND NOT EXISTS "
        "(SELECT 1 FROM sqlite_stat1 WHERE idx = sqlite_master.name)";
    std::vector<const statistic*> wanted;
    for (const statistic& s : typical_catalog) {
      if (!has_statistics) {
        wanted.push_back(&s);
        continue;
      }
      dbl::query q(db, missing);
      q.add_column("ignored", typeid(int));
      q.bind(dbl::entry_data(s.index));
      if (q.first_row()[0].as_int() != 0) wanted.push_back(&s);
    }
    if (wanted.empty()) return;
    dbl::transaction t(db);
    t.begin(dbl::merge_policy, true, true);
    // Makes sqlite_stat1 without analysing any table of ours.
    if (!has_statistics) dbl::query(db, "ANALYZE sqlite_master").execute();
    for (const statistic* s : wanted) {
      dbl::query(db, "INSERT INTO sqlite_stat1 (tbl, idx, stat) VALUES (?, ?, ?)")
          .bind(dbl::entry_data(s->table))
          .bind(dbl::entry_data(s->index))
          .bind(dbl::entry_data(s->stat))
          .execute();
    }
    t.end();
    // The planner reads sqlite_stat1 when the schema loads; this makes it read it again.
    dbl::query(db, "ANALYZE sqlite_master").execute();
  } catch (const std::exception&) {
    // Read-only or busy: the catalog works the same, only slower to fill.
  }
}

}  // namespace vael::schema
