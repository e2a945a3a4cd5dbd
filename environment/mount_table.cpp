#include "environment/mount_table.h"

#include <libmount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace vantor_env {
namespace {

// An absolute path with the symlinks of its existing part resolved and no trailing slash.
std::string ResolvedPath(const std::string& path) {
  std::error_code ec;
  fs::path p = fs::absolute(path, ec);
  if (ec) p = path;
  fs::path resolved = fs::weakly_canonical(p, ec);
  std::string text = (ec ? p.lexically_normal() : resolved).string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

bool IsUnder(const std::string& path, const std::string& mount_point) {
  if (mount_point == "/") return !path.empty() && path.front() == '/';
  return path.compare(0, mount_point.size(), mount_point) == 0 &&
         (path.size() == mount_point.size() || path[mount_point.size()] == '/');
}

fs::path Canonical(const fs::path& p) {
  std::error_code ec;
  fs::path c = fs::canonical(p, ec);
  return ec ? fs::path() : c;
}

std::string FirstLine(const fs::path& file) {
  std::ifstream in(file);
  std::string line;
  std::getline(in, line);
  return line;
}

// The sysfs folder of the mount's block device; empty for a file system without one.
fs::path SysfsDeviceFolder(const mount_entry_t& mount, const fs::path& sysfs) {
  fs::path dev = Canonical(sysfs / "dev" / "block" /
                           (std::to_string(mount.major) + ":" + std::to_string(mount.minor)));
  // Some file systems (btrfs) report an anonymous device number; the source still names the
  // block device.
  if (dev.empty() && mount.source.rfind("/dev/", 0) == 0) {
    const fs::path source = Canonical(mount.source);
    const fs::path name = source.empty() ? fs::path(mount.source).filename() : source.filename();
    dev = Canonical(sysfs / "class" / "block" / name);
  }
  return dev;
}

// The name of the link in `folder` that leads to the mount's device.
std::string FindDiskLink(const mount_entry_t& mount, const std::string& folder,
                         const fs::path& device_folder) {
  const std::string device_name = device_folder.filename().string();
  const fs::path source = mount.source.rfind('/', 0) == 0 ? Canonical(mount.source) : fs::path();
  const dev_t wanted = makedev(mount.major, mount.minor);
  std::vector<std::string> matches;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    const fs::path target = Canonical(it->path());
    if (target.empty()) continue;
    struct stat st {};
    const bool same_node = mount.major != 0 && ::stat(target.c_str(), &st) == 0 &&
                           S_ISBLK(st.st_mode) && st.st_rdev == wanted;
    if (same_node || (!source.empty() && target == source) ||
        (!device_name.empty() && target.filename() == device_name)) {
      matches.push_back(it->path().filename().string());
    }
  }
  // Directory order is arbitrary; a device with two links (rare) always gives the same one.
  return matches.empty() ? std::string() : *std::min_element(matches.begin(), matches.end());
}

bool IsRemovable(const fs::path& device_folder, const fs::path& sysfs) {
  if (device_folder.empty()) return false;
  const std::string bus_path = device_folder.lexically_relative(Canonical(sysfs)).generic_string();
  if (bus_path.find("/usb") != std::string::npos || bus_path.find("mmcblk") != std::string::npos) {
    return true;
  }
  std::error_code ec;
  const fs::path disk = fs::exists(device_folder / "partition", ec)
                            ? device_folder.parent_path().filename()
                            : device_folder.filename();
  return FirstLine(sysfs / "block" / disk / "removable") == "1";
}

}  // namespace

std::vector<mount_entry_t> ReadMountTable(const std::string& path) {
  struct table_deleter {
    void operator()(libmnt_table* table) const { mnt_unref_table(table); }
  };
  const std::unique_ptr<libmnt_table, table_deleter> table(mnt_new_table());
  if (!table) throw std::bad_alloc();
  // A line libmount cannot read is skipped, so that one odd line does not hide every mount.
  mnt_table_set_parser_errcb(table.get(), [](libmnt_table*, const char*, int) { return 1; });
  if (mnt_table_parse_file(table.get(), path.c_str()) != 0) {
    throw std::runtime_error("Cannot read the mount table " + path + ".");
  }
  std::vector<mount_entry_t> mounts;
  libmnt_iter* iter = mnt_new_iter(MNT_ITER_FORWARD);
  if (iter == nullptr) throw std::bad_alloc();
  libmnt_fs* fs = nullptr;
  const auto text = [](const char* value) { return value == nullptr ? std::string() : value; };
  while (mnt_table_next_fs(table.get(), iter, &fs) == 0) {
    mount_entry_t m;
    m.mount_id = mnt_fs_get_id(fs);
    m.parent_id = mnt_fs_get_parent_id(fs);
    m.major = major(mnt_fs_get_devno(fs));
    m.minor = minor(mnt_fs_get_devno(fs));
    m.root = text(mnt_fs_get_root(fs));
    m.mount_point = text(mnt_fs_get_target(fs));
    m.options = text(mnt_fs_get_vfs_options(fs));
    m.file_system = text(mnt_fs_get_fstype(fs));
    m.source = text(mnt_fs_get_source(fs));
    mounts.push_back(std::move(m));
  }
  mnt_free_iter(iter);
  return mounts;
}

std::optional<mount_entry_t> FindMount(const std::vector<mount_entry_t>& mounts,
                                       const std::string& path) {
  const std::string resolved = ResolvedPath(path);
  const mount_entry_t* best = nullptr;
  for (const mount_entry_t& m : mounts) {
    if (IsUnder(resolved, m.mount_point) &&
        (best == nullptr || m.mount_point.size() >= best->mount_point.size())) {
      best = &m;
    }
  }
  if (best == nullptr) return std::nullopt;
  return *best;
}

bool IsNetworkMount(const std::string& file_system, const std::string& source) {
  static constexpr std::array<std::string_view, 17> kNetwork = {
      "nfs",         "nfs4",      "cifs",         "smb3",       "smbfs",         "9p",
      "afs",         "ceph",      "glusterfs",    "fuse.sshfs", "sshfs",         "davfs",
      "fuse.rclone", "fuse.s3fs", "fuse.gcsfuse", "ncpfs",      "fuse.glusterfs"};
  if (std::find(kNetwork.begin(), kNetwork.end(), file_system) != kNetwork.end()) return true;
  if (file_system != "fuse" && file_system.rfind("fuse.", 0) != 0) return false;
  if (source.rfind("//", 0) == 0) return true;
  // "host:path" or "user@host:path"; a local FUSE source is a bare name or a path.
  const std::size_t colon = source.find(':');
  return colon != std::string::npos && colon > 0 && source.find('/') > colon;
}

std::optional<std::uint64_t> FileSystemId(const std::string& path) {
  struct statvfs vfs {};
  if (::statvfs(path.c_str(), &vfs) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(vfs.f_fsid);
}

file_system_identity_t IdentifyFileSystem(const mount_entry_t& mount,
                                          const system_folders_t& where) {
  file_system_identity_t id;
  id.mount_point = mount.mount_point;
  id.root = mount.root;
  if (IsNetworkMount(mount.file_system, mount.source)) {
    id.kind = volume_kind::network;
  } else {
    const fs::path device = SysfsDeviceFolder(mount, where.sysfs);
    id.serial = FindDiskLink(mount, where.by_uuid, device);
    id.label = FindDiskLink(mount, where.by_label, device);
    if (IsRemovable(device, where.sysfs)) id.kind = volume_kind::removable;
  }
  if (id.serial.empty()) {
    if (const std::optional<std::uint64_t> fsid = FileSystemId(mount.mount_point)) {
      std::ostringstream hex;
      hex << std::hex << std::setw(16) << std::setfill('0') << *fsid;
      id.serial = hex.str();
    }
  }
  return id;
}

}  // namespace vantor_env
