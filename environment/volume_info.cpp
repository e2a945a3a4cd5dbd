#include "environment/volume_info.h"

#include <sys/statvfs.h>

#include <QStorageInfo>
#include <algorithm>
#include <array>
#include <string_view>

namespace vantor_env {
namespace {

QStorageInfo StorageOf(const std::string& path) {
  std::string p = path;
  std::replace(p.begin(), p.end(), '\\', '/');
  return QStorageInfo(QString::fromStdString(p));
}

bool IsRemote(const std::string& type) {
  static constexpr std::array<std::string_view, 11> kRemote = {
      "nfs", "nfs4", "cifs",      "smb3",       "smbfs", "9p",
      "afs", "ceph", "glusterfs", "fuse.sshfs", "sshfs"};
  return std::find(kRemote.begin(), kRemote.end(), type) != kRemote.end();
}

}  // namespace

int GetDriveType(const std::string& path) {
  const QStorageInfo storage = StorageOf(path);
  if (!storage.isValid()) return kDriveNoRootDir;
  const std::string type = storage.fileSystemType().toStdString();
  if (type.empty()) return kDriveUnknown;
  if (IsRemote(type)) return kDriveRemote;
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
  struct statvfs vfs {};
  if (::statvfs(info.root.c_str(), &vfs) == 0) info.serial = vfs.f_fsid;
  return info;
}

std::string GetNetworkPath(const std::string& drive) {
  const QStorageInfo storage = StorageOf(drive);
  if (!storage.isValid() || !IsRemote(storage.fileSystemType().toStdString())) return {};
  return storage.device().toStdString();
}

}  // namespace vantor_env
