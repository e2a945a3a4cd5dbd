#include "catalog/internal_connection.h"

#include <chrono>
#include <thread>

#include "catalog/exceptions.h"
#include "catalog/schema/catalog_schema.h"
#include "catalog/schema/planner_statistics.h"
#include "catalog/schema/schema_upgrade.h"
#include "catalog/volume_manager.h"
#include "dbl/exceptions.h"
#include "dbl/query.h"
#include "dbl/sqlite/sqlite_database.h"

namespace vael {
namespace {

constexpr int cache_size_pages = 6000;
constexpr int temp_store_memory = 2;
// Another process's write (an import, the sync agent) is waited for this long, in steps of
// 10 ms, before the catalog reports itself busy.
constexpr int busy_wait_steps = 1000;

bool wait_while_busy(int count) {
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return count < busy_wait_steps;
}

dbl::database open_database(const std::string& path) {
  // Opening reads the schema, which another process's commit can hold up too, before a
  // callback can be set on the connection.
  for (int attempt = 0;; ++attempt) {
    try {
      dbl::sqlite_database db(path);
      db.set_cache_size(cache_size_pages);
      db.set_temp_store(temp_store_memory);
      db.set_busy_callback(wait_while_busy);
      return db;
    } catch (const dbl::database_busy_error&) {
      if (!wait_while_busy(attempt)) throw;
    }
  }
}

// A file with tables, none of them a catalog's, belongs to another program: bringing the
// schema up would add a catalog's tables to it.
void refuse_foreign_database(dbl::database& db) {
  dbl::query q(db,
               "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite!_%' "
               "ESCAPE '!'");
  q.add_column("name", typeid(std::string));
  bool has_tables = false;
  const schema::schema_generation current = schema::current_generation();
  for (const dbl::entry_data_vector& row : q) {
    has_tables = true;
    for (const dbl::table_description& table : current.tables)
      if (table.name() == row[0].as_string()) return;
  }
  if (has_tables) throw database_corrupt_error();
}

}  // namespace

internal_connection::internal_connection(const std::string& path)
    : path_(path), database_(open_database(path)) {
  refuse_foreign_database(database_);
  // The schema steps open their own transactions.
  schema::open_catalog_schema(database_, nullptr);
  schema::seed_planner_statistics(database_);
  change_tracker_.set_current(change_tracker::read_current(database_));
}

internal_connection::~internal_connection() = default;

void internal_connection::clear_caches() {
  media_tracker_.clear();
  tag_tracker_.clear();
  clear_small_caches();
}

void internal_connection::clear_small_caches() {
  metadata_by_id_.clear();
  metadata_by_identifier_.clear();
  rendition_by_id_.clear();
  rendition_by_identifier_.clear();
  volume_by_id_.clear();
}

}  // namespace vael
