#include "preferences/sync_catalog.h"

#include <cstdlib>

#include "platform/sync_util.h"
#include "preferences/library_state.h"
#include "tests/preferences/prefs_test_env.h"

namespace vantor_test {
namespace {

TEST(SyncCatalog, InitialLaunchResults) {
  const std::string folder = "/cat/one";
  const struct {
    const char* name;
    std::string sync_catalog;
    const char* user;
    const char* ticket;
    VTL::error_code result;
    const char* log;
    std::string sync_catalog_after;
  } cases[] = {
      {"in place", folder, "ann", "t", VTL::success, "", folder},
      {"none set yet", "", "ann", "t", VTL::success, "", folder},
      {"another catalog", "/cat/two", "ann", "t", VTL::change_catalog_required,
       "Vantor : Change Sync Catalog required\n", "/cat/two"},
      {"case counts", "/cat/One", "ann", "t", VTL::change_catalog_required,
       "Vantor : Change Sync Catalog required\n", "/cat/One"},
      {"signed out and no ticket", folder, "", "", VTL::not_logged_in,
       "Vantor : Not Logged In Error\n", folder},
      {"no ticket", folder, "ann", "", VTL::no_valid_user, "Vantor : No Valid User\n", folder},
  };
  for (const auto& c : cases) {
    prefs_env env;
    env.write_strand(c.sync_catalog, c.user, c.ticket);
    SyncPrefs prefs = parser_defaults("/d");
    prefs.version = 77;
    VTL::error_code result = VTL::unknown_error;
    const std::string log =
        capture_stderr([&] { result = VTL::GetInitialLauchSyncPrefs(folder, prefs); });
    EXPECT_EQ(result, c.result) << c.name;
    EXPECT_EQ(log, c.log) << c.name;
    EXPECT_EQ(sync_util::get_sync_catalog(10), c.sync_catalog_after) << c.name;
    EXPECT_EQ(prefs.version, 77) << c.name;
  }

  // A settings store that cannot be written cannot take the new sync catalog.
  prefs_env env;
  env.box().write_file("not-a-folder", "");
  ::setenv("VANTOR_SETTINGS_ROOT", env.box().path("not-a-folder").c_str(), 1);
  SyncPrefs prefs{};
  VTL::error_code result = VTL::success;
  const std::string log =
      capture_stderr([&] { result = VTL::GetInitialLauchSyncPrefs(folder, prefs); });
  EXPECT_EQ(result, VTL::unknown_error);
  EXPECT_EQ(log, "Vantor : Unknown Error .Failed in Change Catalog Call\n");
  EXPECT_FALSE(VTL::ChangeCatalog());
}

TEST(SyncCatalog, ChangeCatalogTakesTheLastFolder) {
  prefs_env env;
  env.write_strand("/cat/two", "ann", "t");
  SyncPrefs prefs{};
  capture_stderr([&] {
    EXPECT_EQ(VTL::GetInitialLauchSyncPrefs("/cat/one", prefs), VTL::change_catalog_required);
  });
  EXPECT_TRUE(VTL::ChangeCatalog());
  EXPECT_EQ(sync_util::get_sync_catalog(10), "/cat/one");
  EXPECT_EQ(VTL::GetInitialLauchSyncPrefs("/cat/one", prefs), VTL::success);
  EXPECT_EQ(vantor_prefs::EnsureSyncCatalogInPlace(), "/cat/one/catalog.omb14db");

  // Before any folder was given, the sync catalog is set to the empty text.
  vantor_prefs::gCatalogFolder.clear();
  EXPECT_TRUE(VTL::ChangeCatalog());
  EXPECT_EQ(sync_util::get_sync_catalog(10), "");
}

}  // namespace
}  // namespace vantor_test
