#include "environment/mount_table.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace vantor_env {
namespace {

// The kernel writes space, tab, newline and backslash in mount paths as a backslash and three
// octal digits.
std::string DecodeMountText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto is_octal = [&](std::size_t k) { return text[k] >= '0' && text[k] <= '7'; };
    if (text[i] == '\\' && i + 3 < text.size() && is_octal(i + 1) && is_octal(i + 2) &&
        is_octal(i + 3)) {
      out += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                               (text[i + 3] - '0'));
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::vector<std::string_view> SplitFields(std::string_view line) {
  std::vector<std::string_view> fields;
  std::size_t pos = 0;
  while (pos < line.size()) {
    const std::size_t start = line.find_first_not_of(' ', pos);
    if (start == std::string_view::npos) break;
    const std::size_t end = std::min(line.find(' ', start), line.size());
    fields.push_back(line.substr(start, end - start));
    pos = end;
  }
  return fields;
}

template <typename Number>
bool ParseNumber(std::string_view text, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

std::optional<mount_entry_t> ParseLine(std::string_view line) {
  const std::vector<std::string_view> f = SplitFields(line);
  // Six fixed fields, any number of optional ones, "-", then three more.
  const auto dash = std::find(f.begin(), f.end(), std::string_view("-"));
  if (f.size() < 10 || dash - f.begin() < 6 || f.end() - dash != 4) return std::nullopt;
  mount_entry_t m;
  const std::size_t colon = f[2].find(':');
  if (!ParseNumber(f[0], m.mount_id) || !ParseNumber(f[1], m.parent_id) ||
      colon == std::string_view::npos || !ParseNumber(f[2].substr(0, colon), m.major) ||
      !ParseNumber(f[2].substr(colon + 1), m.minor)) {
    return std::nullopt;
  }
  m.root = DecodeMountText(f[3]);
  m.mount_point = DecodeMountText(f[4]);
  m.options = DecodeMountText(f[5]);
  m.file_system = DecodeMountText(dash[1]);
  m.source = DecodeMountText(dash[2]);
  return m;
}

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

std::string FindUuid(const mount_entry_t& mount, const system_folders_t& where,
                     const fs::path& device_folder) {
  const std::string device_name = device_folder.filename().string();
  const fs::path source = mount.source.rfind('/', 0) == 0 ? Canonical(mount.source) : fs::path();
  const dev_t wanted = makedev(mount.major, mount.minor);
  std::vector<std::string> matches;
  std::error_code ec;
  for (fs::directory_iterator it(where.by_uuid, ec), end; !ec && it != end; it.increment(ec)) {
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

std::vector<mount_entry_t> ParseMountInfo(std::string_view text) {
  std::vector<mount_entry_t> mounts;
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t end = std::min(text.find('\n', pos), text.size());
    if (std::optional<mount_entry_t> m = ParseLine(text.substr(pos, end - pos))) {
      mounts.push_back(std::move(*m));
    }
    pos = end + 1;
  }
  return mounts;
}

std::vector<mount_entry_t> ReadMountTable() {
  std::ifstream in("/proc/self/mountinfo");
  std::ostringstream text;
  if (!in || !(text << in.rdbuf())) {
    throw std::runtime_error("Cannot read the mount table /proc/self/mountinfo.");
  }
  return ParseMountInfo(text.str());
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
  if (IsNetworkMount(mount.file_system, mount.source)) {
    id.kind = volume_kind::network;
  } else {
    const fs::path device = SysfsDeviceFolder(mount, where.sysfs);
    id.serial = FindUuid(mount, where, device);
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
