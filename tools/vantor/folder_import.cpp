#include "tools/vantor/folder_import.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <future>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

#include "catalog/catalog_lookup.h"
#include "catalog/media.h"
#include "catalog/metadata_description.h"
#include "catalog/transaction.h"
#include "catalog/volume_manager.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "environment/folder_walk.h"
#include "environment/media_file_probe.h"
#include "environment/mount_table.h"

namespace vantor_cli {
namespace {

namespace fs = std::filesystem;
namespace ids = vael_util::metadata_identifier;

constexpr int integer_type = static_cast<int>(vael::metadata_data_type::integer_type);
constexpr int date_time_type = static_cast<int>(vael::metadata_data_type::date_time_type);

// Where a file lives in the catalog's terms.
struct placement {
  int volume_id = 0;
  std::string path;  // relative to the volume, starting with "/"
};

bool is_inside(const std::string& path, const std::string& folder) {
  if (folder == "/") return true;
  return path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
         path[folder.size()] == '/';
}

std::string path_below(const std::string& path, const std::string& folder) {
  return folder == "/" ? path : path.substr(folder.size());
}

vael::volume_type type_of(vantor_env::volume_kind kind) {
  switch (kind) {
    case vantor_env::volume_kind::removable:
      return vael::volume_type::removable_drive;
    case vantor_env::volume_kind::network:
      return vael::volume_type::network_drive;
    case vantor_env::volume_kind::builtin:
      break;
  }
  return vael::volume_type::builtin_drive;
}

// Finds or makes the volume of each file. A file system is known by its serial, so a disk
// that comes back under another mount point finds its volume and the volume's path moves.
class volume_resolver {
 public:
  volume_resolver(const vael::connection_handle& handle, const import_options& options)
      : handle_(handle),
        mounts_(vantor_env::ReadMountTable(options.mount_table)),
        system_folders_(options.system_folders) {
    vael::volume_manager vm = vael::get_volume_manager(handle_);
    vm.ensure_database_relative_volume();
    relative_volume_id_ = vm.get_volume_id_of_type(
        vael::volume_type_text(vael::volume_type::database_relative_drive));
    catalog_folder_ =
        fs::weakly_canonical(fs::path(vael::catalog_path(handle_)).parent_path()).string();
  }

  // REQUIRES: an open transaction, since a file system seen for the first time becomes a
  // volume.
  placement place(const std::string& file) {
    const std::string real = fs::weakly_canonical(file).string();
    if (is_inside(real, catalog_folder_)) {
      return {relative_volume_id_, path_below(real, catalog_folder_)};
    }
    const std::optional<vantor_env::mount_entry_t> mount = vantor_env::FindMount(mounts_, real);
    if (!mount) throw std::runtime_error(file + " lies on no mounted file system");
    auto known = volume_of_mount_.find(mount->mount_point);
    if (known == volume_of_mount_.end()) {
      known = volume_of_mount_.emplace(mount->mount_point, volume_for(*mount)).first;
    }
    return {known->second, path_below(real, mount->mount_point)};
  }

 private:
  int volume_for(const vantor_env::mount_entry_t& mount) {
    const vantor_env::file_system_identity_t identity =
        vantor_env::IdentifyFileSystem(mount, system_folders_);
    // A network share is known by its source: the id the kernel gives it need not survive a
    // remount. A local file system with neither a UUID nor an id is known by its mount point.
    std::string serial = identity.serial;
    if (identity.kind == vantor_env::volume_kind::network) {
      serial = "net:" + mount.source;
    } else if (serial.empty()) {
      serial = "mount:" + mount.mount_point;
    }
    // Paths are relative to the mount, so a mount that shows a folder of the file system (a
    // subvolume, a bind mount) is a volume of its own; the whole file system keeps the bare
    // serial.
    if (!mount.root.empty() && mount.root != "/") serial += ":" + mount.root;
    vael::volume_manager vm = vael::get_volume_manager(handle_);
    const std::vector<vael::volume_t> known = vm.get_volumes_by_serial(serial);
    if (known.empty()) {
      vael::volume_t v;
      v.serial = serial;
      v.description = mount.mount_point;
      v.type = type_of(identity.kind);
      if (v.type == vael::volume_type::builtin_drive) v.drive_path_if_builtin = mount.mount_point;
      v = vm.add_volume(v);
      vm.set_volume_path(v.id, mount.mount_point);
      return v.id;
    }
    vael::volume_t v = known.front();
    if (v.type == vael::volume_type::builtin_drive &&
        v.drive_path_if_builtin != mount.mount_point) {
      v.drive_path_if_builtin = mount.mount_point;
      vm.update_volume(v);
    }
    vm.set_volume_path(v.id, mount.mount_point);
    return v.id;
  }

  vael::connection_handle handle_;
  std::vector<vantor_env::mount_entry_t> mounts_;
  vantor_env::system_folders_t system_folders_;
  int relative_volume_id_ = 0;
  std::string catalog_folder_;
  std::map<std::string, int> volume_of_mount_;
};

struct probed_file {
  std::string file;
  std::optional<vantor_env::media_file_probe_t> probe;
  std::string error;  // why the file could not be probed
};

std::vector<probed_file> probe_all(const std::vector<std::string>& files, std::size_t begin,
                                   std::size_t end) {
  std::vector<probed_file> out;
  out.reserve(end - begin);
  for (std::size_t i = begin; i < end; ++i) {
    probed_file p{files[i], std::nullopt, {}};
    try {
      p.probe = vantor_env::ProbeMediaFile(files[i]);
    } catch (const std::exception& e) {
      p.error = e.what();
    }
    out.push_back(std::move(p));
  }
  return out;
}

void set_int(const vael::connection_handle& h, const char* identifier, int media_id,
             std::int64_t value) {
  vael_util::create_media(h, identifier, integer_type, media_id, dbl::entry_data(value));
}

void write_media(const vael::connection_handle& h, const placement& where,
                 const vantor_env::media_file_probe_t& probe) {
  vael::media m = vael::media::create_master(h, where.volume_id, where.path, probe.mime_type);
  m.set_date({probe.capture_date.value_or(probe.last_write), vael::exact_precision});
  const int id = m.get_id();
  set_int(h, ids::file_size, id, static_cast<std::int64_t>(probe.size));
  vael_util::create_media(h, ids::file_date, date_time_type, id, dbl::entry_data(probe.last_write));
  if (probe.capture_date) {
    vael_util::create_media(h, ids::create_date, date_time_type, id,
                            dbl::entry_data(*probe.capture_date));
  }
  if (probe.width) set_int(h, ids::image_width, id, *probe.width);
  if (probe.height) set_int(h, ids::image_height, id, *probe.height);
  if (probe.rating) set_int(h, ids::rating, id, *probe.rating);
}

// The media already at the file's place, if it is this very path; a media whose path differs
// only in case makes the file a conflict, told by `clash`.
bool already_present(const vael::connection_handle& h, const placement& where, std::string& clash) {
  for (int id : vael::find_media_at_path(h, where.volume_id, where.path)) {
    const std::string stored = vael::media::get_media(h, id).get_filepath(true);
    if (stored == where.path) return true;
    clash = stored;
  }
  return false;
}

}  // namespace

import_summary import_folder(const vael::connection_handle& handle, const std::string& folder,
                             const import_options& options) {
  const auto started = std::chrono::steady_clock::now();
  import_summary summary;
  vantor_env::folder_walk_t walk = vantor_env::WalkFolder(folder);
  summary.warnings = std::move(walk.warnings);
  const std::vector<std::string>& files = walk.files;
  const std::size_t batch = options.batch_size == 0 ? 1 : options.batch_size;
  volume_resolver volumes(handle, options);

  // Probing reads files and parses their metadata; it runs one batch ahead of the writes, on
  // another thread, so that disk and parser time overlap with the catalog's.
  const auto probe_from = [&](std::size_t begin) {
    return std::async(std::launch::async, probe_all, std::cref(files), begin,
                      std::min(begin + batch, files.size()));
  };
  std::future<std::vector<probed_file>> next = probe_from(0);
  long long done = 0;
  for (std::size_t begin = 0; begin < files.size(); begin += batch) {
    const std::vector<probed_file> probed = next.get();
    if (begin + batch < files.size()) next = probe_from(begin + batch);

    vael::transaction t(handle);
    t.begin(vael::without_undo, vael::lock_now);
    for (const probed_file& p : probed) {
      ++done;
      if (!p.probe) {
        summary.warnings.push_back(p.file + ": " + p.error);
      } else if (!p.probe->is_media) {
        ++summary.skipped;
      } else {
        const placement where = volumes.place(p.file);
        std::string clash;
        if (already_present(handle, where, clash)) {
          ++summary.already_present;
        } else if (!clash.empty()) {
          summary.warnings.push_back(p.file +
                                     ": passed over, since its name differs only in case "
                                     "from " +
                                     clash + " on the same volume");
        } else {
          write_media(handle, where, *p.probe);
          ++summary.imported;
          if (!p.probe->warning.empty()) summary.warnings.push_back(p.probe->warning);
        }
      }
      if (options.progress) options.progress(done, static_cast<long long>(files.size()));
    }
    t.commit();
  }
  summary.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  return summary;
}

}  // namespace vantor_cli
