#include "environment/catalog_paths.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "environment/file_helpers.h"
#include "environment/reg_settings.h"
#include "tests/support/sandbox.h"

namespace {

TEST(CatalogPaths, CatalogFileAndCurrentFolder) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::GetCatalogFileName(), "catalog.omb14db");
  EXPECT_EQ(vantor_env::GetCurrentCatalogFolder(), "");
  box.write_file("registry/HKEY_CURRENT_USER/software/norvane/tessarin/14.0.ini",
                 "[General]\nCurrentCatalogPath=/home/ann/My Catalog\n");
  EXPECT_EQ(vantor_env::GetCurrentCatalogFolder(), "/home/ann/My Catalog");
}

TEST(CatalogPaths, AppDataFolderFromXdgDirs) {
  vantor_test::sandbox box;
  const std::string user = box.path("home/.local/share/Norvane/");
  EXPECT_EQ(vantor_env::GetAppDataFolder(false, "Tessarin", "14.0"), user + "Tessarin/14.0/");
  EXPECT_EQ(vantor_env::GetAppDataFolder(false, "Tessarin", ""), user + "Tessarin/");
  // The first machine folder that exists wins; with none the user's is taken.
  const std::string missing = box.path("nowhere");
  ::setenv("XDG_DATA_DIRS", (missing + ":" + box.path("usr/share")).c_str(), 1);
  EXPECT_EQ(vantor_env::GetAppDataFolder(true, "Vidalune", "14.0"),
            box.path("usr/share/Norvane/Vidalune/14.0/"));
  ::setenv("XDG_DATA_DIRS", missing.c_str(), 1);
  EXPECT_EQ(vantor_env::GetAppDataFolder(true, "Vidalune", "14.0"), user + "Vidalune/14.0/");
  ::unsetenv("XDG_DATA_HOME");
  EXPECT_EQ(vantor_env::GetAppDataFolder(false, "P", "1"), user + "P/1/");
}

// Through the store itself: a hand edit of the same size within one millisecond can go unseen
// by the store's in-process cache.
void SetCurrentCatalog(const std::string& folder) {
  sync_reg_util::RegSettingsCU key("software\\norvane\\tessarin\\14.0");
  key.set_string("CurrentCatalogPath", folder);
  key.sync();
}

TEST(CatalogPaths, ConflictAndDeletesFoldersPerCatalog) {
  vantor_test::sandbox box;
  const std::string agent = box.path("home/.local/share/Norvane/Tessarin Halcyn Agent/14.0/");
  SetCurrentCatalog("/cats/One");
  const std::string md5 = "483925f716dffc4c2b12fbda5745da7d";  // of "/cats/One"
  const std::string base = vantor_env::GetConflictFolder(0);
  EXPECT_EQ(base, agent + "Conflicts/" + md5 + "/halcynUserID/");
  EXPECT_TRUE(vantor_env::FolderExists(base));
  EXPECT_EQ(vantor_env::GetConflictFolder(42), base + "42/");
  EXPECT_EQ(vantor_env::GetDeletesFolder(), agent + "Deletes/" + md5 + "/halcynUserID/");
  EXPECT_TRUE(vantor_env::FolderExists(vantor_env::GetDeletesFolder()));

  SetCurrentCatalog("/cats/Two");
  EXPECT_NE(vantor_env::GetConflictFolder(0), base);

  SetCurrentCatalog("/cats/One");
  std::string first = "old";
  std::string second = "old";
  EXPECT_FALSE(vantor_env::ReadConflictInfo(7, first, second));
  EXPECT_EQ(first, "");
  const std::string seven = base.substr(box.root().size() + 1) + "7/";
  box.write_file(seven + "info.txt", "  12\tabc def\n");
  box.write_file(seven + "online.jpg", "jpg");
  box.write_file(seven + "keep.txt", "keep");
  EXPECT_TRUE(vantor_env::ReadConflictInfo(7, first, second));
  EXPECT_EQ(first, "12");
  EXPECT_EQ(second, "abc");
  vantor_env::RemoveConflictFiles(7);
  EXPECT_FALSE(vantor_env::FileExists(base + "7/info.txt"));
  EXPECT_FALSE(vantor_env::FileExists(base + "7/online.jpg"));
  EXPECT_TRUE(vantor_env::FileExists(base + "7/keep.txt"));
  vantor_env::RemoveConflictFiles(8);  // no folder: nothing happens
}

TEST(CatalogPaths, CatalogUidIsMadeOnceAndKept) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::GetCatalogUid(), "");
  SetCurrentCatalog(box.path("nowhere"));
  EXPECT_EQ(vantor_env::GetCatalogUid(), "");
  EXPECT_FALSE(vantor_env::FolderExists(box.path("nowhere")));

  vantor_env::CreateFolder(box.path("cat"));
  SetCurrentCatalog(box.path("cat"));
  const std::string uid = vantor_env::GetCatalogUid();
  EXPECT_EQ(uid.size(), 32u);
  EXPECT_EQ(uid.find_first_not_of("0123456789abcdef"), std::string::npos) << uid;
  EXPECT_EQ(vantor_test::read_file(box.path("cat/syncdb/catalog_uid.txt")), uid);
  EXPECT_EQ(vantor_env::GetCatalogUid(), uid);
  box.write_file("cat/syncdb/catalog_uid.txt", "from-file\nsecond line\n");
  EXPECT_EQ(vantor_env::GetCatalogUid(), "from-file");

  // Another catalog folder has another identity.
  box.write_file("cat2/x", "");
  SetCurrentCatalog(box.path("cat2"));
  EXPECT_NE(vantor_env::GetCatalogUid(), uid);
}

TEST(CatalogPaths, FixedNames) {
  EXPECT_EQ(vantor_env::GetSyncDbFileName(), "catalog_halcynUserID.syncdb");
  EXPECT_EQ(vantor_env::GetSyncUserName(), "halcynUserID");
  const std::pair<int, const char*> agents[] = {{6, ""},
                                                {7, "tessarinsyncagent-1.0-en_us"},
                                                {10, "tessarinsyncagent-4.0-en_us"},
                                                {13, "tessarinhalcynagent-14.0-en_us"},
                                                {14, ""}};
  for (const auto& [version, name] : agents) {
    EXPECT_EQ(vantor_env::GetFormerAgentName(version), name) << version;
  }
}

}  // namespace
