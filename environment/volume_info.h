#pragma once

#include <cstdint>
#include <string>

// Facts about the volume a path lies on, from the mount table. Values follow the drive kinds
// of the original API so that callers compare with the same numbers.
namespace vantor_env {

inline constexpr int kDriveUnknown = 0;
inline constexpr int kDriveNoRootDir = 1;  // the path is on no mounted volume or cannot be read
inline constexpr int kDriveFixed = 3;
inline constexpr int kDriveRemote = 4;   // network file systems
inline constexpr int kDriveCdRom = 5;    // optical disc file systems
inline constexpr int kDriveRamDisk = 6;  // tmpfs, ramfs

// The kind of volume `path` lies on. Removable media count as fixed: Linux mounts them like any
// other disk.
int GetDriveType(const std::string& path);

struct volume_info_t {
  bool valid = false;        // false when `path` lies on no readable volume
  std::string root;          // mount point, no trailing slash except for "/"
  std::string label;         // may be empty
  std::string file_system;   // e.g. "ext4"
  std::uint64_t serial = 0;  // the file system id
  bool read_only = false;
};

volume_info_t GetVolumeInfo(const std::string& path);

// The remote source of the network volume `drive` lies on ("//server/share",
// "server:/export"); "" for a local volume.
std::string GetNetworkPath(const std::string& drive);

}  // namespace vantor_env
