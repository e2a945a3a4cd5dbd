#include "environment/mount_table.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "environment/volume_info.h"
#include "tests/support/sandbox.h"

namespace fs = std::filesystem;
using vantor_env::volume_kind;

namespace {

std::string MountPointOf(const std::vector<vantor_env::mount_entry_t>& mounts,
                         const std::string& path) {
  const auto m = vantor_env::FindMount(mounts, path);
  return m ? m->mount_point : "<none>";
}

TEST(MountTable, ParsesLinesAndFindsTheInnermostMount) {
  const auto mounts = vantor_env::ParseMountInfo(
      "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
      "40 22 8:17 / /media/My\\040Photos rw,nosuid shared:5 master:2 - vfat /dev/sdb1 rw\n"
      "41 40 0:50 /sub /media/My\\040Photos/inner rw - nfs4 nas:/export\\134x rw\n"
      "not a mount line\n"
      "42 22 0:51 / /mnt/photo rw - tmpfs tmpfs rw\n"
      "43 22 0:52 / /mnt/photo rw - tmpfs second rw");
  ASSERT_EQ(mounts.size(), 5u);
  EXPECT_EQ(mounts[1].mount_id, 40);
  EXPECT_EQ(mounts[1].parent_id, 22);
  EXPECT_EQ(mounts[1].major, 8u);
  EXPECT_EQ(mounts[1].minor, 17u);
  EXPECT_EQ(mounts[1].mount_point, "/media/My Photos");
  EXPECT_EQ(mounts[1].options, "rw,nosuid");
  EXPECT_EQ(mounts[1].file_system, "vfat");
  EXPECT_EQ(mounts[1].source, "/dev/sdb1");
  EXPECT_EQ(mounts[2].root, "/sub");
  EXPECT_EQ(mounts[2].source, "nas:/export\\x");

  EXPECT_EQ(MountPointOf(mounts, "/media/My Photos/inner/a.jpg"), "/media/My Photos/inner");
  EXPECT_EQ(MountPointOf(mounts, "/media/My Photos/innerly/a.jpg"), "/media/My Photos");
  EXPECT_EQ(MountPointOf(mounts, "/media/My Photos/inner/"), "/media/My Photos/inner");
  EXPECT_EQ(MountPointOf(mounts, "/mnt/photos/a.jpg"), "/");
  EXPECT_EQ(vantor_env::FindMount(mounts, "/mnt/photo/a.jpg")->source, "second");
  EXPECT_EQ(MountPointOf({}, "/x"), "<none>");
}

TEST(MountTable, FollowsSymlinksToTheMountBehindThem) {
  vantor_test::sandbox box;
  const std::string root = fs::canonical(box.root()).string();
  box.write_file("disk/a.jpg", "x");
  fs::create_directory_symlink(root + "/disk", root + "/link");
  const auto mounts = vantor_env::ParseMountInfo("1 0 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / " +
                                                 root + "/disk rw - ext4 /dev/sda2 rw\n");
  EXPECT_EQ(MountPointOf(mounts, root + "/link/a.jpg"), root + "/disk");
  EXPECT_EQ(MountPointOf(mounts, root + "/link/not/yet/there.jpg"), root + "/disk");
}

TEST(MountTable, NetworkMountsByTypeAndBySourceOfFuse) {
  struct {
    const char* type;
    const char* source;
    bool network;
  } cases[] = {{"nfs4", "nas:/photos", true},         {"cifs", "//nas/photos", true},
               {"fuse.sshfs", "me@host:", true},      {"fuse.rclone", "gdrive:", true},
               {"fuse.anything", "me@host:/p", true}, {"fuse.smb", "//nas/share", true},
               {"fuse.portal", "portal", false},      {"fuse.mergerfs", "/mnt/a:/mnt/b", false},
               {"ext4", "host:/odd", false},          {"vfat", "/dev/sdb1", false}};
  for (const auto& c : cases) {
    EXPECT_EQ(vantor_env::IsNetworkMount(c.type, c.source), c.network) << c.type << " " << c.source;
  }
}

TEST(MountTable, IdentifiesDisksFromCraftedDeviceTrees) {
  vantor_test::sandbox box;
  const fs::path root = fs::canonical(box.root());
  const fs::path sys = root / "sys";
  const auto device = [&](const std::string& bus_path, const std::string& dev, bool partition) {
    fs::create_directories(sys / "devices" / bus_path);
    if (partition) box.write_file("sys/devices/" + bus_path + "/partition", "1\n");
    fs::create_directories(sys / "dev" / "block");
    fs::create_symlink(fs::path("../../devices") / bus_path, sys / "dev" / "block" / dev);
  };
  device("pci0000:00/0000:00:1f.2/ata1/host0/block/sda/sda1", "8:1", true);
  box.write_file("sys/block/sda/removable", "0\n");
  device("pci0000:00/0000:00:14.0/usb2/2-1/host6/block/sdb/sdb1", "8:17", true);
  device("pci0000:00/0000:00:1f.2/ata2/host1/block/sdc", "8:32", false);
  box.write_file("sys/block/sdc/removable", "1\n");
  device("platform/mmc0/mmc0:0001/block/mmcblk0/mmcblk0p1", "179:1", true);

  fs::create_directories(root / "by-uuid");
  const std::pair<const char*, std::string> links[] = {{"1111-AAAA", "sda1"},
                                                       {"2222-BBBB", "sdb1"},
                                                       {"3333-CCCC", "sdc"},
                                                       {"4444-DDDD", "sdd1"},
                                                       {"5555-EEEE", "gone"}};
  for (const auto& [uuid, node] : links) {
    if (node != "gone") box.write_file("dev/" + node, "");
    fs::create_symlink("../dev/" + node, root / "by-uuid" / uuid);
  }
  fs::create_symlink(root / "dev" / "sdd1", root / "dev" / "alias");
  const vantor_env::system_folders_t where{(root / "by-uuid").string(), sys.string()};

  const std::string here = root.string();
  const auto mounts = vantor_env::ParseMountInfo(
      "1 0 8:1 / /nowhere/a rw - ext4 /dev/sda1 rw\n"
      "2 1 8:17 / /nowhere/b rw - vfat /dev/sdb1 rw\n"
      "3 1 8:32 / /nowhere/c rw - exfat /dev/sdc rw\n"
      "4 1 179:1 / " +
      here +
      " rw - vfat /dev/mmcblk0p1 rw\n"
      "5 1 0:45 / /nowhere/d rw - btrfs " +
      here +
      "/dev/alias rw\n"
      "6 1 0:46 / /nowhere/e rw - nfs4 nas:/photos rw\n");
  ASSERT_EQ(mounts.size(), 6u);
  struct {
    std::string serial;
    volume_kind kind;
  } expected[] = {{"1111-AAAA", volume_kind::builtin},   {"2222-BBBB", volume_kind::removable},
                  {"3333-CCCC", volume_kind::removable}, {"", volume_kind::removable},
                  {"4444-DDDD", volume_kind::builtin},   {"", volume_kind::network}};
  const auto fsid = vantor_env::FileSystemId(here);
  ASSERT_TRUE(fsid.has_value());
  char hex[17];
  std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(*fsid));
  expected[3].serial = hex;  // no UUID: falls back to the id of the mounted file system
  for (std::size_t i = 0; i < mounts.size(); ++i) {
    const auto id = vantor_env::IdentifyFileSystem(mounts[i], where);
    EXPECT_EQ(id.serial, expected[i].serial) << mounts[i].source;
    EXPECT_EQ(id.kind, expected[i].kind) << mounts[i].source;
    EXPECT_EQ(id.mount_point, mounts[i].mount_point);
  }
}

TEST(MountTable, ThisProcessHasARootMount) {
  const auto mounts = vantor_env::ReadMountTable();
  EXPECT_EQ(MountPointOf(mounts, "/proc/self"), "/proc");
  EXPECT_TRUE(vantor_env::FindMount(mounts, "/").has_value());
}

TEST(VolumeInfo, KindsAndFactsOfMountedVolumes) {
  vantor_test::sandbox box;
  const vantor_env::volume_info_t here = vantor_env::GetVolumeInfo(box.root());
  ASSERT_TRUE(here.valid);
  EXPECT_FALSE(here.root.empty());
  EXPECT_EQ(box.root().rfind(here.root, 0), 0u) << here.root << " holds " << box.root();
  EXPECT_FALSE(here.file_system.empty());
  EXPECT_EQ(vantor_env::GetVolumeInfo(box.root() + "\\").serial, here.serial);
  EXPECT_EQ(vantor_env::GetNetworkPath(box.root()), "");

  EXPECT_EQ(vantor_env::GetDriveType(box.path("does/not/exist")), vantor_env::kDriveNoRootDir);
  EXPECT_FALSE(vantor_env::GetVolumeInfo(box.path("does/not/exist")).valid);
  struct stat shm {};
  if (::stat("/dev/shm", &shm) == 0 &&
      vantor_env::GetVolumeInfo("/dev/shm").file_system == "tmpfs") {
    EXPECT_EQ(vantor_env::GetDriveType("/dev/shm"), vantor_env::kDriveRamDisk);
  }
  if (here.file_system == "ext4" || here.file_system == "xfs" || here.file_system == "btrfs") {
    EXPECT_EQ(vantor_env::GetDriveType(box.root()), vantor_env::kDriveFixed);
  }
}

}  // namespace
