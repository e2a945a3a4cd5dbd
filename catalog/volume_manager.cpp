#include "catalog/volume_manager.h"

#include <array>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "catalog/exceptions.h"
#include "catalog/internal_connection.h"
#include "catalog/schema/schema_names.h"
#include "catalog/transaction.h"
#include "dbl/query.h"
#include "dbl/record.h"

namespace vael {
namespace {

namespace col = schema::column;

constexpr std::array<const char*, 6> type_texts = {"builtin_drive",  "removable_drive",
                                                   "readonly_drive", "network_drive",
                                                   "no_drive",       "database_relative_drive"};

constexpr char database_relative_serial[] = "vael:database_relative_volume";
constexpr char database_relative_description[] = "database relative";

volume_type type_from_text(const std::string& text) {
  for (std::size_t i = 0; i < type_texts.size(); ++i) {
    if (text == type_texts[i]) return static_cast<volume_type>(i);
  }
  throw database_state_invalid_error();
}

bool has_path_of_its_own(volume_type type) {
  return type == volume_type::builtin_drive || type == volume_type::no_drive;
}

dbl::table_description volume_table(internal_connection& c) {
  return c.database().get_table(schema::table::volume_table);
}

volume_t from_values(const dbl::table_description& table, const dbl::entry_data_vector& row) {
  const auto cell = [&](const char* name) -> const dbl::entry_data& {
    return row[static_cast<std::size_t>(table.column_position(name))];
  };
  volume_t v;
  v.serial = cell(col::serial).as_string();
  v.description = cell(col::description).as_string();
  v.type = type_from_text(cell(col::type).as_string());
  v.drive_path_if_builtin = cell(col::drive_path_if_builtin).as_string();
  v.id = cell(col::id).as_int();
  return v;
}

void write_fields(const volume_t& volume, dbl::record& record) {
  if (volume.type == volume_type::builtin_drive && volume.drive_path_if_builtin.empty()) {
    throw std::logic_error("If a builtin drive is being added, a drive path must be specified.");
  }
  if (!has_path_of_its_own(volume.type) && !volume.drive_path_if_builtin.empty()) {
    throw std::logic_error(
        "A path may only be specified for a builtin drive or a 'no drive' drive.");
  }
  record.set(col::description, dbl::entry_data(volume.description));
  record.set(col::serial, dbl::entry_data(volume.serial));
  record.set(col::type, dbl::entry_data(volume_type_text(volume.type)));
  record.set(col::drive_path_if_builtin, dbl::entry_data(volume.drive_path_if_builtin));
}

std::vector<volume_t> select_volumes(internal_connection& c, const std::string& sql,
                                     const char* name, const std::string& value) {
  const dbl::table_description table = volume_table(c);
  dbl::query q(c.database(), sql);
  q.set_columns(table);
  if (name != nullptr) q.bind(name, dbl::entry_data(value));
  std::vector<volume_t> out;
  for (const dbl::entry_data_vector& row : q) out.push_back(from_values(table, row));
  return out;
}

bool any_id(internal_connection& c, const std::string& sql, const char* name,
            const std::string& value, int* id) {
  dbl::query q(c.database(), sql);
  q.bind(name, dbl::entry_data(value));
  const std::vector<int> ids = q.select_ints();
  if (ids.empty()) return false;
  if (id != nullptr) *id = ids.front();
  return true;
}

std::string catalog_folder(const std::string& catalog_path) {
  std::error_code ignored;
  std::filesystem::path p =
      std::filesystem::absolute(std::filesystem::u8path(catalog_path), ignored);
  return p.parent_path().u8string();
}

}  // namespace

const char* volume_type_text(volume_type type) {
  const auto index = static_cast<std::size_t>(type);
  if (index >= type_texts.size()) {
    throw std::logic_error("An unrecognized volume type was encountered");
  }
  return type_texts[index];
}

volume_manager get_volume_manager(const connection_handle& handle) {
  internal_connection& c = get_connection(handle);
  std::shared_ptr<volume_manager>& slot = c.volume_manager_slot();
  if (slot == nullptr) {
    auto made = std::make_shared<volume_manager>(handle);
    made->load_paths();
    slot = std::move(made);
  }
  return *slot;
}

void volume_manager::load_paths() {
  internal_connection& c = get_connection(handle_);
  for (const volume_t& v : get_all_volumes()) {
    if (has_path_of_its_own(v.type)) {
      c.volume_paths()[v.id] = v.drive_path_if_builtin;
    } else if (v.type == volume_type::database_relative_drive) {
      c.volume_paths()[v.id] = catalog_folder(c.path());
    }
  }
}

volume_t volume_manager::add_volume(const volume_t& volume) {
  if (volume.type == volume_type::database_relative_drive) {
    throw std::logic_error("Only one 'database relative drive' may be present.");
  }
  internal_connection& c = get_connection(handle_);
  dbl::record record(c.database(), volume_table(c));
  write_fields(volume, record);
  record.save();
  volume_t added = volume;
  added.id = record.id();
  if (has_path_of_its_own(added.type)) c.volume_paths()[added.id] = added.drive_path_if_builtin;
  return added;
}

void volume_manager::update_volume(const volume_t& volume) {
  if (volume.type == volume_type::database_relative_drive) {
    throw std::logic_error("Cannot change a 'database relative drive'.");
  }
  internal_connection& c = get_connection(handle_);
  dbl::record record(c.database(), volume_table(c), volume.id);
  write_fields(volume, record);
  record.save();
  c.volume_by_id().remove(volume.id);
  if (has_path_of_its_own(volume.type)) c.volume_paths()[volume.id] = volume.drive_path_if_builtin;
}

volume_t volume_manager::get_volume(int id) const {
  internal_connection& c = get_connection(handle_);
  return c.volume_by_id().get_or_load<volume_t>(id, [&] {
    const dbl::table_description table = volume_table(c);
    return from_values(table, dbl::record(c.database(), table, id).values());
  });
}

std::vector<volume_t> volume_manager::get_all_volumes() const {
  return select_volumes(get_connection(handle_), "SELECT * FROM volume_table", nullptr, {});
}

std::vector<volume_t> volume_manager::get_volumes_by_drive_path(const std::string& path) const {
  return select_volumes(get_connection(handle_),
                        "SELECT * FROM volume_table WHERE drive_path_if_builtin = :drive_path",
                        ":drive_path", path);
}

std::vector<volume_t> volume_manager::get_volumes_by_serial(const std::string& serial) const {
  return select_volumes(get_connection(handle_),
                        "SELECT * FROM volume_table WHERE serial = :serial", ":serial", serial);
}

bool volume_manager::has_drive_path(const std::string& path) const {
  return any_id(get_connection(handle_),
                "SELECT id FROM volume_table WHERE drive_path_if_builtin = :drive_path LIMIT 1",
                ":drive_path", path, nullptr);
}

bool volume_manager::has_serial(const std::string& serial) const {
  return any_id(get_connection(handle_),
                "SELECT id FROM volume_table WHERE serial = :serial LIMIT 1", ":serial", serial,
                nullptr);
}

int volume_manager::get_volume_id_of_type(const std::string& type_text) const {
  int id = -1;
  any_id(get_connection(handle_), "SELECT id FROM volume_table WHERE type = :type LIMIT 1", ":type",
         type_text, &id);
  return id;
}

bool volume_manager::has_database_relative_volume() const {
  return get_volume_id_of_type(volume_type_text(volume_type::database_relative_drive)) != -1;
}

void volume_manager::ensure_database_relative_volume() {
  internal_connection& c = get_connection(handle_);
  const int id = get_volume_id_of_type(volume_type_text(volume_type::database_relative_drive));
  if (id != -1 && !get_volume(id).serial.empty()) return;

  transaction t(handle_);
  t.begin(vael::without_undo, vael::lock_now);
  dbl::record record = id == -1 ? dbl::record(c.database(), volume_table(c))
                                : dbl::record(c.database(), volume_table(c), id);
  if (id == -1) {
    record.set(col::description, dbl::entry_data(database_relative_description));
    record.set(col::type, dbl::entry_data(volume_type_text(volume_type::database_relative_drive)));
    record.set(col::drive_path_if_builtin, dbl::entry_data(""));
  }
  // Older catalogs have this volume with an empty serial.
  record.set(col::serial, dbl::entry_data(database_relative_serial));
  record.save();
  c.volume_by_id().remove(record.id());
  t.commit();
  // Paths were read before the volume existed.
  c.volume_paths()[record.id()] = catalog_folder(c.path());
}

std::string volume_manager::get_volume_path(int id) const {
  const std::map<int, std::string>& paths = get_connection(handle_).volume_paths();
  const auto it = paths.find(id);
  return it == paths.end() ? std::string() : it->second;
}

std::map<int, std::string> volume_manager::get_volume_paths() const {
  return get_connection(handle_).volume_paths();
}

void volume_manager::set_volume_path(int id, const std::string& path) {
  if (path.empty()) return;
  internal_connection& c = get_connection(handle_);
  c.volume_paths()[id] = path;
  c.media_tracker().drop_caches();
}

void volume_manager::clear_volume_path(int id) {
  internal_connection& c = get_connection(handle_);
  c.volume_paths()[id] = std::string();
  c.media_tracker().drop_caches();
}

void volume_manager::forget_volume_path(int id) {
  internal_connection& c = get_connection(handle_);
  c.volume_paths().erase(id);
  c.media_tracker().drop_caches();
}

bool volume_manager::is_volume_online(int id) const {
  const volume_t volume = get_volume(id);
  const std::map<int, std::string>& paths = get_connection(handle_).volume_paths();
  const auto it = paths.find(id);
  if (it == paths.end()) return false;
  if (volume.type != volume_type::network_drive) return true;
  std::error_code ignored;
  return std::filesystem::exists(std::filesystem::u8path(it->second), ignored);
}

}  // namespace vael
