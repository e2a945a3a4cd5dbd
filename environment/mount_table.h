#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The mounted file systems of this process, and who a file system is: the facts a catalog keeps
// of a volume so that it recognises the disk when it comes back under another mount point.
namespace vantor_env {

// One mount of the mount table. Text fields are decoded ("\040" is a space).
struct mount_entry_t {
  int mount_id = 0;
  int parent_id = 0;
  unsigned major = 0;
  unsigned minor = 0;
  // The folder of the file system that appears at mount_point: "/" for a whole file system,
  // the subvolume ("/@home") or the bound folder otherwise.
  std::string root;
  std::string mount_point;  // absolute, no trailing slash except for "/"
  std::string options;      // per mount, e.g. "rw,relatime"
  std::string file_system;  // e.g. "ext4", "fuse.sshfs"
  std::string source;       // e.g. "/dev/sda1", "server:/export", "none"
};

// Reads a mount table in the kernel's mountinfo layout through libmount. Lines that cannot be
// read are skipped, so that one odd line does not hide every other mount. Throws
// std::runtime_error when the file cannot be read.
std::vector<mount_entry_t> ReadMountTable(const std::string& path = "/proc/self/mountinfo");

// The mount `path` lives on: the entry whose mount point is the longest prefix of `path` on a
// folder boundary, after symlinks in the existing part of `path` are resolved and a relative
// `path` is made absolute. Of entries mounted on the same point the last one wins, as it hides
// the others. nullopt when no entry holds the path (a table without "/").
std::optional<mount_entry_t> FindMount(const std::vector<mount_entry_t>& mounts,
                                       const std::string& path);

// True for file systems that live on another machine: the kernel's network file systems, and
// FUSE file systems whose source names a host ("user@host:path", "host:path", "//host/share").
bool IsNetworkMount(const std::string& file_system, const std::string& source);

// The id the kernel gives the file system at `path` (statvfs f_fsid); nullopt when it cannot be
// asked. Not stable across reboots for every file system, so only a fallback for a serial.
std::optional<std::uint64_t> FileSystemId(const std::string& path);

enum class volume_kind { builtin, removable, network };

// Who a mounted file system is.
struct file_system_identity_t {
  // The file system UUID when the device has one; otherwise the file system id as 16 lower-case
  // hex digits; empty when neither can be found.
  std::string serial;
  volume_kind kind = volume_kind::builtin;
  std::string mount_point;
  std::string root;   // as mount_entry_t::root
  std::string label;  // the name udev gives the file system; empty when it has none
};

// Where IdentifyFileSystem() looks. Tests point these at crafted trees.
struct system_folders_t {
  std::string by_uuid = "/dev/disk/by-uuid";  // links named by UUID to device nodes
  std::string sysfs = "/sys";
  std::string by_label = "/dev/disk/by-label";  // links named by label
};

// The identity of `mount`. The UUID is the name of the link in `where.by_uuid` that leads to the
// mount's device: the same device node (major:minor), the same path as the mount's source, or
// the same device name as sysfs gives for major:minor; the label is found the same way. A block
// device counts as removable when it hangs off a USB or MMC/SD bus or its disk says removable in
// sysfs. Never throws for an unreadable system folder: it gives what it could find.
file_system_identity_t IdentifyFileSystem(const mount_entry_t& mount,
                                          const system_folders_t& where = {});

}  // namespace vantor_env
