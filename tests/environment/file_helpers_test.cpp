#include "environment/file_helpers.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "environment/debug_log.h"
#include "environment/file_replacement.h"
#include "environment/reg_settings.h"
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

// Replacing a file keeps what the user set on the old one: its permission bits, and a symlink
// standing in its place, whose target gets the bytes.
TEST(FileReplacement, KeepsModeAndSymlinks) {
  namespace fs = std::filesystem;
  using vantor_env::new_file_access;
  vantor_test::sandbox box;
  const auto mode_of = [](const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::stat(path.c_str(), &st), 0) << path;
    return st.st_mode & 07777;
  };
  const mode_t mask = ::umask(022);
  ::umask(mask);
  // Name, old mode (0 for no old file), access asked for, mode expected after the write.
  const struct {
    const char* name;
    mode_t old_mode;
    new_file_access access;
    mode_t expected;
  } cases[] = {
      {"private kept", 0600, new_file_access::usual, 0600},
      {"group kept", 0640, new_file_access::owner_only, 0640},
      {"new private", 0, new_file_access::owner_only, 0600},
      {"new usual", 0, new_file_access::usual, 0666 & ~mask},
  };
  for (const auto& c : cases) {
    const std::string path = box.path(c.name);
    if (c.old_mode != 0) {
      box.write_file(c.name, "old");
      ::chmod(path.c_str(), c.old_mode);
    }
    EXPECT_TRUE(vantor_env::ReplaceFileContent(path, "new", c.access)) << c.name;
    EXPECT_EQ(vantor_test::read_file(path), "new") << c.name;
    EXPECT_EQ(mode_of(path), c.expected) << c.name;
  }

  box.write_file("real/target", "old");
  fs::create_symlink("real/target", box.path("link"));
  ASSERT_TRUE(vantor_env::ReplaceFileContent(box.path("link"), "through"));
  EXPECT_TRUE(fs::is_symlink(box.path("link")));
  EXPECT_EQ(vantor_test::read_file(box.path("real/target")), "through");
  EXPECT_EQ(std::distance(fs::directory_iterator(box.path("real")), fs::directory_iterator()), 1);

  // The settings file that holds the ticket is private from its first write.
  const std::string strand = "software\\norvane\\Strand";
  sync_reg_util::RegSettingsCU(strand).set_string("EncryptedTicketVector", "t-1");
  EXPECT_EQ(mode_of(sync_reg_util::SettingsFilePath(sync_reg_util::kCurrentUserHive, strand)),
            0600u);
  EXPECT_EQ(sync_reg_util::RegSettingsCU(strand).get_string("EncryptedTicketVector"), "t-1");

  // A folder that cannot take the temporary file refuses at once and leaves nothing behind.
  EXPECT_FALSE(vantor_env::file_replacement(box.path("none/f")).is_open());
  EXPECT_FALSE(vantor_env::ReplaceFileContent(box.path("none/f"), "x"));
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
