#pragma once

#include <map>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"

namespace vael {

// Stored in volume_table as the text of volume_type_text().
enum class volume_type : int {
  builtin_drive = 0,  // fixed disk; has a path
  removable_drive = 1,
  readonly_drive = 2,
  network_drive = 3,
  no_drive = 4,                 // media without a real file; may have a path
  database_relative_drive = 5,  // the catalog's own folder; one at most
};

// The `type` text of `type`. Throws std::logic_error "An unrecognized volume type was
// encountered" for a value outside the enumeration.
const char* volume_type_text(volume_type type);

// A place where media live; media paths are relative to it.
struct volume_t {
  std::string serial;
  std::string description;
  volume_type type = volume_type::builtin_drive;
  std::string drive_path_if_builtin;
  int id = 0;
};

// The volumes of one catalog, and where each can be reached now. The reachable paths live in
// the connection, not in the file: a disk may be mounted elsewhere next time.
class volume_manager {
 public:
  explicit volume_manager(connection_handle handle) : handle_(std::move(handle)) {}

  // Writes a new volume and returns it with its id. Builtin and 'no drive' volumes become
  // reachable at their path. Throws std::logic_error for a database relative volume, for a
  // builtin one without a path and for a path on any other type.
  // REQUIRES: an open transaction.
  volume_t add_volume(const volume_t& volume);
  // Rewrites the volume with volume.id, with the checks of add_volume(). Throws
  // std::logic_error "Cannot change a 'database relative drive'." for that type.
  // REQUIRES: an open transaction.
  void update_volume(const volume_t& volume);

  // Throws std::logic_error when there is no such volume, database_state_invalid_error when
  // its type text is unknown.
  volume_t get_volume(int id) const;
  std::vector<volume_t> get_all_volumes() const;
  std::vector<volume_t> get_volumes_by_drive_path(const std::string& path) const;
  std::vector<volume_t> get_volumes_by_serial(const std::string& serial) const;
  bool has_drive_path(const std::string& path) const;
  bool has_serial(const std::string& serial) const;
  bool has_database_relative_volume() const;
  // Makes the database relative volume when the catalog has none, and gives an old one with
  // an empty serial its serial; each in a transaction of its own.
  // REQUIRES: no transaction is open.
  void ensure_database_relative_volume();
  // The id of the first volume with that type text; -1 when none.
  int get_volume_id_of_type(const std::string& type_text) const;

  // Where the volume is reachable now; empty when unknown.
  std::string get_volume_path(int id) const;
  std::map<int, std::string> get_volume_paths() const;
  // An empty `path` does nothing. Each of the three drops the cached media, whose absolute
  // paths may change with the volume's.
  void set_volume_path(int id, const std::string& path);
  // Keeps the volume known, with an empty path.
  void clear_volume_path(int id);
  void forget_volume_path(int id);
  // True when the volume has a known path, and for a network volume only while that folder
  // exists. Throws as get_volume().
  bool is_volume_online(int id) const;

 private:
  friend volume_manager get_volume_manager(const connection_handle& handle);
  void load_paths();

  connection_handle handle_;
};

// The connection's volume manager; on first use it reads every volume to fill the reachable
// paths: builtin and 'no drive' volumes at their stored path, the database relative one at
// the catalog's folder.
volume_manager get_volume_manager(const connection_handle& handle);

}  // namespace vael
