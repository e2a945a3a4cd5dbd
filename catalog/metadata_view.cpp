#include "catalog/metadata_view.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "catalog/internal_connection.h"
#include "catalog/schema/schema_names.h"
#include "dbl/query.h"
#include "dbl/record.h"
#include "diagnostics/timer.h"

namespace vael {
namespace {

namespace col = schema::column;
namespace tbl = schema::table;

const char id_by_identifier_sql[] =
    "SELECT id FROM metadata_description_table WHERE identifier = :identifier";
const char id_by_id_sql[] = "SELECT id FROM metadata_description_table WHERE id = :id";
const char description_by_id_sql[] = "SELECT * FROM metadata_description_table WHERE id = :id";
const char description_by_identifier_sql[] =
    "SELECT * FROM metadata_description_table WHERE identifier = :identifier";
const char media_of_item_sql[] =
    "SELECT media_id FROM media_to_metadata_table\nWHERE metadata_id = :md_id";
const char tags_of_item_sql[] =
    "SELECT tag_id FROM tag_to_metadata_table\nWHERE metadata_id = :md_id";

const metadata_data_type all_data_types[] = {
    metadata_data_type::string_type, metadata_data_type::integer_type,
    metadata_data_type::decimal_type, metadata_data_type::date_time_type,
    metadata_data_type::blob_type};

std::string table_of(const metadata_description_t& description) {
  return value_table_of(description.get_data_type());
}

bool has_row(dbl::database& db, const char* sql, const char* name, const dbl::entry_data& value) {
  dbl::query q(db, sql);
  q.bind(name, value).add_column(col::id, typeid(int));
  return q.begin() != q.end();
}

metadata_description_t load_description(dbl::database& db, const char* sql, const char* name,
                                        const dbl::entry_data& key) {
  const dbl::table_description& table = db.get_table(tbl::metadata_description_table);
  dbl::query q(db, sql);
  q.bind(name, key).set_columns(table);
  const dbl::record row(db, table, q.first_row(), true);
  return metadata_description_t(
      row.id(), row.get(col::identifier).as_string(),
      data_type_from_string(row.get(col::data_type).as_string()),
      association_type_from_string(row.get(col::association_type).as_string()),
      row.get(col::can_have_multiple_items).as_bool());
}

// The value in the kind its table's column holds, so that what is written reads back equal.
dbl::entry_data to_column_kind(const dbl::entry_data& value, metadata_data_type type) {
  if (value.is_null()) return value;
  switch (type) {
    case metadata_data_type::string_type:
      return value.as_string();
    case metadata_data_type::integer_type:
      if (value.kind() == dbl::entry_kind::boolean) {
        return std::int64_t{value.as_bool() ? 1 : 0};
      }
      return value.as_int64();
    case metadata_data_type::decimal_type:
      return value.as_double();
    case metadata_data_type::date_time_type:
      return value.as_ptime();
    case metadata_data_type::blob_type:
      return value.as_blob();
  }
  throw std::logic_error("An unrecognized metadata type was encountered.");
}

// One item of `description` per row of `q`, whose columns are the value row id and the value.
std::vector<metadata_item_t> items_of(dbl::query& q, const metadata_description_t& description) {
  std::vector<metadata_item_t> items;
  for (const dbl::entry_data_vector& row : q) {
    items.push_back(metadata_item_t{row[1], description, row[0].as_int()});
  }
  return items;
}

// The query of get_items_sql() with its result columns, built once for each combination:
// owners are read once for every value a job writes or reads.
const dbl::query_shape& items_shape(bool with_value, const metadata_description_t& description,
                                    const char* association_table, const char* key_column) {
  struct entry {
    bool with_value;
    metadata_data_type type;
    std::string association_table;
    std::unique_ptr<const dbl::query_shape> shape;
  };
  static std::mutex mutex;
  static std::vector<entry> shapes;
  const metadata_data_type type = description.get_data_type();
  std::lock_guard<std::mutex> lock(mutex);
  for (const entry& e : shapes) {
    if (e.with_value == with_value && e.type == type && e.association_table == association_table) {
      return *e.shape;
    }
  }
  std::vector<dbl::column_description> columns{dbl::column_description(
      col::id, typeid(int), 0, dbl::no_constraint, dbl::not_in_primary_key, dbl::not_indexed)};
  if (with_value) {
    columns.emplace_back(col::value, value_kind_of(type), 0, dbl::no_constraint,
                         dbl::not_in_primary_key, dbl::not_indexed);
  }
  shapes.push_back(entry{
      with_value, type, association_table,
      std::make_unique<const dbl::query_shape>(
          metadata_view_t::get_items_sql(with_value, description, association_table, key_column),
          std::move(columns))});
  return *shapes.back().shape;
}

}  // namespace

metadata_view_t::metadata_view_t(connection_handle handle) : handle_(std::move(handle)) {}

metadata_description_t metadata_view_t::create_description(
    const std::string& identifier, metadata_data_type data_type,
    metadata_association_type association_type, bool can_have_multiple_items) {
  if (has_description(identifier)) {
    throw std::logic_error("Could not create the metadata description, because '" + identifier +
                           "' is already a metadata description.");
  }
  const std::string type_text = data_type_to_string(data_type);
  const std::string association_text = association_type_to_string(association_type);
  dbl::database& db = get_connection(handle_).database();
  dbl::record row(db, db.get_table(tbl::metadata_description_table));
  row.set(col::identifier, identifier);
  row.set(col::data_type, type_text);
  row.set(col::association_type, association_text);
  row.set(col::can_have_multiple_items, can_have_multiple_items);
  row.save();
  return metadata_description_t(row.id(), identifier, data_type, association_type,
                                can_have_multiple_items);
}

bool metadata_view_t::has_description(const std::string& identifier) const {
  internal_connection& c = get_connection(handle_);
  if (c.metadata_by_identifier().contains(identifier)) return true;
  return has_row(c.database(), id_by_identifier_sql, ":identifier", identifier);
}

bool metadata_view_t::has_description(int id) const {
  internal_connection& c = get_connection(handle_);
  if (c.metadata_by_id().contains(id)) return true;
  return has_row(c.database(), id_by_id_sql, ":id", id);
}

metadata_description_t metadata_view_t::get_description(int id) const {
  internal_connection& c = get_connection(handle_);
  return c.metadata_by_id().get_or_load<metadata_description_t>(id, [&] {
    metadata_description_t d = load_description(c.database(), description_by_id_sql, ":id", id);
    c.metadata_by_identifier().get_or_load<metadata_description_t>(d.get_identifier(),
                                                                   [&] { return d; });
    return d;
  });
}

metadata_description_t metadata_view_t::get_description(const std::string& identifier) const {
  internal_connection& c = get_connection(handle_);
  return c.metadata_by_identifier().get_or_load<metadata_description_t>(identifier, [&] {
    metadata_description_t d =
        load_description(c.database(), description_by_identifier_sql, ":identifier", identifier);
    c.metadata_by_id().get_or_load<metadata_description_t>(d.get_id(), [&] { return d; });
    return d;
  });
}

void metadata_view_t::help_create_metadata_item(metadata_item_t& item) {
  lil::timer timer("vael::metadata_view_t::help_create_metadata_item");
  const metadata_data_type type = item.description.get_data_type();
  const dbl::entry_data value = to_column_kind(item.value, type);
  dbl::database& db = get_connection(handle_).database();
  dbl::record row(db, db.get_table(value_table_of(type)));
  row.set(col::description_id, dbl::auto_id{item.description.get_id()});
  row.set(col::value, value);
  row.save();
  item.value = value;
  item.id = row.id();
}

void metadata_view_t::create_linked(bool check_existing, int owner_id, metadata_item_t& item,
                                    const char* association_table, const char* key_column,
                                    const char* duplicate_message) {
  if (check_existing && !item.description.can_have_multiple_items() &&
      have_items(item.description, association_table, key_column, owner_id)) {
    throw std::logic_error(duplicate_message);
  }
  help_create_metadata_item(item);
  dbl::database& db = get_connection(handle_).database();
  dbl::record link(db, db.get_table(association_table));
  link.set(key_column, dbl::auto_id{owner_id});
  link.set(col::metadata_id, std::int64_t{item.id});
  link.save();
}

void metadata_view_t::create_unassociated(metadata_item_t& item) {
  if (!item.description.can_have_multiple_items() && !get_all_items(item.description).empty()) {
    throw std::logic_error("There is already a metadata item for this description on this media.");
  }
  help_create_metadata_item(item);
}

void metadata_view_t::create_media(int media_id, metadata_item_t& item) {
  lil::timer timer("vael::metadata_view_t::create_media");
  create_linked(true, media_id, item, tbl::media_to_metadata_table, col::media_id,
                "There is already a metadata item for this description on this media.");
  get_connection(handle_).media_tracker().mark_changed(media_id);
}

void metadata_view_t::create_first_media_item(int media_id, metadata_item_t& item) {
  lil::timer timer("vael::metadata_view_t::create_media");
  create_linked(false, media_id, item, tbl::media_to_metadata_table, col::media_id, "");
  get_connection(handle_).media_tracker().mark_changed(media_id);
}

void metadata_view_t::create_stack(int tag_id, metadata_item_t& item) {
  create_linked(true, tag_id, item, tbl::tag_to_metadata_table, col::tag_id,
                "There is already a metadata item for this description on this stack.");
}

void metadata_view_t::create_tag(int tag_id, metadata_item_t& item) {
  create_linked(true, tag_id, item, tbl::tag_to_metadata_table, col::tag_id,
                "There is already a metadata item for this description on this tag.");
  get_connection(handle_).tag_tracker().mark_changed(tag_id);
}

std::string metadata_view_t::get_items_sql(bool with_value,
                                           const metadata_description_t& description,
                                           const std::string& association_table,
                                           const std::string& key_column) {
  const std::string t = table_of(description);
  std::string sql = "SELECT " + t + ".id";
  if (with_value) sql += ", " + t + ".value";
  sql += "\n";
  sql += "FROM " + t + "\n";
  sql += "INNER JOIN " + association_table + " ON " + t + ".id = metadata_id AND " + key_column +
         " = :assc_id\n";
  // The unary plus keeps description_id out of the index choice, so SQLite walks the few
  // links of one owner rather than every value of a popular description.
  sql += "WHERE +" + t + ".description_id = :md_desc_id";
  return sql;
}

bool metadata_view_t::have_items(const metadata_description_t& description,
                                 const char* association_table, const char* key_column,
                                 int owner_id) const {
  dbl::query q(get_connection(handle_).database(),
               items_shape(false, description, association_table, key_column), true);
  q.bind(":assc_id", owner_id).bind(":md_desc_id", description.get_id());
  return q.begin() != q.end();
}

std::vector<metadata_item_t> metadata_view_t::get_items(const metadata_description_t& description,
                                                        const char* association_table,
                                                        const char* key_column,
                                                        int owner_id) const {
  dbl::query q(get_connection(handle_).database(),
               items_shape(true, description, association_table, key_column), true);
  q.bind(":assc_id", owner_id).bind(":md_desc_id", description.get_id());
  return items_of(q, description);
}

bool metadata_view_t::have_media(const metadata_description_t& description, int media_id) const {
  lil::timer timer("vael::metadata_view_t::have_media");
  return have_items(description, tbl::media_to_metadata_table, col::media_id, media_id);
}

bool metadata_view_t::have_tag(const metadata_description_t& description, int tag_id) const {
  return have_items(description, tbl::tag_to_metadata_table, col::tag_id, tag_id);
}

std::vector<metadata_item_t> metadata_view_t::get_media(const metadata_description_t& description,
                                                        int media_id) const {
  lil::timer timer("vael::metadata_view_t::get_media");
  return get_items(description, tbl::media_to_metadata_table, col::media_id, media_id);
}

std::vector<metadata_item_t> metadata_view_t::get_tag(const metadata_description_t& description,
                                                      int tag_id) const {
  return get_items(description, tbl::tag_to_metadata_table, col::tag_id, tag_id);
}

std::vector<metadata_item_t> metadata_view_t::get_all_on(const char* association_table,
                                                         const char* key_column,
                                                         int owner_id) const {
  dbl::database& db = get_connection(handle_).database();
  std::vector<metadata_item_t> items;
  std::vector<int> description_ids;
  for (metadata_data_type type : all_data_types) {
    const std::string t = value_table_of(type);
    std::string sql = "SELECT " + t + ".id, " + t + ".description_id";
    sql += "," + t + ".value";
    sql += "\n";
    sql += "FROM " + t + "\n";
    sql += "INNER JOIN " + std::string(association_table) + " ON " + t + ".id = metadata_id AND " +
           key_column + " = :assc_id\n";
    dbl::query q(db, sql, true);
    q.bind(":assc_id", owner_id);
    q.add_column(col::id, typeid(int));
    q.add_column(col::description_id, typeid(int));
    q.add_column(col::value, value_kind_of(type));
    for (const dbl::entry_data_vector& row : q) {
      items.push_back(metadata_item_t{row[2], metadata_description_t(), row[0].as_int()});
      description_ids.push_back(row[1].as_int());
    }
  }
  // Descriptions are resolved only once every statement is done with its rows.
  for (std::size_t i = 0; i < items.size(); ++i) {
    items[i].description = get_description(description_ids[i]);
  }
  return items;
}

std::vector<metadata_item_t> metadata_view_t::get_all_on_media(int media_id) const {
  return get_all_on(tbl::media_to_metadata_table, col::media_id, media_id);
}

std::vector<metadata_item_t> metadata_view_t::get_all_on_tag(int tag_id) const {
  return get_all_on(tbl::tag_to_metadata_table, col::tag_id, tag_id);
}

std::vector<metadata_item_t> metadata_view_t::get_all_items(
    const metadata_description_t& description) const {
  dbl::query q(
      get_connection(handle_).database(),
      "SELECT id, value FROM " + table_of(description) + "\nWHERE description_id = :md_desc_id");
  q.bind(":md_desc_id", description.get_id());
  q.add_column(col::id, typeid(int));
  q.add_column(col::value, value_kind_of(description.get_data_type()));
  return items_of(q, description);
}

std::vector<int> metadata_view_t::get_item_ids(const metadata_description_t& description) const {
  dbl::query q(get_connection(handle_).database(),
               "SELECT id FROM " + table_of(description) + "\nWHERE description_id = :md_desc_id");
  q.bind(":md_desc_id", description.get_id());
  return q.select_ints();
}

std::vector<int> metadata_view_t::get_media_of_item(int item_id) const {
  dbl::query q(get_connection(handle_).database(), media_of_item_sql, true);
  q.bind(":md_id", item_id);
  return q.select_ints();
}

std::vector<int> metadata_view_t::get_tags_of_item(int item_id) const {
  dbl::query q(get_connection(handle_).database(), tags_of_item_sql, true);
  q.bind(":md_id", item_id);
  return q.select_ints();
}

std::map<std::string, int> metadata_view_t::get_value_to_tag_map(
    const metadata_description_t& description) const {
  const std::string t = table_of(description);
  dbl::query q(get_connection(handle_).database(),
               "SELECT " + t + ".value , tag_to_metadata_table.tag_id FROM " + t +
                   " INNER JOIN tag_to_metadata_table ON " + t +
                   ".id = tag_to_metadata_table.metadata_id WHERE " + t +
                   ".description_id = :md_desc_id");
  q.bind(":md_desc_id", description.get_id());
  q.add_column(col::value, value_kind_of(description.get_data_type()));
  q.add_column(col::tag_id, typeid(int));
  std::map<std::string, int> out;
  for (const dbl::entry_data_vector& row : q) out[row[0].as_string()] = row[1].as_int();
  return out;
}

std::map<int, dbl::entry_data> metadata_view_t::get_first_value_of_each_tag(
    const metadata_description_t& description) const {
  return get_first_value_of_each(description, tbl::tag_to_metadata_table, col::tag_id);
}

std::map<int, dbl::entry_data> metadata_view_t::get_first_value_of_each_media(
    const metadata_description_t& description) const {
  return get_first_value_of_each(description, tbl::media_to_metadata_table, col::media_id);
}

std::map<int, dbl::entry_data> metadata_view_t::get_first_value_of_each(
    const metadata_description_t& description, const char* association_table,
    const char* key_column) const {
  const std::string t = table_of(description);
  const std::string a = association_table;
  // Value rows in id order, as an owner's own lookup meets them through its link index.
  dbl::query q(get_connection(handle_).database(),
               "SELECT " + a + "." + key_column + ", " + t + ".value FROM " + t + " INNER JOIN " +
                   a + " ON " + t + ".id = " + a + ".metadata_id WHERE " + t +
                   ".description_id = :md_desc_id ORDER BY " + t + ".id");
  q.bind(":md_desc_id", description.get_id());
  q.add_column(key_column, typeid(int));
  q.add_column(col::value, value_kind_of(description.get_data_type()));
  std::map<int, dbl::entry_data> out;
  for (const dbl::entry_data_vector& row : q) out.emplace(row[0].as_int(), row[1]);
  return out;
}

void metadata_view_t::set_value(metadata_item_t& item, const dbl::entry_data& value) {
  const metadata_data_type type = item.description.get_data_type();
  const dbl::entry_data converted = to_column_kind(value, type);
  dbl::database& db = get_connection(handle_).database();
  dbl::record row(db, db.get_table(value_table_of(type)), item.id);
  row.set(col::value, converted);
  row.save();
  item.value = converted;
  mark_owners_changed(item.id);
}

void metadata_view_t::remove_item(metadata_item_t& item) {
  dbl::database& db = get_connection(handle_).database();
  dbl::record row(db, db.get_table(value_table_of(item.description.get_data_type())), item.id);
  row.remove(dbl::record::cascade_references);
  mark_owners_changed(item.id);
}

void metadata_view_t::mark_owners_changed(int item_id) {
  internal_connection& c = get_connection(handle_);
  for (int id : get_media_of_item(item_id)) c.media_tracker().mark_changed(id);
  for (int id : get_tags_of_item(item_id)) c.tag_tracker().mark_changed(id);
}

}  // namespace vael
