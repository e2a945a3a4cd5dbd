#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdlib>
#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "environment/catalog_paths.h"
#include "environment/country.h"
#include "environment/file_helpers.h"
#include "environment/folder_walk.h"
#include "environment/ini_file.h"
#include "environment/media_file_probe.h"
#include "environment/mount_table.h"
#include "environment/reg_key.h"
#include "environment/reg_settings.h"
#include "environment/registry_table.h"
#include "environment/registry_values.h"
#include "environment/server_config.h"
#include "environment/sync_conflict_mutex.h"
#include "environment/uuid.h"
#include "environment/volume_info.h"
#include "tests/support/jpeg_fixture.h"
#include "tests/support/sandbox.h"

namespace fs = std::filesystem;
namespace pt = boost::posix_time;
namespace reg = vantor_env::reg;
using sync_reg_util::RegSettingsCU;
using sync_reg_util::RegSettingsLM;
using vantor_env::volume_kind;

namespace {

// Makes `folder` immutable, so that even root cannot write in it, or writable again; false
// where the file system, the privileges or the tools do not allow it.
bool SetImmutable(const std::string& folder, bool on) {
  const std::string command = std::string("chattr ") + (on ? "+i" : "-i") + " '" + folder + "'";
  return std::system((command + " 2>/dev/null").c_str()) == 0;
}

TEST(SettingsFiles, OneIniFilePerKeyAndHiveReadAsTextFailuresReportedUuidsKept) {
  vantor_test::sandbox box;
  {
    RegSettingsCU user("software\\norvane\\Strand");
    user.set_string("UserName", "ann");
    user.set_int("DisconnectTimeout", 42);
    user.set_bool("RememberMe", true);
    EXPECT_EQ(user.status(), QSettings::NoError);
    RegSettingsLM("software\\norvane\\Strand").set_string("UserName", "machine");
  }
  EXPECT_EQ(
      vantor_test::read_file(box.path("registry/HKEY_CURRENT_USER/software/norvane/Strand.ini")),
      "[General]\nDisconnectTimeout=42\nRememberMe=true\nUserName=ann\n");
  EXPECT_EQ(RegSettingsLM("software\\norvane\\Strand").get_string("UserName"), "machine");
  // Keys are taken as given: another spelling is another file.
  EXPECT_EQ(RegSettingsCU("software\\Norvane\\Strand").get_string("UserName", "none"), "none");

  // Hand-written values are read as text.
  box.write_file("registry/HKEY_LOCAL_MACHINE/a/b.ini",
                 "[General]\nlist=jpg,png,tif\nquoted=\"x,y\"\nnumber=12\nword=twelve\nminus=-1\n");
  const RegSettingsLM key("a\\b");
  EXPECT_EQ(key.get_string("list"), "jpg,png,tif");
  EXPECT_EQ(key.get_string("quoted"), "x,y");
  EXPECT_EQ(key.get_int("number", -1), 12);
  EXPECT_EQ(key.get_int("word", -1), -1);
  EXPECT_TRUE(key.get_bool("missing", true));
  // The older reader: a stored -1 is all bits set; the flag picks the hive.
  const omb_util::reg_key_t machine("a\\b", omb_util::kKeyRead64, true);
  EXPECT_EQ(machine.read_unsigned("number"), 12u);
  EXPECT_EQ(machine.read_unsigned("minus", 7u), 0xFFFFFFFFu);
  EXPECT_EQ(machine.read_unsigned("word", 7u), 7u);
  EXPECT_EQ(omb_util::reg_key_t("a\\b", omb_util::kKeyRead, false).read_string("list", "-"), "-");
  EXPECT_EQ(sync_reg_util::SettingsFilePath("HKEY_LOCAL_MACHINE\\", "\\x\\..\\.\\y\\"),
            box.path("registry/HKEY_LOCAL_MACHINE/x/y.ini"));
  ::unsetenv("VANTOR_SETTINGS_ROOT");
  EXPECT_EQ(sync_reg_util::SettingsRoot(), box.path("home/.config/norvane/registry"));

  box.write_file("blocker", "");
  ::setenv("VANTOR_SETTINGS_ROOT", box.path("blocker/registry").c_str(), 1);
  RegSettingsCU blocked("k");
  blocked.set_string("v", "1");
  EXPECT_NE(blocked.status(), QSettings::NoError);
  ::setenv("VANTOR_SETTINGS_ROOT", box.path("registry").c_str(), 1);

  box.write_file("a.ini", "[s]\nk=v\nlist=a,b\n");
  vantor_env::ini_file file(box.path("a.ini"));
  EXPECT_EQ(file.read_string("s", "k") + "|" + file.read_string("s", "list"), "v|a,b");
  EXPECT_TRUE(file.write_string("s", "new", std::string(3000, 'w')));
  EXPECT_EQ(file.read_string("s", "new"), std::string(2047, 'w'));
  EXPECT_EQ(file.read_string("s", "missing"), "");
  EXPECT_EQ(file.status(), vantor_env::ini_file::kNotFound);
  EXPECT_EQ(file.read_string("s", "k"), "") << "a failure sticks";
  EXPECT_FALSE(file.write_string("s", "k", "x"));
  EXPECT_EQ(vantor_env::ini_file(box.path("a.ini")).read_string("s", "k"), "v");

  vantor_env::ini_file unwritable(box.path("blocker/x.ini"));
  EXPECT_FALSE(unwritable.write_string("s", "k", "v"));
  EXPECT_NE(unwritable.status(), vantor_env::ini_file::kOk);

  EXPECT_NE(vantor_env::NewUuid(), vantor_env::NewUuid());
  vantor_env::uuid_bytes bytes{};
  ASSERT_TRUE(vantor_env::UuidFromText("{01234567-89AB-CDEF-0123-456789ABCDEF}", bytes));
  EXPECT_EQ(vantor_env::UuidToText(bytes), "01234567-89ab-cdef-0123-456789abcdef");
  EXPECT_FALSE(vantor_env::UuidFromText("not-a-uuid", bytes));
  EXPECT_EQ(bytes[0], 0x01);

  const std::string stored = vantor_env::GetStoredUuid("Ids", "Machine");
  EXPECT_THAT(stored, testing::MatchesRegex("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}"));
  EXPECT_EQ(vantor_env::GetStoredUuid("Ids", "Machine"), stored);
  EXPECT_NE(vantor_test::read_file(box.path("usr/share/Norvane/Tessarin/UUID.ini")).find(stored),
            std::string::npos);

  RegSettingsCU("k").set_string("v", "old");
  const std::string folder = box.path("registry/HKEY_CURRENT_USER");
  if (!SetImmutable(folder, true)) GTEST_SKIP() << "cannot make a folder immutable here";
  {
    RegSettingsCU failing("k");
    failing.set_string("v", "new");
    failing.set_string("w", "new");
    EXPECT_NE(failing.status(), QSettings::NoError);
  }
  const RegSettingsCU reader("k");
  EXPECT_EQ(reader.get_string("v"), "old");
  EXPECT_EQ(reader.get_string("w", "none"), "none");
  ASSERT_TRUE(SetImmutable(folder, false));
  EXPECT_EQ(vantor_test::read_file(folder + "/k.ini"), "[General]\nv=old\n");
}

// Writes `name` into the machine key of the image ("ombrelle") or video ("vidalune") editor;
// nothing for a null value.
void WriteEditorValue(const vantor_test::sandbox& box, const std::string& editor, const char* name,
                      const char* value) {
  if (value == nullptr) return;
  box.write_file("registry/HKEY_LOCAL_MACHINE/software/norvane/" + editor + "/14.0.ini",
                 std::string("[General]\n") + name + "=\"" + value + "\"\n");
}

// A reading as one value: disabled, force update, interval, proxy, retry, additional config.
std::tuple<bool, bool, int, int, int, int> Values(const vantor_env::server_config_t& c) {
  return {c.halcyn_disabled, c.force_update_enabled,   c.sync_interval,
          c.proxy_gen,       c.delayed_retry_interval, c.additional_config};
}

TEST(RegistryValues, RulesOfSingleValuesAndTheServerConfigHeldForItsInterval) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::GetServerDomainName() + std::to_string(vantor_env::GetErrorTimeout()),
            "-1");
  // The sync catalog path has one value name per version.
  box.write_file("registry/HKEY_CURRENT_USER/software/norvane/Strand.ini",
                 "[General]\nCurrentSyncCatalogPath=/c7\nOMB8SyncCatalogPath=/c8\n"
                 "OMB9SyncCatalogPath=/c9\nServerDomainName=host\nErrorTimeout=30000000000\n");
  ASSERT_TRUE(vantor_env::SetSyncCatalog("/home/ann/Catalog, one"));
  const std::pair<int, const char*> expected[] = {
      {6, ""}, {7, "/c7"}, {8, "/c8"}, {9, "/c9"}, {10, "/home/ann/Catalog, one"}, {11, ""}};
  for (const auto& [version, path] : expected)
    EXPECT_EQ(vantor_env::GetSyncCatalog(version), path) << version;

  EXPECT_EQ(vantor_env::GetServerDomainName() + std::to_string(vantor_env::GetErrorTimeout()),
            "host/30000000000");

  // The first reading finds nothing, gives -1 and leaves 0 behind.
  EXPECT_EQ(vantor_env::GetHalcynAgentMsgLevel(), -1);
  EXPECT_EQ(RegSettingsCU(reg::kOrganizerSettingsKey).get_int(reg::kHalcynAgentMsgLevel, 99), 0);
  EXPECT_EQ(vantor_env::GetHalcynAgentMsgLevel(), 0);

  std::uint64_t now = 1000;
  vantor_env::SetServerConfigTickSource([&now] { return now; });
  box.write_file("registry/HKEY_CURRENT_USER/software/norvane/tessarin/14.0/Organizer.ini",
                 "[General]\nHalcynEnabledByServer=true\nnxSyncInterval=300\nkqProxyGen=2\n");
  const auto stored = std::make_tuple(false, false, 300, 2, 0, 0);
  EXPECT_EQ(Values(vantor_env::ReadServerConfig("t")), stored) << "without a client";

  bool succeed = false;
  std::vector<std::int32_t> asked_with;
  vantor_env::SetServerConfigClient([&](const std::string& ticket, std::int32_t interval,
                                        vantor_env::fetched_server_config_t* out) {
    EXPECT_EQ(ticket, "t");
    asked_with.push_back(interval);
    *out = {false, true, 0, 3, 9, 5};  // an interval of 0 keeps the stored 300 s
    return succeed;
  });
  // A failure leaves the interval at 0, so the next call asks again at once.
  EXPECT_EQ(Values(vantor_env::ReadServerConfig("t")), stored);
  EXPECT_EQ(Values(vantor_env::ReadServerConfig("t")), stored);
  succeed = true;
  const auto fetched = std::make_tuple(true, true, 300, 3, 9, 5);
  EXPECT_EQ(Values(vantor_env::ReadServerConfig("t")), fetched);
  now += 300000;  // exactly the interval: still fresh, and the stored values are given
  EXPECT_EQ(Values(vantor_env::ReadServerConfig("t")), fetched);
  now += 1;
  vantor_env::ReadServerConfig("t");
  now -= 10;  // a clock that went back asks again
  vantor_env::ReadServerConfig("t");
  EXPECT_EQ(asked_with, (std::vector<std::int32_t>{0, 0, 0, 300, 300}));
  vantor_env::SetServerConfigClient(nullptr);
  vantor_env::SetServerConfigTickSource(nullptr);
  vantor_env::ResetServerConfigCache();
}

TEST(EditorValues, KsvDisabledOnlyWhenBothEditorsSay1AndCountrySettingsFirstThenFiles) {
  const std::tuple<const char*, const char*, bool> ksv_cases[] = {
      {"1", "1", true},  {"1", nullptr, false}, {nullptr, "1", false},    {"1", "0", false},
      {"0", "1", false}, {"2", "1", false},     {nullptr, nullptr, false}};
  for (const auto& [image, video, disabled] : ksv_cases) {
    vantor_test::sandbox box;
    WriteEditorValue(box, "ombrelle", "DisableKSVFeatures", image);
    WriteEditorValue(box, "vidalune", "DisableKSVFeatures", video);
    EXPECT_EQ(vantor_env::IsKsvDisabled(), disabled) << "image " << image << ", video " << video;
  }

  // Name; the image editor's key, Tessarin.ini, the video editor's key, Country.txt (null: not
  // written); then the countries and tests expected.
  using texts = const char*;
  const std::tuple<texts, texts, texts, texts, texts, texts, texts, bool, bool> cases[] = {
      {"nothing", nullptr, nullptr, nullptr, nullptr, "", "", false, true},
      {"keys", "244", "[OMBInformation]\nCountry=45", "1", "45", "244", "1", true, true},
      {"files", nullptr, "[OMBInformation]\nCountry=244", nullptr, "45\nrest", "244", "45", true,
       false},
      {"image 45", "45", nullptr, nullptr, nullptr, "45", "", false, false},
      {"long txt", nullptr, nullptr, nullptr, "1234567890", "", "123456789", false, true},
      {"not exact", " 45", nullptr, nullptr, "450", " 45", "450", false, true},
  };
  for (const auto& [name, image_key, ini, video_key, txt, image, video, is244, offered] : cases) {
    vantor_test::sandbox box;
    WriteEditorValue(box, "ombrelle", "Country", image_key);
    WriteEditorValue(box, "vidalune", "Country", video_key);
    if (ini) box.write_file("usr/share/Norvane/Tessarin/14.0/Tessarin.ini", ini);
    if (txt) box.write_file("usr/share/Norvane/Vidalune/14.0/Country.txt", txt);
    EXPECT_EQ(vantor_env::GetCountry(), image) << name;
    EXPECT_EQ(vantor_env::GetVideoEditorCountry(), video) << name;
    EXPECT_EQ(vantor_env::IsCountry244(), is244) << name;
    EXPECT_EQ(vantor_env::AreKsvFeaturesOffered(), offered) << name;
  }
}

// Through the store itself: a hand edit of the same size within one millisecond can go unseen
// by the store's in-process cache.
void SetCurrentCatalog(const std::string& folder) {
  sync_reg_util::RegSettingsCU("software\\norvane\\tessarin\\14.0")
      .set_string("CurrentCatalogPath", folder);
}

TEST(CatalogPaths, AgentNamesAppDataFoldersAndTheIdentityConflictsAndDeletesOfACatalog) {
  vantor_test::sandbox box;
  for (int outside : {6, 14}) EXPECT_EQ(vantor_env::GetFormerAgentName(outside), "") << outside;
  EXPECT_EQ(vantor_env::GetFormerAgentName(7), "tessarinsyncagent-1.0-en_us");
  EXPECT_EQ(vantor_env::GetFormerAgentName(13), "tessarinhalcynagent-14.0-en_us");

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

  EXPECT_EQ(vantor_env::GetCatalogUid(), "");
  SetCurrentCatalog(box.path("nowhere"));
  EXPECT_EQ(vantor_env::GetCatalogUid(), "");
  EXPECT_FALSE(vantor_env::FolderExists(box.path("nowhere")));

  vantor_env::CreateFolder(box.path("cat"));
  SetCurrentCatalog(box.path("cat"));
  const std::string uid = vantor_env::GetCatalogUid();
  EXPECT_THAT(uid, testing::MatchesRegex("[0-9a-f]{32}"));
  EXPECT_EQ(vantor_test::read_file(box.path("cat/syncdb/catalog_uid.txt")), uid);
  box.write_file("cat/syncdb/catalog_uid.txt", "from-file\nsecond line\n");
  EXPECT_EQ(vantor_env::GetCatalogUid(), "from-file");

  // Another catalog folder has another identity.
  box.write_file("cat2/x", "");
  SetCurrentCatalog(box.path("cat2"));
  EXPECT_NE(vantor_env::GetCatalogUid(), uid);

  const std::string agent = box.path("home/.local/share/Norvane/Tessarin Halcyn Agent/14.0/");
  SetCurrentCatalog("/cats/One");
  const std::string md5 = "483925f716dffc4c2b12fbda5745da7d";  // of "/cats/One"
  const std::string base = vantor_env::GetConflictFolder(0);
  EXPECT_EQ(base, agent + "Conflicts/" + md5 + "/halcynUserID/");
  EXPECT_TRUE(vantor_env::FolderExists(base));
  EXPECT_EQ(vantor_env::GetDeletesFolder(), agent + "Deletes/" + md5 + "/halcynUserID/");

  std::string first = "old", second = "old";
  EXPECT_FALSE(vantor_env::ReadConflictInfo(7, first, second));
  EXPECT_EQ(first, "");
  const std::string seven = base.substr(box.root().size() + 1) + "7/";
  box.write_file(seven + "info.txt", "  12\tabc def\n");
  for (const char* name : {"online.jpg", "keep.txt"}) box.write_file(seven + name, name);
  EXPECT_TRUE(vantor_env::ReadConflictInfo(7, first, second));
  EXPECT_EQ(first + "|" + second, "12|abc");
  vantor_env::RemoveConflictFiles(7);
  EXPECT_FALSE(vantor_env::FileExists(base + "7/info.txt"));
  EXPECT_FALSE(vantor_env::FileExists(base + "7/online.jpg"));
  EXPECT_TRUE(vantor_env::FileExists(base + "7/keep.txt"));
}

TEST(SyncConflictMutex, ProcessesAndHandlesExcludeEachOther) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::SyncConflictMutexPath(), box.path("run/OMBSyncConflictMutex12345"));
  auto mutex = vantor_env::GetSyncConflictMutex();
  ASSERT_TRUE(mutex && mutex->lock());
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // Refused while the parent holds the lock, given once it lets go; the exit code tells.
    auto theirs = vantor_env::GetSyncConflictMutex();
    const bool refused = theirs && !theirs->try_lock() && !theirs->owns_lock();
    ::_exit(refused && ::write(fds[1], "r", 1) == 1 && theirs->lock() ? 0 : 1);
  }
  ::close(fds[1]);
  char refused = 0;
  EXPECT_EQ(::read(fds[0], &refused, 1), 1);
  ::close(fds[0]);
  mutex->unlock();
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  // In this process another handle is excluded too, until the holder is released.
  EXPECT_TRUE(mutex->lock());
  auto other = vantor_env::GetSyncConflictMutex();
  EXPECT_FALSE(other->try_lock());
  mutex.reset();
  EXPECT_TRUE(other->try_lock());

  ::unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(vantor_env::SyncConflictMutexPath(),
            vantor_env::GetTempFolder() + "OMBSyncConflictMutex12345");
}

TEST(FolderWalk, SortedFilesFirstThenSubfoldersAndPassesOverWhatItCannotRead) {
  vantor_test::sandbox box;
  const std::string top = box.path("photos");
  for (const char* f :
       {"photos/b.jpg", "photos/a.jpg", "photos/sub/z.jpg", "photos/sub/deeper/y.jpg",
        "photos/a_dir/x.jpg", "photos/locked/l.jpg", "elsewhere/linked.jpg"})
    box.write_file(f, "x");
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

// What a probe found, as one line: type, media or not, size in pixels, capture date, rating
// and warning.
std::string Found(const vantor_env::media_file_probe_t& p) {
  const auto text = [](const std::optional<int>& v) { return v ? std::to_string(*v) : "-"; };
  return p.mime_type + (p.is_media ? " media " : " other ") + text(p.width) + "x" + text(p.height) +
         " " + (p.capture_date ? pt::to_iso_extended_string(*p.capture_date) : "-") + " " +
         text(p.rating) + " [" + p.warning + "]";
}

TEST(MediaFileProbe, ReadsTypeSizeTimeAndImageMetadataInOrderOfPreferenceAndStaysQuiet) {
  vantor_test::sandbox box;
  ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);  // the system's MIME database
  vantor_test::WriteJpeg(box.path("plain.jpg"));
  vantor_test::WriteJpeg(box.path("no_extension"));
  vantor_test::WriteJpeg(box.path("first.jpg"), [](Exiv2::ExifData& exif, Exiv2::XmpData& xmp) {
    exif["Exif.Photo.DateTimeOriginal"] = "2021:06:15 10:20:30";
    exif["Exif.Image.DateTime"] = "2000:01:01 00:00:00";
    exif["Exif.Photo.PixelXDimension"] = std::uint32_t{4000};
    exif["Exif.Photo.PixelYDimension"] = std::uint32_t{3000};
    exif["Exif.Image.ImageWidth"] = std::uint32_t{10};
    exif["Exif.Image.ImageLength"] = std::uint32_t{20};
    exif["Exif.Image.Rating"] = std::uint16_t{2};
    xmp["Xmp.xmp.Rating"] = "4";
  });
  vantor_test::WriteJpeg(box.path("fallback.jpg"), [](Exiv2::ExifData& exif, Exiv2::XmpData& xmp) {
    exif["Exif.Photo.DateTimeOriginal"] = "0000:00:00 00:00:00";  // a camera without a clock
    exif["Exif.Image.ImageWidth"] = std::uint32_t{10};
    exif["Exif.Image.ImageLength"] = std::uint32_t{20};
    exif["Exif.Image.Rating"] = std::uint16_t{2};
    xmp["Xmp.xmp.CreateDate"] = "2019-02-03T04:05+02:00";
  });
  box.write_file("notes.txt", "shopping list\n");
  // An EXIF segment (34 bytes: \042) whose one entry points past its end: the reader
  // complains, then goes on.
  const std::string app1(
      "\xFF\xE1\0\042Exif\0\0II*\0\x08\0\0\0\x01\0\x0F\x01\x02\0\xE8\x03\0\0\xFF\xFF\0\0\0\0\0\0",
      36);
  const std::string jpeg = vantor_cli::TinyJpeg();
  box.write_file("bad_exif.jpg", jpeg.substr(0, 2) + app1 + jpeg.substr(2));

  const std::string tiny = "image/jpeg media " + std::to_string(vantor_test::kTinyJpegWidth) + "x" +
                           std::to_string(vantor_test::kTinyJpegHeight) + " - - []";
  const std::pair<const char*, std::string> cases[] = {
      {"plain.jpg", tiny},
      {"no_extension", tiny},
      {"bad_exif.jpg", tiny},
      {"first.jpg", "image/jpeg media 4000x3000 2021-06-15T10:20:30 4 []"},
      {"fallback.jpg", "image/jpeg media 10x20 2019-02-03T04:05:00 2 []"},
      {"notes.txt", "text/plain other -x- - - []"}};
  const timespec times[2] = {{0, UTIME_OMIT}, {1588748889, 123456789}};  // 2020-05-06 07:08:09
  for (const auto& [name, found] : cases) {
    const std::string path = box.path(name);
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    vantor_env::media_file_probe_t p;
    EXPECT_EQ(vantor_test::capture_stderr([&] { p = vantor_env::ProbeMediaFile(path); }), "");
    EXPECT_EQ(Found(p), found) << name;
    EXPECT_EQ(p.size, fs::file_size(path)) << name;
    EXPECT_EQ(p.last_write, pt::time_from_string("2020-05-06 07:08:09.123456")) << name;
  }
  EXPECT_THROW(vantor_env::ProbeMediaFile(box.path("missing.jpg")), std::runtime_error);
  EXPECT_THROW(vantor_env::ProbeMediaFile(box.root()), std::runtime_error);
}

// The mounts of a crafted table, read the way the system's own is.
std::vector<vantor_env::mount_entry_t> Mounts(const std::string& text) {
  const fs::path file =
      fs::temp_directory_path() / ("vantor-mountinfo-" + std::to_string(::getpid()));
  std::ofstream(file) << text;
  std::vector<vantor_env::mount_entry_t> mounts = vantor_env::ReadMountTable(file.string());
  fs::remove(file);
  return mounts;
}

std::string MountPointOf(const std::vector<vantor_env::mount_entry_t>& mounts,
                         const std::string& path) {
  const auto m = vantor_env::FindMount(mounts, path);
  return m ? m->mount_point : "<none>";
}

// An entry's fields in mountinfo order.
std::string Fields(const vantor_env::mount_entry_t& m) {
  return std::to_string(m.mount_id) + " " + std::to_string(m.parent_id) + " " +
         std::to_string(m.major) + ":" + std::to_string(m.minor) + " " + m.root + " " +
         m.mount_point + " " + m.options + " - " + m.file_system + " " + m.source;
}

TEST(MountTable, ParsesLinesFindsTheInnermostMountBehindSymlinksAndTellsNetworkMounts) {
  const auto mounts = Mounts(
      "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
      "40 22 8:17 / /media/My\\040Photos rw,nosuid shared:5 master:2 - vfat /dev/sdb1 rw\n"
      "41 40 0:50 /sub /media/My\\040Photos/inner rw - nfs4 nas:/export\\134x rw\n"
      "not a mount line\n"
      "42 22 0:51 / /mnt/photo rw - tmpfs tmpfs rw\n"
      "43 22 0:52 / /mnt/photo rw - tmpfs second rw");
  ASSERT_EQ(mounts.size(), 5u);
  EXPECT_EQ(Fields(mounts[1]), "40 22 8:17 / /media/My Photos rw,nosuid - vfat /dev/sdb1");
  EXPECT_EQ(Fields(mounts[2]), "41 40 0:50 /sub /media/My Photos/inner rw - nfs4 nas:/export\\x");

  EXPECT_EQ(MountPointOf(mounts, "/media/My Photos/inner/a.jpg"), "/media/My Photos/inner");
  EXPECT_EQ(MountPointOf(mounts, "/media/My Photos/innerly/a.jpg"), "/media/My Photos");
  EXPECT_EQ(MountPointOf(mounts, "/media/My Photos/inner/"), "/media/My Photos/inner");
  EXPECT_EQ(MountPointOf(mounts, "/mnt/photos/a.jpg"), "/");
  EXPECT_EQ(vantor_env::FindMount(mounts, "/mnt/photo/a.jpg")->source, "second");
  EXPECT_EQ(MountPointOf({}, "/x"), "<none>");
  EXPECT_EQ(MountPointOf(vantor_env::ReadMountTable(), "/proc/self"), "/proc");

  vantor_test::sandbox box;
  const std::string root = fs::canonical(box.root()).string();
  box.write_file("disk/a.jpg", "x");
  fs::create_directory_symlink(root + "/disk", root + "/link");
  const auto disk = Mounts("1 0 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / " + root +
                           "/disk rw - ext4 /dev/sda2 rw\n");
  EXPECT_EQ(MountPointOf(disk, root + "/link/a.jpg"), root + "/disk");
  EXPECT_EQ(MountPointOf(disk, root + "/link/not/yet/there.jpg"), root + "/disk");

  const std::tuple<const char*, const char*, bool> cases[] = {
      {"cifs", "//nas/photos", true},    {"fuse.anything", "me@host:/p", true},
      {"fuse.smb", "//nas/share", true}, {"fuse.portal", "portal", false},
      {"ext4", "host:/odd", false},      {"fuse.mergerfs", "/mnt/a:/mnt/b", false}};
  for (const auto& [type, source, network] : cases)
    EXPECT_EQ(vantor_env::IsNetworkMount(type, source), network) << type << " " << source;
}

TEST(Volumes, IdentifiedFromCraftedDeviceTreesAndFactsOfMountedOnes) {
  vantor_test::sandbox box;
  const fs::path root = fs::canonical(box.root());
  const fs::path sys = root / "sys";
  const auto device = [&](const std::string& bus_path, const std::string& dev, bool partition) {
    fs::create_directories(sys / "devices" / bus_path);
    if (partition) box.write_file("sys/devices/" + bus_path + "/partition", "1\n");
    fs::create_directories(sys / "dev" / "block");
    fs::create_symlink(fs::path("../../devices") / bus_path, sys / "dev" / "block" / dev);
  };
  device("pci0000:00/0000:00:1f.2/ata1/host0/block/sda/sda1", "8:1", true);
  box.write_file("sys/block/sda/removable", "0\n");
  device("pci0000:00/0000:00:14.0/usb2/2-1/host6/block/sdb/sdb1", "8:17", true);
  device("pci0000:00/0000:00:1f.2/ata2/host1/block/sdc", "8:32", false);
  box.write_file("sys/block/sdc/removable", "1\n");
  device("platform/mmc0/mmc0:0001/block/mmcblk0/mmcblk0p1", "179:1", true);

  fs::create_directories(root / "by-uuid");
  std::istringstream links(
      "1111-AAAA sda1 2222-BBBB sdb1 3333-CCCC sdc 4444-DDDD sdd1 5555-EEEE gone");
  for (std::string uuid, node; links >> uuid >> node;) {
    if (node != "gone") box.write_file("dev/" + node, "");
    fs::create_symlink("../dev/" + node, root / "by-uuid" / uuid);
  }
  fs::create_symlink(root / "dev" / "sdd1", root / "dev" / "alias");
  const vantor_env::system_folders_t where{(root / "by-uuid").string(), sys.string()};

  char fsid[17];  // a mount without a UUID falls back to the id of the mounted file system
  std::snprintf(fsid, sizeof fsid, "%016llx",
                static_cast<unsigned long long>(vantor_env::FileSystemId(root).value()));
  const std::string here = root.string();
  const std::tuple<std::string, std::string, volume_kind> cases[] = {
      // mount, serial, kind
      {"1 0 8:1 / /nowhere/a rw - ext4 /dev/sda1 rw", "1111-AAAA", volume_kind::builtin},
      {"2 1 8:17 / /nowhere/b rw - vfat /dev/sdb1 rw", "2222-BBBB", volume_kind::removable},
      {"3 1 8:32 / /nowhere/c rw - exfat /dev/sdc rw", "3333-CCCC", volume_kind::removable},
      {"4 1 179:1 / " + here + " rw - vfat /dev/mmcblk0p1 rw", fsid, volume_kind::removable},
      {"5 1 0:45 / /nowhere/d rw - btrfs " + here + "/dev/alias rw", "4444-DDDD",
       volume_kind::builtin},
      {"6 1 0:46 / /nowhere/e rw - nfs4 nas:/photos rw", "", volume_kind::network}};
  for (const auto& [line, serial, kind] : cases) {
    const auto id = vantor_env::IdentifyFileSystem(Mounts(line).at(0), where);
    EXPECT_EQ(std::make_pair(id.serial, id.kind), std::make_pair(serial, kind)) << line;
  }

  const vantor_env::volume_info_t info = vantor_env::GetVolumeInfo(box.root());
  ASSERT_TRUE(info.valid);
  EXPECT_TRUE(!info.root.empty() && box.root().rfind(info.root, 0) == 0) << info.root;
  EXPECT_FALSE(info.file_system.empty());
  EXPECT_EQ(vantor_env::GetVolumeInfo(box.root() + "\\").serial, info.serial);
  EXPECT_EQ(vantor_env::GetNetworkPath(box.root()), "");

  EXPECT_EQ(vantor_env::GetDriveType(box.path("does/not/exist")), vantor_env::kDriveNoRootDir);
  EXPECT_FALSE(vantor_env::GetVolumeInfo(box.path("does/not/exist")).valid);
  if (vantor_env::GetVolumeInfo("/dev/shm").file_system == "tmpfs") {
    EXPECT_EQ(vantor_env::GetDriveType("/dev/shm"), vantor_env::kDriveRamDisk);
  }
  if (info.file_system == "ext4" || info.file_system == "xfs" || info.file_system == "btrfs") {
    EXPECT_EQ(vantor_env::GetDriveType(box.root()), vantor_env::kDriveFixed);
  }
}

}  // namespace
