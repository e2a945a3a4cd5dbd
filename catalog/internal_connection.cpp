#include "catalog/internal_connection.h"

#include "catalog/schema/planner_statistics.h"
#include "catalog/schema/schema_upgrade.h"
#include "catalog/volume_manager.h"
#include "dbl/sqlite/sqlite_database.h"

namespace vael {
namespace {

constexpr int cache_size_pages = 6000;
constexpr int temp_store_memory = 2;

dbl::database open_database(const std::string& path) {
  dbl::sqlite_database db(path);
  db.set_cache_size(cache_size_pages);
  db.set_temp_store(temp_store_memory);
  return db;
}

}  // namespace

internal_connection::internal_connection(const std::string& path)
    : path_(path), database_(open_database(path)) {
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
