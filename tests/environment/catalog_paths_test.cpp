#include "environment/catalog_paths.h"

#include <gtest/gtest.h>

#include <cstdlib>

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

}  // namespace
