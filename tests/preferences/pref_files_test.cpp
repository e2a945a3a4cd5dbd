#include "preferences/pref_files.h"

#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <set>

#include "environment/reg_settings.h"
#include "tests/preferences/prefs_test_env.h"

namespace vantor_test {
namespace {

namespace fs = std::filesystem;

constexpr char kCreationKey[] = "software\\norvane\\ombrelle\\14.0\\common\\settings";
constexpr char kOrganizerKey[] = "software\\norvane\\tessarin\\14.0";

// Names in a folder, to see that no temporary file is left behind.
std::set<std::string> Listing(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& e : fs::directory_iterator(folder)) names.insert(e.path().filename());
  return names;
}

TEST(PrefFiles, SetSyncPrefsWritesTheUsersFile) {
  prefs_env env;
  env.write_strand("", "", "", "user-7");
  const std::string folder = env.box().path("catalog");
  fs::create_directories(folder);
  SyncPrefs prefs = parser_defaults("/d");
  prefs.curCatalogGUID = "g";

  // An empty user id means the signed-in user's id; the folder "syncdb" is made on the way.
  // Every successful write also publishes the creation setting (both catalogs are empty).
  ASSERT_TRUE(VTL::SetSyncPrefs(prefs, folder, ""));
  EXPECT_EQ(read_file(folder + "/syncdb/user-7.pref"), VTL::GetXMLForSyncPrefs(prefs));
  EXPECT_TRUE(sync_reg_util::RegSettingsCU(kCreationKey).contains("SYNC_CREATION"));
  ASSERT_TRUE(VTL::SetSyncPrefs(prefs, folder, "other"));
  prefs.version = 3;
  ASSERT_TRUE(VTL::SetSyncPrefs(prefs, folder, "other"));
  EXPECT_EQ(read_file(folder + "/syncdb/other.pref"), VTL::GetXMLForSyncPrefs(prefs));
  EXPECT_EQ(Listing(folder + "/syncdb"), (std::set<std::string>{"other.pref", "user-7.pref"}));

  // The text ends at its first zero byte, as it always has.
  EXPECT_EQ(vantor_prefs::WritePrefFile(std::string("ab\0cd", 5), folder, "z"), VTL::success);
  EXPECT_EQ(read_file(folder + "/syncdb/z.pref"), "ab");

  // A folder that does not exist is not created: nothing is written.
  EXPECT_FALSE(VTL::SetSyncPrefs(prefs, env.box().path("missing"), "u"));
  EXPECT_FALSE(fs::exists(env.box().path("missing")));
  EXPECT_EQ(vantor_prefs::WritePrefFile("x", env.box().path("missing"), "u"), VTL::unknown_error);

  // A write that fails half way (here at a file size limit) leaves the old file whole and no
  // temporary behind; as before, only a failed open is reported.
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit saved{};
  ::getrlimit(RLIMIT_FSIZE, &saved);
  rlimit small = saved;
  small.rlim_cur = 64;
  ::setrlimit(RLIMIT_FSIZE, &small);
  const bool written = VTL::SetSyncPrefs(parser_defaults("/new"), folder, "other");
  ::setrlimit(RLIMIT_FSIZE, &saved);
  EXPECT_TRUE(written);
  EXPECT_EQ(read_file(folder + "/syncdb/other.pref"), VTL::GetXMLForSyncPrefs(prefs));
  EXPECT_EQ(Listing(folder + "/syncdb"),
            (std::set<std::string>{"other.pref", "user-7.pref", "z.pref"}));

  SyncPrefs untouched = prefs;
  EXPECT_FALSE(VTL::GetSyncPrefs(untouched, folder, "other"));
  EXPECT_EQ(fields(untouched), fields(prefs));
}

// The creation setting is written only while the sync catalog is the organizer's open one,
// and with GetSyncPrefs reading nothing its value is always false.
TEST(PrefFiles, CreationSettingFollowsTheOpenCatalog) {
  const struct {
    const char* name;
    const char* sync_catalog;
    const char* open_catalog;
    bool written;
  } cases[] = {
      {"same catalog", "/c/one", "/c/one", true},
      {"both empty", "", "", true},
      {"other catalog", "/c/one", "/c/two", false},
      {"case differs", "/c/One", "/c/one", false},
  };
  for (const auto& c : cases) {
    prefs_env env;
    env.write_strand(c.sync_catalog, "", "");
    env.write_user_key(kOrganizerKey, std::string("CurrentCatalogPath=") + c.open_catalog + "\n");
    VTL::UpdateOmbSyncCreationSetting();
    sync_reg_util::RegSettingsCU settings(kCreationKey);
    EXPECT_EQ(settings.contains("SYNC_CREATION"), c.written) << c.name;
    EXPECT_EQ(settings.get_bool("SYNC_CREATION", true), !c.written) << c.name;
  }
}

TEST(PrefFiles, ReadOrCreateSyncPref) {
  prefs_env env;
  const std::string folder = env.box().path("cat") + "/";
  fs::create_directories(folder);
  auto read = [](const std::string& in_folder, const std::string& before = "") {
    std::string out = before;
    EXPECT_EQ(vantor_prefs::ReadOrCreateSyncPref(out, "", in_folder), VTL::success) << in_folder;
    return out;
  };

  std::string out = "kept:";
  EXPECT_EQ(vantor_prefs::ReadOrCreateSyncPref(out, "", ""), VTL::invalid_argument);
  EXPECT_EQ(out, "kept:");

  // No file: the default text is appended and left in <folder>syncdb/sync.pref.
  const std::string defaults = vantor_prefs::SyncDefaultsXml();
  EXPECT_EQ(read(folder, "kept:"), "kept:" + defaults);
  EXPECT_EQ(read_file(folder + "syncdb/sync.pref"), defaults);
  // No separator is added: a folder without one gets a sibling "<name>syncdb".
  fs::create_directories(env.box().path("bare"));
  read(env.box().path("bare"));
  EXPECT_TRUE(fs::exists(env.box().path("baresyncdb/sync.pref")));

  // An existing file gives its first line only, line end included.
  env.box().write_file("cat/syncdb/sync.pref", "<syncon value=\"true\"/>\nsecond");
  EXPECT_EQ(read(folder), "<syncon value=\"true\"/>\n");

  // An empty first line counts as no file.
  env.box().write_file("cat/syncdb/sync.pref", "");
  EXPECT_EQ(read(folder), defaults);
  EXPECT_EQ(read_file(folder + "syncdb/sync.pref"), defaults);
}

}  // namespace
}  // namespace vantor_test
