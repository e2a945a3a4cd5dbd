#include "environment/volume_info.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/sandbox.h"

namespace {

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
