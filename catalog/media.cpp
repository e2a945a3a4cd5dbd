#include "catalog/media.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "catalog/internal_connection.h"
#include "catalog/schema/schema_names.h"
#include "catalog/search_index.h"
#include "catalog/stack_membership.h"
#include "catalog/stack_sort.h"
#include "catalog/tag.h"
#include "catalog/volume_manager.h"
#include "dbl/query.h"

namespace vael {
namespace {

namespace col = schema::column;
namespace tbl = schema::table;
namespace pt = boost::posix_time;

const char path_taken_sql[] =
    "SELECT id FROM media_table\nWHERE filename_search_index = :filename AND "
    "filepath_search_index = :filepath AND volume_id = :volume_id\n";
const char master_id_sql[] =
    "SELECT master_id FROM rendition_to_master_table WHERE rendition_id = :rendition_id";
const char rendition_ids_sql[] =
    "SELECT rendition_id FROM rendition_to_master_table WHERE master_id = :master_id";
const char tag_rows_sql[] = "select * from tag_to_media_table where media_id = :media_id";
const char master_link_rows_sql[] =
    "select * from rendition_to_master_table where rendition_id = :media_id";

dbl::table_description media_table(dbl::database& db) {
  return db.get_table(tbl::media_table);
}

std::vector<dbl::record> rows_of(dbl::database& db, const char* table, const char* sql,
                                 int media_id) {
  const dbl::table_description description = db.get_table(table);
  dbl::query q(db, sql, true);
  q.bind(":media_id", media_id).set_columns(description);
  std::vector<dbl::record> rows;
  for (const dbl::entry_data_vector& values : q) rows.emplace_back(db, description, values, true);
  return rows;
}

// A path as stored: "/" only, with a leading "/", split after its last "/".
struct stored_path {
  std::string full;
  std::string folder;
  std::string name;
};

stored_path to_stored_path(const std::string& path) {
  stored_path p{path, {}, {}};
  std::replace(p.full.begin(), p.full.end(), '\\', '/');
  if (p.full.empty() || p.full.front() != '/') p.full.insert(p.full.begin(), '/');
  const std::size_t slash = p.full.rfind('/');
  p.folder = p.full.substr(0, slash + 1);
  p.name = p.full.substr(slash + 1);
  return p;
}

std::vector<int> ids_at(dbl::database& db, int volume_id, const std::string& name,
                        const std::string& folder) {
  dbl::query q(db, path_taken_sql, true);
  q.bind(":filename", to_search_index(name))
      .bind(":filepath", to_search_index(folder))
      .bind(":volume_id", volume_id);
  return q.select_ints();
}

void check_path_is_free(dbl::database& db, int volume_id, const std::string& name,
                        const std::string& folder, int allowed_id) {
  if (to_search_index(name).empty()) {
    throw std::logic_error("Cannot set a filepath with an empty name.");
  }
  const std::vector<int> ids = ids_at(db, volume_id, name, folder);
  if (ids.empty() || (ids.size() == 1 && ids.front() == allowed_id)) return;
  throw std::logic_error("The path specified already exists in the database.");
}

// Takes the media out of an ordered tag so that the positions after it move up; the row of
// an unordered tag simply goes with the media.
void remove_from_ordered_tag(const connection_handle& handle, int media_id,
                             const dbl::record& row) {
  tag t = get_tag(handle, row.get(col::tag_id).as_int());
  if (!t.media_is_ordered()) return;
  std::vector<int> ids = t.get_ordered_media_ids();
  const int index = row.get(col::media_index).as_int();
  if (index < 0 || static_cast<std::size_t>(index) >= ids.size() ||
      ids[static_cast<std::size_t>(index)] != media_id) {
    throw std::logic_error("An unexpected database tag state was encountered.");
  }
  ids.erase(ids.begin() + index);
  t.set_media_order(ids);
}

}  // namespace

media::media(connection_handle handle, dbl::record row)
    : handle_(std::move(handle)), row_(std::move(row)) {}

media media::get_media(const connection_handle& handle, int id) {
  internal_connection& c = get_connection(handle);
  std::shared_ptr<object_cache> cache = c.media_tracker().get_cache(class_name);
  cache->set_capacity(cache_capacity);
  return cache->get_or_load<media>(id, [&] {
    dbl::database& db = c.database();
    return media(handle, dbl::record(db, media_table(db), id));
  });
}

media media::create_master(const connection_handle& handle, int volume_id, const std::string& path,
                           const std::string& mime_type) {
  get_volume_manager(handle).get_volume(volume_id);
  dbl::database& db = get_connection(handle).database();
  media m(handle, dbl::record(db, media_table(db)));
  dbl::record row = m.row_;
  row.set(col::rendition_description_id, dbl::auto_id{0});
  m.set_filepath_fields(row, volume_id, path, false);
  row.set(col::mime_type, mime_type);
  const media_date_range range = to_search_range({pt::ptime(), unknown_precision});
  row.set(col::search_date_begin, range.begin);
  row.set(col::search_date_end, range.end);
  m.save(row);
  m.insert_sort_rows();
  return m;
}

media media::create_rendition(const connection_handle& handle, const media& master,
                              const rendition_description_t& description, int volume_id,
                              const std::string& path, const std::string& mime_type) {
  if (!master.is_master()) throw std::logic_error("Cannot create a rendition of a rendition.");
  // Description 0 marks masters: a rendition with it would be a master linked to a master.
  if (description.get_id() == 0) {
    throw std::logic_error("A rendition needs a rendition description of its own.");
  }
  get_volume_manager(handle).get_volume(volume_id);
  dbl::database& db = get_connection(handle).database();
  media m(handle, dbl::record(db, media_table(db)));
  dbl::record row = m.row_;
  row.set(col::rendition_description_id, dbl::auto_id{description.get_id()});
  m.set_filepath_fields(row, volume_id, path, false);
  row.set(col::mime_type, mime_type);
  row.set(col::search_date_begin, master.row().get(col::search_date_begin));
  row.set(col::search_date_end, master.row().get(col::search_date_end));
  m.save(row);
  m.insert_sort_rows();
  dbl::record link(db, db.get_table(tbl::rendition_to_master_table));
  link.set(col::master_id, dbl::auto_id{master.get_id()});
  link.set(col::rendition_id, dbl::auto_id{m.get_id()});
  link.save();
  return m;
}

media media::duplicate_media(const connection_handle& handle, int id) {
  dbl::database& db = get_connection(handle).database();
  const dbl::record source(db, media_table(db), id);
  media m(handle, dbl::record(db, media_table(db)));
  dbl::record row = m.row_;
  for (const char* column :
       {col::full_filepath, col::filename_search_index, col::filepath_search_index, col::volume_id,
        col::mime_type, col::search_date_begin, col::search_date_end,
        col::rendition_description_id}) {
    row.set(column, source.get(column));
  }
  m.save(row);
  m.insert_sort_rows();
  return m;
}

int media::get_id() const {
  return row_.id();
}

int media::get_change_id() const {
  return row_.get(col::change_id).as_int();
}

int media::get_volume_id() const {
  return row_.get(col::volume_id).as_int();
}

std::string media::get_mime_type() const {
  return row_.get(col::mime_type).as_string();
}

void media::set_mime_type(const std::string& mime_type) {
  dbl::record row = row_;
  row.set(col::mime_type, mime_type);
  save(row);
}

std::string media::get_filepath(bool relative) const {
  const std::string& stored = row_.get(col::full_filepath).as_string();
  if (relative) return stored;
  const std::string volume_path = get_volume_manager(handle_).get_volume_path(get_volume_id());
  if (!volume_path.empty() && volume_path != "/") return volume_path + stored;
  return stored;
}

std::string media::get_folder(bool relative) const {
  const std::string path = get_filepath(relative);
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string media::get_filename() const {
  const std::string& stored = row_.get(col::full_filepath).as_string();
  const std::size_t slash = stored.rfind('/');
  return slash == std::string::npos ? stored : stored.substr(slash + 1);
}

void media::set_filepath(int volume_id, const std::string& path) {
  dbl::record row = row_;
  set_filepath_fields(row, volume_id, path, true);
  save(row);
}

void media::set_filepath_fields(dbl::record& row, int volume_id, const std::string& path,
                                bool keep_self) const {
  const stored_path p = to_stored_path(path);
  const std::string& full = p.full;
  const std::string& folder = p.folder;
  const std::string& name = p.name;

  const volume_t volume = get_volume_manager(handle_).get_volume(volume_id);
  if (volume.type == volume_type::no_drive) {
    if (row.get(col::rendition_description_id).as_int() == 0) {
      throw std::logic_error("A master must have a real filepath.");
    }
  } else {
    check_path_is_free(get_connection(handle_).database(), volume_id, name, folder,
                       keep_self ? row.id() : 0);
  }
  row.set(col::full_filepath, full);
  row.set(col::filename_search_index, to_search_index(name));
  row.set(col::filepath_search_index, to_search_index(folder));
  row.set(col::volume_id, dbl::auto_id{volume_id});
}

media_date_t media::get_date() const {
  return date_of_row(row_);
}

void media::set_date(const media_date_t& date) {
  const media_date_range range = to_search_range(date);
  dbl::record row = row_;
  if (range.begin.is_special() || range.end.is_special()) {
    row.set(col::search_date_begin, dbl::entry_data());
    row.set(col::search_date_end, dbl::entry_data());
  } else {
    row.set(col::search_date_begin, range.begin);
    row.set(col::search_date_end, range.end);
  }
  save(row);
  media_stack_sort(handle_).update(get_id(), true);
  version_stack_sort(handle_).update(get_id(), true);
}

media_date_t media::get_media_stack_sort_date() const {
  return media_stack_sort(handle_).get_date(get_id());
}

media_date_t media::get_version_stack_sort_date() const {
  return version_stack_sort(handle_).get_date(get_id());
}

bool media::is_master() const {
  return row_.get(col::rendition_description_id).as_int() == 0;
}

int media::get_master_id() const {
  if (is_master()) throw std::logic_error("Cannot get the master id of a master.");
  dbl::query q(get_connection(handle_).database(), master_id_sql, true);
  q.bind(":rendition_id", get_id());
  const std::vector<int> ids = q.select_ints();
  if (ids.empty()) {
    throw std::runtime_error(
        "The database is in an invalid state. No master id exists for this rendition.");
  }
  return ids.front();
}

std::vector<int> media::get_rendition_ids() const {
  dbl::query q(get_connection(handle_).database(), rendition_ids_sql, true);
  q.bind(":master_id", get_id());
  return q.select_ints();
}

rendition_description_t media::get_rendition_description() const {
  return vael::get_rendition_description(handle_, row_.get(col::rendition_description_id).as_int());
}

void media::remove(bool update_relations, bool update_tags) {
  if (is_master() && !get_rendition_ids().empty()) {
    throw std::logic_error("Renditions must be deleted prior to deleting media");
  }
  internal_connection& c = get_connection(handle_);
  dbl::database& db = c.database();
  const int id = get_id();
  c.media_tracker().mark_changed(id);
  if (update_relations) {
    leave_version_stack(handle_, id);
    leave_media_stack(handle_, id);
    if (update_tags) {
      for (const dbl::record& row : rows_of(db, tbl::tag_to_media_table, tag_rows_sql, id)) {
        remove_from_ordered_tag(handle_, id, row);
      }
    }
  }
  if (!is_master()) {
    for (dbl::record& link :
         rows_of(db, tbl::rendition_to_master_table, master_link_rows_sql, id)) {
      link.remove(dbl::record::refuse_if_referenced);
    }
  }
  row_.remove(!update_relations);
  // The steps above may have loaded the media again.
  c.media_tracker().remove_from_caches(id);
}

void media::save(dbl::record& row) {
  if (row.get(col::change_id).is_null()) row.set(col::change_id, 0);
  row.save(false);
  row_ = row;
  get_connection(handle_).media_tracker().mark_changed(get_id());
}

void media::insert_sort_rows() const {
  media_stack_sort(handle_).insert(*this);
  version_stack_sort(handle_).insert(*this);
}

media_date_t date_of_row(const dbl::record& row) {
  const dbl::entry_data& begin = row.get(col::search_date_begin);
  const dbl::entry_data& end = row.get(col::search_date_end);
  if (begin.is_null() || end.is_null()) return {pt::ptime(), exact_precision};
  return from_search_range(begin.as_ptime(), end.as_ptime());
}

std::vector<int> find_media_at_path(const connection_handle& handle, int volume_id,
                                    const std::string& path) {
  const stored_path p = to_stored_path(path);
  return ids_at(get_connection(handle).database(), volume_id, p.name, p.folder);
}

}  // namespace vael
