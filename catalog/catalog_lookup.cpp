#include "catalog/catalog_lookup.h"

#include "catalog/catalog_database.h"
#include "catalog/internal_connection.h"
#include "catalog/media_stack.h"
#include "dbl/query.h"

namespace vael {
namespace {

int count_of(const connection_handle& handle, const std::string& sql, int id) {
  dbl::query q(database_of(handle), sql);
  if (id != 0) q.bind(":id", dbl::entry_data(id));
  q.add_column("count", typeid(int));
  return q.first_row()[0].as_int();
}

}  // namespace

std::string catalog_path(const connection_handle& handle) {
  return get_connection(handle).path();
}

bool media_exists(const connection_handle& handle, int id) {
  return id > 0 && count_of(handle, "SELECT COUNT(*) FROM media_table WHERE id = :id", id) != 0;
}

bool tag_exists(const connection_handle& handle, int id) {
  return id > 0 && count_of(handle, "SELECT COUNT(*) FROM tag_table WHERE id = :id", id) != 0;
}

bool media_stack_exists(const connection_handle& handle, int id) {
  if (id <= 0) return false;
  dbl::query q(database_of(handle),
               "SELECT COUNT(*) FROM tag_table WHERE id = :id AND type_name = :type");
  q.bind(":id", dbl::entry_data(id)).bind(":type", dbl::entry_data(media_stack::type_name));
  q.add_column("count", typeid(int));
  return q.first_row()[0].as_int() != 0;
}

void require_media(const connection_handle& handle, int id) {
  if (!media_exists(handle, id)) {
    throw std::runtime_error("there is no media " + std::to_string(id));
  }
}

std::vector<int> all_media_ids(const connection_handle& handle) {
  return dbl::query(database_of(handle), "SELECT id FROM media_table ORDER BY id").select_ints();
}

namespace {

std::vector<media_listing_t> listings_of(dbl::query& q) {
  q.add_column("id", typeid(int))
      .add_column("volume_id", typeid(int))
      .add_column("mime_type", typeid(std::string))
      .add_column("full_filepath", typeid(std::string));
  std::vector<media_listing_t> all;
  for (const dbl::entry_data_vector& row : q) {
    all.push_back({row[0].as_int(), row[1].as_int(), row[2].as_string(), row[3].as_string()});
  }
  return all;
}

}  // namespace

std::vector<media_listing_t> list_all_media(const connection_handle& handle) {
  dbl::query q(database_of(handle),
               "SELECT id, volume_id, mime_type, full_filepath FROM media_table ORDER BY id");
  return listings_of(q);
}

std::vector<media_listing_t> list_media_of_tag(const connection_handle& handle, int tag_id) {
  dbl::query q(database_of(handle),
               "SELECT m.id, m.volume_id, m.mime_type, m.full_filepath FROM tag_to_media_table AS t"
               " INNER JOIN media_table AS m ON m.id = t.media_id WHERE t.tag_id = :tag_id"
               " ORDER BY t.media_index");
  q.bind(":tag_id", dbl::entry_data(tag_id));
  return listings_of(q);
}

catalog_counts count_catalog_rows(const connection_handle& handle) {
  return {count_of(handle, "SELECT COUNT(*) FROM media_table", 0),
          count_of(handle, "SELECT COUNT(*) FROM tag_table", 0),
          count_of(handle, "SELECT COUNT(*) FROM volume_table", 0)};
}

std::vector<std::string> integrity_problems(dbl::database& db) {
  dbl::query integrity(db, "PRAGMA integrity_check");
  integrity.add_column("integrity_check", typeid(std::string));
  std::vector<std::string> problems;
  for (const dbl::entry_data_vector& row : integrity) problems.push_back(row[0].as_string());
  if (problems.size() == 1 && problems[0] == "ok") problems.clear();
  return problems;
}

}  // namespace vael
