#include "environment/volume_info.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "environment/mount_table.h"

namespace vantor_env {
namespace {

// The mount `path` lies on; nullopt for a path that does not exist or a table that cannot be
// read.
std::optional<mount_entry_t> MountOf(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  std::error_code ec;
  if (!std::filesystem::exists(path, ec)) return std::nullopt;
  try {
    return FindMount(ReadMountTable(), path);
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

}  // namespace

int GetDriveType(const std::string& path) {
  const std::optional<mount_entry_t> mount = MountOf(path);
  if (!mount) return kDriveNoRootDir;
  const std::string& type = mount->file_system;
  if (type.empty()) return kDriveUnknown;
  if (IsNetworkMount(type, mount->source)) return kDriveRemote;
  if (type == "iso9660" || type == "udf") return kDriveCdRom;
  if (type == "tmpfs" || type == "ramfs") return kDriveRamDisk;
  return kDriveFixed;
}

volume_info_t GetVolumeInfo(const std::string& path) {
  volume_info_t info;
  const std::optional<mount_entry_t> mount = MountOf(path);
  if (!mount) return info;
  info.valid = true;
  info.root = mount->mount_point;
  info.label = IdentifyFileSystem(*mount).label;
  info.file_system = mount->file_system;
  const std::string& options = mount->options;
  info.read_only = options == "ro" || options.rfind("ro,", 0) == 0;
  info.serial = FileSystemId(info.root).value_or(0);
  return info;
}

std::string GetNetworkPath(const std::string& drive) {
  const std::optional<mount_entry_t> mount = MountOf(drive);
  if (!mount || !IsNetworkMount(mount->file_system, mount->source)) return {};
  return mount->source;
}

}  // namespace vantor_env
