#include "catalog/rendition_description.h"

#include <stdexcept>
#include <utility>

#include "catalog/internal_connection.h"
#include "catalog/schema/schema_names.h"
#include "dbl/query.h"
#include "dbl/record.h"

namespace vael {
namespace {

namespace col = schema::column;
namespace tbl = schema::table;

const char id_by_identifier_sql[] =
    "SELECT id FROM rendition_description_table WHERE identifier = :identifier";
const char id_by_id_sql[] = "SELECT id FROM rendition_description_table WHERE id = :id";
const char row_by_identifier_sql[] =
    "SELECT * FROM rendition_description_table WHERE identifier = :identifier";

rendition_description_t from_record(const dbl::record& row) {
  return rendition_description_t(row.id(), row.get(col::identifier).as_string());
}

bool any_row(dbl::database& db, const char* sql, const char* name, const dbl::entry_data& value) {
  dbl::query q(db, sql);
  q.bind(name, value);
  return !q.select_ints().empty();
}

}  // namespace

rendition_description_t::rendition_description_t() {
  static const std::shared_ptr<const body> empty = std::make_shared<const body>();
  body_ = empty;
}

rendition_description_t::rendition_description_t(int id, std::string identifier)
    : body_(std::make_shared<const body>(body{id, std::move(identifier)})) {}

rendition_description_t create_rendition_description(const connection_handle& handle,
                                                     const std::string& identifier) {
  if (has_rendition_description(handle, identifier)) {
    throw std::logic_error("Could not create the metadata description, because '" + identifier +
                           "' is already a metadata description.");
  }
  dbl::database& db = get_connection(handle).database();
  dbl::record row(db, db.get_table(tbl::rendition_description_table));
  row.set(col::identifier, identifier);
  row.save();
  return from_record(row);
}

bool has_rendition_description(const connection_handle& handle, const std::string& identifier) {
  internal_connection& c = get_connection(handle);
  if (c.rendition_by_identifier().contains(identifier)) return true;
  return any_row(c.database(), id_by_identifier_sql, ":identifier", identifier);
}

bool has_rendition_description(const connection_handle& handle, int id) {
  internal_connection& c = get_connection(handle);
  if (c.rendition_by_id().contains(id)) return true;
  return any_row(c.database(), id_by_id_sql, ":id", id);
}

rendition_description_t get_rendition_description(const connection_handle& handle, int id) {
  internal_connection& c = get_connection(handle);
  return c.rendition_by_id().get_or_load<rendition_description_t>(id, [&] {
    dbl::database& db = c.database();
    return from_record(dbl::record(db, db.get_table(tbl::rendition_description_table), id));
  });
}

rendition_description_t get_rendition_description(const connection_handle& handle,
                                                  const std::string& identifier) {
  internal_connection& c = get_connection(handle);
  return c.rendition_by_identifier().get_or_load<rendition_description_t>(identifier, [&] {
    dbl::database& db = c.database();
    const dbl::table_description table = db.get_table(tbl::rendition_description_table);
    dbl::query q(db, row_by_identifier_sql);
    q.bind(":identifier", identifier).set_columns(table);
    return from_record(dbl::record(db, table, q.first_row(), true));
  });
}

}  // namespace vael
