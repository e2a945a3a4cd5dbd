#include "environment/volume_info.h"

#include <QStorageInfo>
#include <algorithm>

#include "environment/mount_table.h"

namespace vantor_env {
namespace {

QStorageInfo StorageOf(const std::string& path) {
  std::string p = path;
  std::replace(p.begin(), p.end(), '\\', '/');
  return QStorageInfo(QString::fromStdString(p));
}

bool IsRemote(const QStorageInfo& storage) {
  return IsNetworkMount(storage.fileSystemType().toStdString(), storage.device().toStdString());
}

}  // namespace

int GetDriveType(const std::string& path) {
  const QStorageInfo storage = StorageOf(path);
  if (!storage.isValid()) return kDriveNoRootDir;
  const std::string type = storage.fileSystemType().toStdString();
  if (type.empty()) return kDriveUnknown;
  if (IsRemote(storage)) return kDriveRemote;
  if (type == "iso9660" || type == "udf") return kDriveCdRom;
  if (type == "tmpfs" || type == "ramfs") return kDriveRamDisk;
  return kDriveFixed;
}

volume_info_t GetVolumeInfo(const std::string& path) {
  volume_info_t info;
  const QStorageInfo storage = StorageOf(path);
  if (!storage.isValid()) return info;
  info.valid = true;
  info.root = storage.rootPath().toStdString();
  info.label = storage.name().toStdString();
  info.file_system = storage.fileSystemType().toStdString();
  info.read_only = storage.isReadOnly();
  info.serial = FileSystemId(info.root).value_or(0);
  return info;
}

std::string GetNetworkPath(const std::string& drive) {
  const QStorageInfo storage = StorageOf(drive);
  if (!storage.isValid() || !IsRemote(storage)) return {};
  return storage.device().toStdString();
}

}  // namespace vantor_env
