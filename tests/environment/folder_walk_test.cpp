#include "environment/folder_walk.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "tests/support/sandbox.h"

namespace fs = std::filesystem;

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

}  // namespace
