// The preference record's text, the files and settings the library reads and writes for the
// host, the sync catalog check at launch and the media eligibility rules.
#include <sys/resource.h>

#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>
#include <tuple>

#include "environment/reg_settings.h"
#include "platform/sync_util.h"
#include "preferences/library_state.h"
#include "preferences/media_eligibility.h"
#include "preferences/pref_files.h"
#include "preferences/sync_catalog.h"
#include "preferences/sync_prefs_xml.h"
#include "tests/preferences/prefs_test_env.h"

namespace vantor_test {
namespace {

namespace fs = std::filesystem;
using vantor_prefs::IsAllowedSyncMimeType;
using vantor_prefs::IsRawImageExtension;
using vantor_prefs::IsSyncMediaExtension;

// Every field, for comparing two records whole.
auto fields(const SyncPrefs& p) {
  return std::tie(p.syncon, p.newalbumssyncauto, p.askbeforedelete, p.resolveconflictsauto,
                  p.restrictfilesizeSelected, p.syncallselection, p.syncOnSystemIdle,
                  p.syncEntireCatalog, p.syncPhotos, p.syncVideo, p.syncAudio, p.syncPDFs,
                  p.syncCreations, p.restrictfilesize, p.servertime, p.downloadlocationpath,
                  p.version, p.defaultLibraryNxId, p.defaultLibraryVaelId, p.curCatalogGUID,
                  p.deleteMediaPref);
}

// The parser's defaults, written out independently of the library.
SyncPrefs parser_defaults(const std::string& downloadPath) {
  SyncPrefs p{};
  p.newalbumssyncauto = p.askbeforedelete = p.syncallselection = true;
  p.syncPhotos = p.syncVideo = p.syncAudio = p.syncPDFs = true;
  p.downloadlocationpath = downloadPath;
  p.deleteMediaPref = 1;
  return p;
}

SyncPrefs Parse(const std::string& xml) {
  SyncPrefs out{};
  out.version = -99;
  EXPECT_TRUE(VTL::GetSyncPrefsFromString(out, xml));
  return out;
}

TEST(SyncPrefsXml, WriterBytes) {
  // The booleans alternate, and are all flipped in the second record, so that any two fields
  // written in each other's place show.
  const SyncPrefs set{true,         false,        true,  false,  true,  false, true,
                      false,        true,         false, true,   false, true,  12.5,
                      "2026-11-23", "/u/Norvane", 12,    "nx-1", -3,    "abc", 2};
  const SyncPrefs raw{false,   true, false, true, false, true, false, true,
                      false,   true, false, true, false, 0,    "t'>", "/Tom & Jerry\"<d",
                      INT_MIN, "&",  0,     "",   0};

  const std::string set_xml =
      "<syncon value = \"true\"><newalbumssyncauto value= \"false\" servertime = "
      "\"2026-11-23\"/><askbeforedelete value = \"true\"/><resolveconflictsauto "
      "value = \"false\"/><restrictfilesize value= \"12.500000\" selected =\"true\"/>"
      "<syncallselection value = \"false\"/><downloadlocationpath value = "
      "\"/u/Norvane\"/><syncOnSystemIdle value = \"true\"/><syncEntireCatalog "
      "value = \"false\"/><defaultLibraryNxId value = \"nx-1\"/><defaultLibraryVaelId value = "
      "\"-3\"/><syncFileTypes><syncPhotos value = \"true\"/><syncVideo value = \"false\"/>"
      "<syncAudio value = \"true\"/><syncPDFs value = \"false\"/><syncCreations value = "
      "\"true\"/></syncFileTypes><version value = \"12\"/><curCatalogGUID value = \"abc\"/>"
      "<deleteMediaPref value = \"2\"/></syncon>";
  EXPECT_EQ(VTL::GetXMLForSyncPrefs(set), set_xml);
  // The writer's text reads back whole, also where a string needed escaping: the second
  // record's strings break the XML unless escaped.
  prefs_env env;
  EXPECT_EQ(fields(Parse(set_xml)), fields(set));
  EXPECT_EQ(fields(Parse(VTL::GetXMLForSyncPrefs(raw))), fields(raw));

  std::string out = "x";
  vantor_prefs::XmlEscape("a<b>&\"'\x01\xc3\xa9", out);
  EXPECT_EQ(out, "xa&lt;b&gt;&amp;&quot;&#39;\x01\xc3\xa9");
}

// Hostile texts are plain XML too: deep nesting and a megabyte of attributes still count every
// start tag; entity expansion stops at the parser's amplification limit, leaving the fields
// after the fault at their defaults, and a long chain of entities must not exhaust the stack.
TEST(SyncPrefsXml, ParserRulesAndTheDefaultText) {
  prefs_env env;
  std::string deep, wide = "<restrictfilesize value=\"0\" selected=\"true\"";
  for (int i = 0; i < 100000; ++i) deep += "<a>";
  while (wide.size() < (1 << 20)) wide += " a" + std::to_string(wide.size()) + "=\"false\"";
  std::string laughs = "<!DOCTYPE syncon [<!ENTITY l0 \"lol\">";
  for (int i = 1; i <= 9; ++i) {
    laughs += "<!ENTITY l" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) laughs += "&l" + std::to_string(i - 1) + ";";
    laughs += "\">";
  }
  std::string chain = "<!DOCTYPE syncon [<!ENTITY e0 \"x\">";
  for (int i = 1; i <= 40000; ++i) {
    chain += "<!ENTITY e" + std::to_string(i) + " \"&e" + std::to_string(i - 1) + ";\">";
  }
  const auto syncon = [](SyncPrefs& p) { p.syncon = true; };
  // Name, text, and the fields the text sets apart from the defaults.
  const std::tuple<const char*, std::string, std::function<void(SyncPrefs&)>> cases[] = {
      {"empty", "", [](SyncPrefs&) {}},
      {"not xml", "syncon=true", [](SyncPrefs&) {}},
      {"only lower-case true", "<syncPhotos value=\"TRUE\"/>",
       [](SyncPrefs& p) { p.syncPhotos = false; }},
      {"value must come first", "<syncPhotos x=\"1\" value=\"false\"/>", [](SyncPrefs&) {}},
      {"size alone", "<restrictfilesize value=\"12.5\"/>",
       [](SyncPrefs& p) { p.restrictfilesize = 12.5; }},
      {"size selected by any second name", "<restrictfilesize value=\"0\" anything=\"true\"/>",
       [](SyncPrefs& p) { p.restrictfilesizeSelected = true; }},
      {"servertime by any second name", "<newalbumssyncauto value=\"true\" when=\"t1\"/>",
       [](SyncPrefs& p) { p.servertime = "t1"; }},
      {"nesting ignored, numbers by atoi",
       "<r><a><syncPDFs value=\"false\"/></a><version value=\"x12\"/>"
       "<deleteMediaPref value=\"7z\"/><defaultLibraryVaelId value=\"-4\"/></r>",
       [](SyncPrefs& p) {
         p.syncPDFs = false;
         p.deleteMediaPref = 7;
         p.defaultLibraryVaelId = -4;
       }},
      {"entities decoded", "<curCatalogGUID value=\"a&amp;b&#x41;&lt;\"/>",
       [](SyncPrefs& p) { p.curCatalogGUID = "a&bA<"; }},
      {"internal entity of a DOCTYPE",
       "<!DOCTYPE d [<!ENTITY p \"/pics\">]><downloadlocationpath value=\"&p;/x\"/>",
       [](SyncPrefs& p) { p.downloadlocationpath = "/pics/x"; }},
      {"not UTF-8 ends the parse",
       "<syncon value=\"true\"><curCatalogGUID value=\"\xff\"/><version value=\"3\"/>", syncon},
      {"external entity not fetched",
       "<!DOCTYPE syncon [<!ENTITY x SYSTEM \"/etc/hostname\">]><syncon value=\"true\">"
       "<curCatalogGUID value=\"&x;\"/><version value=\"3\"/></syncon>",
       syncon},
      {"deep nesting", deep + "<syncPDFs value=\"false\"/>",
       [](SyncPrefs& p) { p.syncPDFs = false; }},
      {"a megabyte of attributes", wide + "/>",
       [](SyncPrefs& p) { p.restrictfilesizeSelected = true; }},
      {"exponential entities",
       laughs + R"(]><syncon value="true"><curCatalogGUID value="&l9;"/><version value="5"/>)",
       syncon},
      {"a chain of 40000 entities",
       chain + "]><syncon value=\"true\"><curCatalogGUID value=\"&e40000;\"/></syncon>",
       [](SyncPrefs&) {}},
      // Its version element is never closed: the parse ends at </syncon>.
      {"the default text", vantor_prefs::SyncDefaultsXml(),
       [](SyncPrefs& p) {
         p.syncon = true;
         p.askbeforedelete = p.syncallselection = p.syncAudio = p.syncPDFs = false;
         p.version = 12;
       }},
  };
  for (const auto& [name, xml, expect] : cases) {
    SyncPrefs expected = parser_defaults(env.download_path());
    expect(expected);
    EXPECT_EQ(fields(Parse(xml)), fields(expected)) << name;
  }
  // The parser's default folder would hide a default text that lost its own.
  EXPECT_NE(vantor_prefs::SyncDefaultsXml().find("<downloadlocationpath value = \"" +
                                                 env.download_path() + "\"/>"),
            std::string::npos);
}

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
  // A new file is private. How a rewrite keeps the old file's mode and symlink is the file
  // replacement's, tested with it; that the writer replaces at all shows below.
  EXPECT_EQ(fs::status(folder + "/syncdb/user-7.pref").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  prefs.version = 3;
  ASSERT_TRUE(VTL::SetSyncPrefs(prefs, folder, "other"));
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
  const rlimit small{64, saved.rlim_max};
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
  // The sync catalog, the organizer's open one, and whether the setting is written.
  const std::tuple<std::string, std::string, bool> cases[] = {{"/c/one", "/c/one", true},
                                                              {"", "", true},
                                                              {"/c/one", "/c/two", false},
                                                              {"/c/One", "/c/one", false}};
  for (const auto& [sync_catalog, open_catalog, written] : cases) {
    prefs_env env;
    env.write_strand(sync_catalog, "", "");
    env.write_user_key(kOrganizerKey, "CurrentCatalogPath=" + open_catalog + "\n");
    VTL::UpdateOmbSyncCreationSetting();
    sync_reg_util::RegSettingsCU settings(kCreationKey);
    EXPECT_EQ(settings.contains("SYNC_CREATION"), written) << sync_catalog << " " << open_catalog;
    EXPECT_EQ(settings.get_bool("SYNC_CREATION", true), !written) << sync_catalog;
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

TEST(SyncCatalog, LaunchResultsAndChangeCatalog) {
  const std::string folder = "/cat/one", changed = "Vantor : Change Sync Catalog required\n";
  // Name, sync catalog, user, ticket, the result and log, and the sync catalog after.
  const std::tuple<const char*, std::string, const char*, const char*, VTL::error_code, std::string,
                   std::string>
      cases[] = {
          {"in place", folder, "ann", "t", VTL::success, "", folder},
          {"none set yet", "", "ann", "t", VTL::success, "", folder},
          {"another catalog", "/cat/two", "ann", "t", VTL::change_catalog_required, changed,
           "/cat/two"},
          {"case counts", "/cat/One", "ann", "t", VTL::change_catalog_required, changed,
           "/cat/One"},
          {"signed out and no ticket", folder, "", "", VTL::not_logged_in,
           "Vantor : Not Logged In Error\n", folder},
          {"no ticket", folder, "ann", "", VTL::no_valid_user, "Vantor : No Valid User\n", folder},
      };
  for (const auto& [name, sync_catalog, user, ticket, result, log, after] : cases) {
    prefs_env env;
    env.write_strand(sync_catalog, user, ticket);
    SyncPrefs prefs = parser_defaults("/d");
    prefs.version = 77;
    VTL::error_code got = VTL::unknown_error;
    EXPECT_EQ(capture_stderr([&] { got = VTL::GetInitialLauchSyncPrefs(folder, prefs); }), log)
        << name;
    EXPECT_EQ(got, result) << name;
    EXPECT_EQ(sync_util::get_sync_catalog(10), after) << name;
    EXPECT_EQ(prefs.version, 77) << name;
  }

  // After a refusal ChangeCatalog takes the folder last given; before any, the empty text.
  prefs_env env;
  env.write_strand("/cat/two", "ann", "t");
  SyncPrefs prefs{};
  capture_stderr([&] { VTL::GetInitialLauchSyncPrefs(folder, prefs); });
  EXPECT_TRUE(VTL::ChangeCatalog());
  EXPECT_EQ(sync_util::get_sync_catalog(10), folder);
  EXPECT_EQ(VTL::GetInitialLauchSyncPrefs(folder, prefs), VTL::success);
  EXPECT_EQ(vantor_prefs::EnsureSyncCatalogInPlace(), "/cat/one/catalog.omb14db");
  vantor_prefs::gCatalogFolder.clear();
  EXPECT_TRUE(VTL::ChangeCatalog());
  EXPECT_EQ(sync_util::get_sync_catalog(10), "");

  // A settings store that cannot be written cannot take the new sync catalog.
  env.box().write_file("not-a-folder", "");
  ::setenv("VANTOR_SETTINGS_ROOT", env.box().path("not-a-folder").c_str(), 1);
  VTL::error_code result = VTL::success;
  EXPECT_EQ(capture_stderr([&] { result = VTL::GetInitialLauchSyncPrefs(folder, prefs); }),
            "Vantor : Unknown Error .Failed in Change Catalog Call\n");
  EXPECT_EQ(result, VTL::unknown_error);
  EXPECT_FALSE(VTL::ChangeCatalog());
}

TEST(MediaEligibility, PreferencesDecide) {
  SyncPrefs all{};
  all.syncPhotos = all.syncVideo = all.syncAudio = all.syncPDFs = all.syncCreations = true;
  auto without = [&all](bool SyncPrefs::*kind) {
    SyncPrefs p = all;
    p.*kind = false;
    return p;
  };
  auto limit = [&all](bool selected, double mebibytes) {
    SyncPrefs p = all;
    p.restrictfilesizeSelected = selected;
    p.restrictfilesize = mebibytes;
    return p;
  };
  // Name, preferences, size, MIME type, and whether the media may sync.
  const std::tuple<const char*, SyncPrefs, long long, const char*, bool> cases[] = {
      {"png, photos off", without(&SyncPrefs::syncPhotos), 1, "image/png", false},
      {"png, all on", all, 1, "image/png", true},
      {"ombra is an image", without(&SyncPrefs::syncPhotos), 1, "application/vnd.norvane.ombra",
       false},
      {"omb is a creation", without(&SyncPrefs::syncCreations), 1, "application/omb", false},
      {"zip is a creation", without(&SyncPrefs::syncCreations), 1, "application/zip", false},
      {"empty is a creation", without(&SyncPrefs::syncCreations), 1, "", false},
      {"pdf", without(&SyncPrefs::syncPDFs), 1, "application/pdf", false},
      {"audio", without(&SyncPrefs::syncAudio), 1, "audio/mpeg", false},
      {"video", without(&SyncPrefs::syncVideo), 1, "video/mp4", false},
      {"main type exact", without(&SyncPrefs::syncCreations), 1, "images/png", false},
      {"at the limit", limit(true, 10), 10485760, "image/png", true},
      {"over the limit", limit(true, 10), 10485761, "image/png", false},
      {"limit not selected", limit(false, 10), 1LL << 40, "image/png", true},
      {"zero limit", limit(true, 0), 1LL << 40, "image/png", true},
      {"fractional limit", limit(true, 0.5), 524289, "image/png", false},
  };
  for (const auto& [name, prefs, size, mime, valid] : cases) {
    EXPECT_EQ(VTL::IsValidMediaForSync(prefs, size, mime), valid) << name;
  }

  for (const char* m : {"image/jpeg", "video/"}) EXPECT_TRUE(IsAllowedSyncMimeType(m)) << m;
  for (const char* m : {"image/png", "x-video/mp4", "image/jpeg2"}) {
    EXPECT_FALSE(IsAllowedSyncMimeType(m)) << m;
  }
}

TEST(MediaEligibility, ExtensionListsLoadOnceUntilCleared) {
  prefs_env env;
  vantor_prefs::ClearSyncExtensionLists();
  env.write_user_key("software\\norvane\\vidalune\\14.0\\Settings\\Organizer",
                     "VideoExtensions=MP4,mov\nAudioExtensions=mp3\nImageExtensions=\n");
  env.write_user_key("software\\norvane\\tessarin\\14.0\\Organizer",
                     "PluginACRSupportedFormatExtensions=\"CR2,nef\"\n"
                     "PluginImageFormatExtensions=\"JPG,png\"\n");

  for (const char* p : {"a.b/c.mp4", "C.MOV", "s.Mp3"}) EXPECT_TRUE(IsSyncMediaExtension(p)) << p;
  for (const char* p : {"mp4", "clip.mp4.txt", "clip."}) EXPECT_FALSE(IsSyncMediaExtension(p)) << p;
  EXPECT_TRUE(IsRawImageExtension("x.cr2"));
  EXPECT_FALSE(IsRawImageExtension("x.mp4"));
  EXPECT_EQ(vantor_prefs::OrganizerImageExtensions(), (std::vector<std::string>{"jpg", "png"}));

  // Kept until cleared, then read again.
  env.write_user_key("software\\norvane\\vidalune\\14.0\\Settings\\Organizer",
                     "VideoExtensions=avi\n");
  EXPECT_TRUE(IsSyncMediaExtension("clip.mp4"));
  vantor_prefs::ClearSyncExtensionLists();
  EXPECT_FALSE(IsSyncMediaExtension("clip.mp4"));
  EXPECT_TRUE(IsSyncMediaExtension("clip.avi"));
  vantor_prefs::ClearSyncExtensionLists();
}

}  // namespace
}  // namespace vantor_test
