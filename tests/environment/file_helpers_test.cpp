#include "environment/file_helpers.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "environment/debug_log.h"
#include "tests/support/sandbox.h"

namespace {

using vantor_test::read_file;

TEST(FileHelpers, FoldersAndFiles) {
  vantor_test::sandbox box;
  const std::string tree = box.path("a/b/c");
  EXPECT_FALSE(vantor_env::FolderExists(tree));
  vantor_env::CreateFolder(tree);  // one level only: the parent is missing
  EXPECT_FALSE(vantor_env::FolderExists(tree));
  vantor_env::CreateFolderTree(tree);
  vantor_env::CreateFolderTree(tree + "/");
  EXPECT_TRUE(vantor_env::FolderExists(tree));
  EXPECT_TRUE(vantor_env::FolderExists(tree + "/"));
  EXPECT_TRUE(vantor_env::FolderExists(box.path("a\\b")));
  EXPECT_FALSE(vantor_env::FileExists(tree));

  box.write_file("a/f.txt", "text");
  EXPECT_TRUE(vantor_env::FileExists(box.path("a/f.txt")));
  EXPECT_FALSE(vantor_env::FolderExists(box.path("a/f.txt/")));
  ASSERT_TRUE(vantor_env::CopyFile(box.path("a/f.txt"), box.path("a/b/g.txt")));
  EXPECT_EQ(read_file(box.path("a/b/g.txt")), "text");
  EXPECT_FALSE(vantor_env::CopyFile(box.path("a/none"), box.path("a/b/g.txt")));
  EXPECT_EQ(read_file(box.path("a/b/g.txt")), "text");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(box.path("a/b")), {}), 2)
      << "no temporary file is left beside the copy";

  std::FILE* f = vantor_env::OpenFile(box.path("a/f.txt"), "rb");
  ASSERT_NE(f, nullptr);
  std::fclose(f);
  EXPECT_EQ(vantor_env::OpenFile(box.path("a/none"), "rb"), nullptr);
  vantor_env::DeleteFile(box.path("a/f.txt"));
  EXPECT_FALSE(vantor_env::FileExists(box.path("a/f.txt")));
  EXPECT_FALSE(vantor_env::RemoveFolder(box.path("a/b")));  // not empty
  EXPECT_TRUE(vantor_env::RemoveFolder(tree));
}

TEST(FileHelpers, DefaultDownloadPathFollowsUserDirs) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::GetDefaultDownloadPath(), box.path("home/Pictures/Norvane"));
  box.write_file("home/.config/user-dirs.dirs", "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n");
  EXPECT_EQ(vantor_env::GetDefaultDownloadPath(), box.path("home/Bilder/Norvane"));
}

TEST(FileHelpers, ProgramAndTempPathsAndTimestamp) {
  EXPECT_EQ(vantor_env::GetExecutablePath(false).rfind("environment_test"),
            vantor_env::GetExecutablePath(false).size() - 16);
  EXPECT_EQ(vantor_env::GetExecutablePath(true).back(), '/');
  EXPECT_EQ(vantor_env::GetTempFolder().back(), '/');
  const char* old_tz = std::getenv("TZ");
  const std::string saved = old_tz ? old_tz : "";
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  EXPECT_EQ(vantor_env::FormatTimestamp(1700000000), "20231114T221320");
  EXPECT_EQ(vantor_env::FormatTimestamp(0), "19700101T000000");
  if (old_tz) {
    ::setenv("TZ", saved.c_str(), 1);
  } else {
    ::unsetenv("TZ");
  }
  ::tzset();
}

class MoveTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { vantor_env::SetMoveAlwaysCopies(GetParam()); }
  void TearDown() override { vantor_env::SetMoveAlwaysCopies(false); }
  size_t entries(const std::string& folder) const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
  }
  vantor_test::sandbox box_;
};

TEST_P(MoveTest, MovesWholeFileOrNothing) {
  const std::string content(3 * 1024 * 1024 + 5, 'x');
  box_.write_file("src/file", content);
  box_.write_file("dst/taken", "old");
  const std::string from = box_.path("src/file");

  // An existing target is not replaced.
  const std::string log = vantor_test::capture_stderr(
      [&] { vantor_env::MoveFileWithProgress(from, box_.path("dst/taken"), nullptr); });
  EXPECT_EQ(log, "Vantor : MoveFileWithProgress failed with 17.\n");
  EXPECT_EQ(read_file(box_.path("dst/taken")), "old");

  if (GetParam()) {
    // Stopped half way: the source stays, no target and no temporary file appear.
    int calls = 0;
    const std::string stopped = vantor_test::capture_stderr([&] {
      vantor_env::MoveFileWithProgress(from, box_.path("dst/file"),
                                       [&](long long, long long) { return ++calls < 3; });
    });
    EXPECT_EQ(stopped, "Vantor : MoveFileWithProgress failed with 125.\n");
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(read_file(from), content);
    EXPECT_EQ(entries(box_.path("dst")), 1u);
  }

  std::vector<long long> done;
  vantor_env::MoveFileWithProgress(from, box_.path("dst\\file"), [&](long long d, long long t) {
    EXPECT_EQ(t, static_cast<long long>(content.size()));
    done.push_back(d);
    return true;
  });
  EXPECT_FALSE(vantor_env::FileExists(from));
  EXPECT_EQ(read_file(box_.path("dst/file")), content);
  EXPECT_EQ(entries(box_.path("dst")), 2u);
  if (GetParam()) {
    EXPECT_EQ(done, (std::vector<long long>{0, 1 << 20, 2 << 20, 3 << 20,
                                            static_cast<long long>(content.size())}));
  } else {
    EXPECT_TRUE(done.empty()) << "a rename reports no progress";
  }
}

INSTANTIATE_TEST_SUITE_P(RenameOrCopy, MoveTest, ::testing::Bool());

TEST(FileHelpers, MovesAcrossRealFileSystems) {
  vantor_test::sandbox box;
  std::string other = "/dev/shm/vantor-move-XXXXXX";
  struct stat here {};
  struct stat there {};
  if (::mkdtemp(other.data()) == nullptr) GTEST_SKIP() << "no /dev/shm";
  ::stat(box.root().c_str(), &here);
  ::stat(other.c_str(), &there);
  if (here.st_dev == there.st_dev) {
    std::filesystem::remove_all(other);
    GTEST_SKIP() << "/dev/shm is on the same file system";
  }
  box.write_file("file", "content");
  int calls = 0;
  vantor_env::MoveFileWithProgress(box.path("file"), other + "/file", [&](long long, long long) {
    ++calls;
    return true;
  });
  EXPECT_GT(calls, 0) << "a move between file systems copies";
  EXPECT_FALSE(vantor_env::FileExists(box.path("file")));
  EXPECT_EQ(read_file(other + "/file"), "content");
  std::filesystem::remove_all(other);
}

TEST(DebugLog, OneFlushedLinePerMessage) {
  const std::string text = vantor_test::capture_stderr([] {
    vantor_env::DebugLog("Not Logged In Error");
    vantor_env::DebugLog("MoveFileWithProgress failed with 2.\n");
    vantor_env::DebugLog("");
  });
  EXPECT_EQ(text,
            "Vantor : Not Logged In Error\n"
            "Vantor : MoveFileWithProgress failed with 2.\n"
            "Vantor : \n");
}

}  // namespace
