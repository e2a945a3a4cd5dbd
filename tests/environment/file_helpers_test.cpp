#include "environment/file_helpers.h"

#include <gtest/gtest.h>

#include "environment/debug_log.h"
#include "tests/support/sandbox.h"

namespace {

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

  std::FILE* f = vantor_env::OpenFile(box.path("a/f.txt"), "rb");
  ASSERT_NE(f, nullptr);
  std::fclose(f);
  EXPECT_EQ(vantor_env::OpenFile(box.path("a/none"), "rb"), nullptr);
  vantor_env::DeleteFile(box.path("a/f.txt"));
  EXPECT_FALSE(vantor_env::FileExists(box.path("a/f.txt")));
  EXPECT_EQ(vantor_env::GetTempFolder().back(), '/');
}

TEST(FileHelpers, DefaultDownloadPathFollowsUserDirs) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::GetDefaultDownloadPath(), box.path("home/Pictures/Norvane"));
  box.write_file("home/.config/user-dirs.dirs", "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n");
  EXPECT_EQ(vantor_env::GetDefaultDownloadPath(), box.path("home/Bilder/Norvane"));
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
