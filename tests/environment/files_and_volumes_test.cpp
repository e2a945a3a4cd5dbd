#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdlib>
#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "environment/folder_walk.h"
#include "environment/media_file_probe.h"
#include "environment/mount_table.h"
#include "environment/volume_info.h"
#include "tests/support/jpeg_fixture.h"
#include "tests/support/sandbox.h"

namespace fs = std::filesystem;
namespace pt = boost::posix_time;
using vantor_env::volume_kind;

namespace {

TEST(FolderWalk, SortedFilesFirstThenSubfoldersAndPassesOverWhatItCannotRead) {
  vantor_test::sandbox box;
  const std::string top = box.path("photos");
  for (const char* f :
       {"photos/b.jpg", "photos/a.jpg", "photos/sub/z.jpg", "photos/sub/deeper/y.jpg",
        "photos/a_dir/x.jpg", "photos/locked/l.jpg", "elsewhere/linked.jpg"}) {
    box.write_file(f, "x");
  }
  fs::create_symlink(box.path("elsewhere/linked.jpg"), top + "/c_link.jpg");
  fs::create_symlink(box.path("gone.jpg"), top + "/broken.jpg");
  fs::create_directory_symlink(top, top + "/sub/loop");
  ASSERT_EQ(::mkfifo((top + "/pipe").c_str(), 0600), 0);
  fs::permissions(top + "/locked", fs::perms::none);
  const bool locked_is_readable = ::access((top + "/locked").c_str(), R_OK) == 0;  // as root

  const vantor_env::folder_walk_t walk = vantor_env::WalkFolder(top + "/");
  fs::permissions(top + "/locked", fs::perms::owner_all);
  std::vector<std::string> expected = {top + "/a.jpg", top + "/b.jpg", top + "/c_link.jpg",
                                       top + "/a_dir/x.jpg"};
  if (locked_is_readable) expected.push_back(top + "/locked/l.jpg");
  expected.insert(expected.end(), {top + "/sub/z.jpg", top + "/sub/deeper/y.jpg"});
  EXPECT_EQ(walk.files, expected);

  std::vector<std::string> warned;
  for (const std::string& w : walk.warnings) warned.push_back(w.substr(0, w.find(':')));
  std::vector<std::string> expected_warnings = {"Cannot read " + top + "/broken.jpg"};
  if (!locked_is_readable) expected_warnings.push_back("Cannot read folder " + top + "/locked");
  expected_warnings.push_back("Skipped " + top + "/sub/loop");
  EXPECT_EQ(warned, expected_warnings);

  EXPECT_THROW(vantor_env::WalkFolder(box.path("missing")), std::runtime_error);
  EXPECT_THROW(vantor_env::WalkFolder(top + "/a.jpg"), std::runtime_error);
}

using vantor_test::WriteJpeg;

TEST(MediaFileProbe, ReadsTypeSizeTimeAndImageMetadataInOrderOfPreferenceAndStaysQuiet) {
  vantor_test::sandbox box;
  ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);  // the system's MIME database
  const std::string plain = box.path("plain.jpg");
  WriteJpeg(plain);
  const timespec times[2] = {{0, UTIME_OMIT}, {1588748889, 123456789}};  // 2020-05-06 07:08:09
  ASSERT_EQ(::utimensat(AT_FDCWD, plain.c_str(), times, 0), 0);
  auto p = vantor_env::ProbeMediaFile(plain);
  EXPECT_EQ(p.mime_type, "image/jpeg");
  EXPECT_TRUE(p.is_media);
  EXPECT_EQ(p.size, vantor_test::TinyJpeg().size());
  EXPECT_EQ(p.last_write, pt::time_from_string("2020-05-06 07:08:09.123456"));
  EXPECT_EQ(std::tie(p.width, p.height),
            std::make_tuple(vantor_test::kTinyJpegWidth, vantor_test::kTinyJpegHeight));
  EXPECT_FALSE(p.capture_date || p.rating);
  EXPECT_EQ(p.warning, "");

  WriteJpeg(box.path("first.jpg"), [](Exiv2::ExifData& exif, Exiv2::XmpData& xmp) {
    exif["Exif.Photo.DateTimeOriginal"] = "2021:06:15 10:20:30";
    exif["Exif.Image.DateTime"] = "2000:01:01 00:00:00";
    exif["Exif.Photo.PixelXDimension"] = std::uint32_t{4000};
    exif["Exif.Photo.PixelYDimension"] = std::uint32_t{3000};
    exif["Exif.Image.ImageWidth"] = std::uint32_t{10};
    exif["Exif.Image.ImageLength"] = std::uint32_t{20};
    exif["Exif.Image.Rating"] = std::uint16_t{2};
    xmp["Xmp.xmp.Rating"] = "4";
  });
  p = vantor_env::ProbeMediaFile(box.path("first.jpg"));
  EXPECT_EQ(p.capture_date, pt::time_from_string("2021-06-15 10:20:30"));
  EXPECT_EQ(std::tie(p.width, p.height), std::make_tuple(4000, 3000));
  EXPECT_EQ(p.rating, 4);

  WriteJpeg(box.path("fallback.jpg"), [](Exiv2::ExifData& exif, Exiv2::XmpData& xmp) {
    exif["Exif.Photo.DateTimeOriginal"] = "0000:00:00 00:00:00";  // a camera without a clock
    exif["Exif.Image.ImageWidth"] = std::uint32_t{10};
    exif["Exif.Image.ImageLength"] = std::uint32_t{20};
    exif["Exif.Image.Rating"] = std::uint16_t{2};
    xmp["Xmp.xmp.CreateDate"] = "2019-02-03T04:05+02:00";
  });
  p = vantor_env::ProbeMediaFile(box.path("fallback.jpg"));
  EXPECT_EQ(p.capture_date, pt::time_from_string("2019-02-03 04:05:00"));
  EXPECT_EQ(std::tie(p.width, p.height), std::make_tuple(10, 20));
  EXPECT_EQ(p.rating, 2);
  EXPECT_EQ(p.warning, "");

  WriteJpeg(box.path("no_extension"));
  EXPECT_EQ(vantor_env::ProbeMediaFile(box.path("no_extension")).mime_type, "image/jpeg");

  box.write_file("notes.txt", "shopping list\n");
  const auto text = vantor_env::ProbeMediaFile(box.path("notes.txt"));
  EXPECT_EQ(text.mime_type, "text/plain");
  EXPECT_FALSE(text.is_media);
  EXPECT_EQ(text.size, 14u);
  EXPECT_EQ(text.warning, "");

  // An EXIF segment (34 bytes: \042) whose one entry points past its end: the reader
  // complains, then goes on.
  const std::string app1(
      "\xFF\xE1\0\042Exif\0\0II*\0\x08\0\0\0\x01\0\x0F\x01\x02\0\xE8\x03\0\0\xFF\xFF\0\0\0\0\0\0",
      36);
  const std::string jpeg = vantor_test::TinyJpeg();
  box.write_file("bad_exif.jpg", jpeg.substr(0, 2) + app1 + jpeg.substr(2));
  const auto probe_bad_exif = [&] { p = vantor_env::ProbeMediaFile(box.path("bad_exif.jpg")); };
  EXPECT_EQ(vantor_test::capture_stderr(probe_bad_exif), "");
  EXPECT_EQ(p.width, vantor_test::kTinyJpegWidth);
  EXPECT_EQ(p.warning, "");

  EXPECT_THROW(vantor_env::ProbeMediaFile(box.path("missing.jpg")), std::runtime_error);
  EXPECT_THROW(vantor_env::ProbeMediaFile(box.root()), std::runtime_error);
}

std::string MountPointOf(const std::vector<vantor_env::mount_entry_t>& mounts,
                         const std::string& path) {
  const auto m = vantor_env::FindMount(mounts, path);
  return m ? m->mount_point : "<none>";
}

// An entry's fields in mountinfo order.
std::string Fields(const vantor_env::mount_entry_t& m) {
  return std::to_string(m.mount_id) + " " + std::to_string(m.parent_id) + " " +
         std::to_string(m.major) + ":" + std::to_string(m.minor) + " " + m.root + " " +
         m.mount_point + " " + m.options + " - " + m.file_system + " " + m.source;
}

TEST(MountTable, ParsesLinesAndFindsTheInnermostMountBehindSymlinks) {
  const auto mounts = vantor_env::ParseMountInfo(
      "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
      "40 22 8:17 / /media/My\\040Photos rw,nosuid shared:5 master:2 - vfat /dev/sdb1 rw\n"
      "41 40 0:50 /sub /media/My\\040Photos/inner rw - nfs4 nas:/export\\134x rw\n"
      "not a mount line\n"
      "42 22 0:51 / /mnt/photo rw - tmpfs tmpfs rw\n"
      "43 22 0:52 / /mnt/photo rw - tmpfs second rw");
  ASSERT_EQ(mounts.size(), 5u);
  EXPECT_EQ(Fields(mounts[1]), "40 22 8:17 / /media/My Photos rw,nosuid - vfat /dev/sdb1");
  EXPECT_EQ(Fields(mounts[2]), "41 40 0:50 /sub /media/My Photos/inner rw - nfs4 nas:/export\\x");

  EXPECT_EQ(MountPointOf(mounts, "/media/My Photos/inner/a.jpg"), "/media/My Photos/inner");
  EXPECT_EQ(MountPointOf(mounts, "/media/My Photos/innerly/a.jpg"), "/media/My Photos");
  EXPECT_EQ(MountPointOf(mounts, "/media/My Photos/inner/"), "/media/My Photos/inner");
  EXPECT_EQ(MountPointOf(mounts, "/mnt/photos/a.jpg"), "/");
  EXPECT_EQ(vantor_env::FindMount(mounts, "/mnt/photo/a.jpg")->source, "second");
  EXPECT_EQ(MountPointOf({}, "/x"), "<none>");
  EXPECT_EQ(MountPointOf(vantor_env::ReadMountTable(), "/proc/self"), "/proc");

  vantor_test::sandbox box;
  const std::string root = fs::canonical(box.root()).string();
  box.write_file("disk/a.jpg", "x");
  fs::create_directory_symlink(root + "/disk", root + "/link");
  const auto disk = vantor_env::ParseMountInfo("1 0 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / " +
                                               root + "/disk rw - ext4 /dev/sda2 rw\n");
  EXPECT_EQ(MountPointOf(disk, root + "/link/a.jpg"), root + "/disk");
  EXPECT_EQ(MountPointOf(disk, root + "/link/not/yet/there.jpg"), root + "/disk");
}

TEST(MountTable, NetworkMountsByTypeAndBySourceOfFuse) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"cifs", "//nas/photos", true},    {"fuse.anything", "me@host:/p", true},
      {"fuse.smb", "//nas/share", true}, {"fuse.portal", "portal", false},
      {"ext4", "host:/odd", false},      {"fuse.mergerfs", "/mnt/a:/mnt/b", false}};
  for (const auto& [type, source, network] : cases) {
    EXPECT_EQ(vantor_env::IsNetworkMount(type, source), network) << type << " " << source;
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
  std::istringstream links(
      "1111-AAAA sda1 2222-BBBB sdb1 3333-CCCC sdc 4444-DDDD sdd1 5555-EEEE gone");
  for (std::string uuid, node; links >> uuid >> node;) {
    if (node != "gone") box.write_file("dev/" + node, "");
    fs::create_symlink("../dev/" + node, root / "by-uuid" / uuid);
  }
  fs::create_symlink(root / "dev" / "sdd1", root / "dev" / "alias");
  const vantor_env::system_folders_t where{(root / "by-uuid").string(), sys.string()};

  char fsid[17];  // a mount without a UUID falls back to the id of the mounted file system
  std::snprintf(fsid, sizeof fsid, "%016llx",
                static_cast<unsigned long long>(vantor_env::FileSystemId(root).value()));
  const std::string here = root.string();
  const std::tuple<std::string, std::string, volume_kind> cases[] = {
      // mount, serial, kind
      {"1 0 8:1 / /nowhere/a rw - ext4 /dev/sda1 rw", "1111-AAAA", volume_kind::builtin},
      {"2 1 8:17 / /nowhere/b rw - vfat /dev/sdb1 rw", "2222-BBBB", volume_kind::removable},
      {"3 1 8:32 / /nowhere/c rw - exfat /dev/sdc rw", "3333-CCCC", volume_kind::removable},
      {"4 1 179:1 / " + here + " rw - vfat /dev/mmcblk0p1 rw", fsid, volume_kind::removable},
      {"5 1 0:45 / /nowhere/d rw - btrfs " + here + "/dev/alias rw", "4444-DDDD",
       volume_kind::builtin},
      {"6 1 0:46 / /nowhere/e rw - nfs4 nas:/photos rw", "", volume_kind::network}};
  for (const auto& [line, serial, kind] : cases) {
    const auto mounts = vantor_env::ParseMountInfo(line);
    ASSERT_EQ(mounts.size(), 1u) << line;
    const auto id = vantor_env::IdentifyFileSystem(mounts[0], where);
    EXPECT_EQ(id.serial, serial) << line;
    EXPECT_EQ(id.kind, kind) << line;
    EXPECT_EQ(id.mount_point, mounts[0].mount_point);
  }
}

TEST(VolumeInfo, KindsAndFactsOfMountedVolumes) {
  vantor_test::sandbox box;
  const vantor_env::volume_info_t here = vantor_env::GetVolumeInfo(box.root());
  ASSERT_TRUE(here.valid);
  EXPECT_TRUE(!here.root.empty() && box.root().rfind(here.root, 0) == 0) << here.root;
  EXPECT_FALSE(here.file_system.empty());
  EXPECT_EQ(vantor_env::GetVolumeInfo(box.root() + "\\").serial, here.serial);
  EXPECT_EQ(vantor_env::GetNetworkPath(box.root()), "");

  EXPECT_EQ(vantor_env::GetDriveType(box.path("does/not/exist")), vantor_env::kDriveNoRootDir);
  EXPECT_FALSE(vantor_env::GetVolumeInfo(box.path("does/not/exist")).valid);
  if (vantor_env::GetVolumeInfo("/dev/shm").file_system == "tmpfs") {
    EXPECT_EQ(vantor_env::GetDriveType("/dev/shm"), vantor_env::kDriveRamDisk);
  }
  if (here.file_system == "ext4" || here.file_system == "xfs" || here.file_system == "btrfs") {
    EXPECT_EQ(vantor_env::GetDriveType(box.root()), vantor_env::kDriveFixed);
  }
}

}  // namespace
