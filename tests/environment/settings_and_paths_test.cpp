#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <tuple>
#include <vector>

#include "environment/catalog_paths.h"
#include "environment/country.h"
#include "environment/file_helpers.h"
#include "environment/ini_file.h"
#include "environment/reg_key.h"
#include "environment/reg_settings.h"
#include "environment/registry_table.h"
#include "environment/registry_values.h"
#include "environment/server_config.h"
#include "environment/sync_conflict_mutex.h"
#include "environment/uuid.h"
#include "tests/support/sandbox.h"

namespace {

namespace reg = vantor_env::reg;
using sync_reg_util::RegSettingsCU;
using sync_reg_util::RegSettingsLM;

TEST(RegSettings, OneIniFilePerKeyAndHiveReadAsText) {
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
  EXPECT_EQ(key.get_string("missing", "dflt"), "dflt");
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
}

TEST(RegSettings, UnwritableStoreReportsAndKeepsOldFile) {
  vantor_test::sandbox box;
  box.write_file("blocker", "a file, not a folder");
  ::setenv("VANTOR_SETTINGS_ROOT", box.path("blocker/registry").c_str(), 1);
  RegSettingsCU key("k");
  key.set_string("v", "1");
  EXPECT_NE(key.status(), QSettings::NoError);
  EXPECT_EQ(vantor_test::read_file(box.path("blocker")), "a file, not a folder");
}

// Makes `folder` immutable, so that even root cannot write in it; false where that is not
// allowed.
bool SetImmutable(const std::string& folder, bool on) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
  int flags = 0;
  bool ok = fd >= 0 && ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
  flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
  ok = ok && ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
  if (fd >= 0) ::close(fd);
  return ok;
}

TEST(RegSettings, WriteThatCannotLandIsDroppedForLaterReaders) {
  vantor_test::sandbox box;
  RegSettingsCU("k").set_string("v", "old");
  const std::string folder = box.path("registry/HKEY_CURRENT_USER");
  if (!SetImmutable(folder, true)) GTEST_SKIP() << "cannot make a folder immutable here";
  {
    RegSettingsCU key("k");
    key.set_string("v", "new");
    key.set_string("w", "new");
    EXPECT_NE(key.status(), QSettings::NoError);
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

TEST(RegistryValues, KsvDisabledOnlyWhenBothEditorsSay1) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"1", "1", true},  {"1", nullptr, false}, {nullptr, "1", false},    {"1", "0", false},
      {"0", "1", false}, {"2", "1", false},     {nullptr, nullptr, false}};
  for (const auto& [image, video, disabled] : cases) {
    vantor_test::sandbox box;
    WriteEditorValue(box, "ombrelle", "DisableKSVFeatures", image);
    WriteEditorValue(box, "vidalune", "DisableKSVFeatures", video);
    EXPECT_EQ(vantor_env::IsKsvDisabled(), disabled) << "image " << image << ", video " << video;
  }
}

TEST(RegistryValues, RulesOfSingleValues) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::GetServerDomainName(), "");
  EXPECT_EQ(vantor_env::GetErrorTimeout(), -1);
  // The sync catalog path has one value name per version.
  box.write_file("registry/HKEY_CURRENT_USER/software/norvane/Strand.ini",
                 "[General]\nCurrentSyncCatalogPath=/c7\nOMB8SyncCatalogPath=/c8\n"
                 "OMB9SyncCatalogPath=/c9\nServerDomainName=host\nErrorTimeout=30000000000\n");
  ASSERT_TRUE(vantor_env::SetSyncCatalog("/home/ann/Catalog, one"));
  const std::pair<int, const char*> expected[] = {
      {6, ""}, {7, "/c7"}, {8, "/c8"}, {9, "/c9"}, {10, "/home/ann/Catalog, one"}, {11, ""}};
  for (const auto& [version, path] : expected) {
    EXPECT_EQ(vantor_env::GetSyncCatalog(version), path) << version;
  }

  EXPECT_EQ(vantor_env::GetServerDomainName(), "host/");
  EXPECT_EQ(vantor_env::GetErrorTimeout(), 30000000000L);

  // The first reading finds nothing, gives -1 and leaves 0 behind.
  EXPECT_EQ(vantor_env::GetHalcynAgentMsgLevel(), -1);
  EXPECT_EQ(RegSettingsCU(reg::kOrganizerSettingsKey).get_int(reg::kHalcynAgentMsgLevel, 99), 0);
  EXPECT_EQ(vantor_env::GetHalcynAgentMsgLevel(), 0);
}

// A reading as one value: disabled, force update, interval, proxy, retry, additional config.
std::tuple<bool, bool, int, int, int, int> Values(const vantor_env::server_config_t& c) {
  return {c.halcyn_disabled, c.force_update_enabled,   c.sync_interval,
          c.proxy_gen,       c.delayed_retry_interval, c.additional_config};
}

class ServerConfigTest : public ::testing::Test {
 protected:
  void SetUp() override {
    vantor_env::SetServerConfigTickSource([this] { return now_; });
  }
  void TearDown() override {
    vantor_env::SetServerConfigClient(nullptr);
    vantor_env::SetServerConfigTickSource(nullptr);
    vantor_env::ResetServerConfigCache();
  }
  vantor_test::sandbox box_;
  std::uint64_t now_ = 1000;
};

TEST_F(ServerConfigTest, WithoutClientEveryCallFailsAndGivesStoredValues) {
  box_.write_file("registry/HKEY_CURRENT_USER/software/norvane/tessarin/14.0/Organizer.ini",
                  "[General]\nHalcynEnabledByServer=true\nnxSyncInterval=300\nkqProxyGen=2\n");
  EXPECT_EQ(Values(vantor_env::ReadServerConfig("ticket")),
            std::make_tuple(false, false, 300, 2, 0, 0));

  // A failure leaves the interval at 0, so the next call asks again at once.
  int calls = 0;
  vantor_env::SetServerConfigClient(
      [&](const std::string&, std::int32_t, vantor_env::fetched_server_config_t*) {
        ++calls;
        return false;
      });
  vantor_env::ReadServerConfig("ticket");
  EXPECT_EQ(vantor_env::ReadServerConfig("ticket").sync_interval, 300);
  EXPECT_EQ(calls, 2);
}

TEST_F(ServerConfigTest, FetchStoresValuesAndHoldsForTheInterval) {
  RegSettingsCU(reg::kOrganizerSettingsKey).set_int(reg::kNxSyncInterval, 60);
  std::vector<std::int32_t> asked_with;
  vantor_env::SetServerConfigClient([&](const std::string& ticket, std::int32_t interval,
                                        vantor_env::fetched_server_config_t* out) {
    EXPECT_EQ(ticket, "t");
    asked_with.push_back(interval);
    *out = {false, true, 0, 3, 9, 5};  // an interval of 0 keeps the stored 60 s
    return true;
  });
  EXPECT_EQ(Values(vantor_env::ReadServerConfig("t")), std::make_tuple(true, true, 60, 3, 9, 5));

  now_ += 60000;  // exactly the interval: still fresh, and the stored values are given
  EXPECT_EQ(Values(vantor_env::ReadServerConfig("t")), std::make_tuple(true, true, 60, 3, 9, 5));
  EXPECT_EQ(asked_with.size(), 1u);
  now_ += 1;
  vantor_env::ReadServerConfig("t");
  EXPECT_EQ(asked_with, (std::vector<std::int32_t>{0, 60}));
  now_ -= 10;  // a clock that went back asks again
  vantor_env::ReadServerConfig("t");
  EXPECT_EQ(asked_with.size(), 3u);
}

TEST(Country, SettingsFirstThenFiles) {
  // Name; the image editor's key, Tessarin.ini, the video editor's key, Country.txt (null: not
  // written); then the countries and tests expected.
  using texts = const char*;
  const std::tuple<texts, texts, texts, texts, texts, texts, texts, bool, bool> cases[] = {
      {"nothing", nullptr, nullptr, nullptr, nullptr, "", "", false, true},
      {"keys", "244", "45", "1", "45", "244", "1", true, true},
      {"files", nullptr, "244", nullptr, "45\nrest", "244", "45", true, false},
      {"image 45", "45", nullptr, nullptr, nullptr, "45", "", false, false},
      {"long txt", nullptr, nullptr, nullptr, "1234567890", "", "123456789", false, true},
      {"not exact", " 45", nullptr, nullptr, "450", " 45", "450", false, true},
  };
  for (const auto& [name, image_key, ini, video_key, txt, image, video, is244, offered] : cases) {
    vantor_test::sandbox box;
    WriteEditorValue(box, "ombrelle", "Country", image_key);
    WriteEditorValue(box, "vidalune", "Country", video_key);
    if (ini)
      box.write_file("usr/share/Norvane/Tessarin/14.0/Tessarin.ini",
                     "[OMBInformation]\nCountry=" + std::string(ini));
    if (txt) box.write_file("usr/share/Norvane/Vidalune/14.0/Country.txt", txt);
    EXPECT_EQ(vantor_env::GetCountry(), image) << name;
    EXPECT_EQ(vantor_env::GetVideoEditorCountry(), video) << name;
    EXPECT_EQ(vantor_env::IsCountry244(), is244) << name;
    EXPECT_EQ(vantor_env::AreKsvFeaturesOffered(), offered) << name;
  }
}

TEST(IniFile, FailureIsStickyAndUuidsAreKeptInOne) {
  vantor_test::sandbox box;
  box.write_file("a.ini", "[s]\nk=v\nlist=a,b\n");
  vantor_env::ini_file file(box.path("a.ini"));
  EXPECT_EQ(file.read_string("s", "k"), "v");
  EXPECT_EQ(file.read_string("s", "list"), "a,b");
  EXPECT_TRUE(file.write_string("s", "new", std::string(3000, 'w')));
  EXPECT_EQ(file.read_string("s", "new"), std::string(2047, 'w'));
  EXPECT_EQ(file.read_string("s", "missing"), "");
  EXPECT_EQ(file.status(), vantor_env::ini_file::kNotFound);
  EXPECT_EQ(file.read_string("s", "k"), "") << "a failure sticks";
  EXPECT_FALSE(file.write_string("s", "k", "x"));
  EXPECT_EQ(vantor_env::ini_file(box.path("a.ini")).read_string("s", "k"), "v");

  box.write_file("blocker", "");
  vantor_env::ini_file unwritable(box.path("blocker/x.ini"));
  EXPECT_FALSE(unwritable.write_string("s", "k", "v"));
  EXPECT_NE(unwritable.status(), vantor_env::ini_file::kOk);

  EXPECT_NE(vantor_env::NewUuid(), vantor_env::NewUuid());
  vantor_env::uuid_bytes bytes{};
  ASSERT_TRUE(vantor_env::UuidFromText("{01234567-89AB-CDEF-0123-456789ABCDEF}", bytes));
  EXPECT_EQ(bytes[0], 0x01);
  EXPECT_EQ(vantor_env::UuidToText(bytes), "01234567-89ab-cdef-0123-456789abcdef");
  EXPECT_FALSE(vantor_env::UuidFromText("not-a-uuid", bytes));
  EXPECT_EQ(bytes[0], 0x01);

  const std::string stored = vantor_env::GetStoredUuid("Ids", "Machine");
  ASSERT_EQ(stored.size(), 36u);
  EXPECT_EQ(stored.find_first_not_of("0123456789abcdef-"), std::string::npos) << stored;
  EXPECT_EQ(vantor_env::GetStoredUuid("Ids", "Machine"), stored);
  EXPECT_NE(vantor_test::read_file(box.path("usr/share/Norvane/Tessarin/UUID.ini")).find(stored),
            std::string::npos);
}

TEST(CatalogPaths, FixedNamesAndAppDataFolderFromXdgDirs) {
  EXPECT_EQ(vantor_env::GetCatalogFileName(), "catalog.omb14db");
  EXPECT_EQ(vantor_env::GetSyncDbFileName(), "catalog_halcynUserID.syncdb");
  for (int outside : {6, 14}) EXPECT_EQ(vantor_env::GetFormerAgentName(outside), "") << outside;
  EXPECT_EQ(vantor_env::GetFormerAgentName(7), "tessarinsyncagent-1.0-en_us");
  EXPECT_EQ(vantor_env::GetFormerAgentName(13), "tessarinhalcynagent-14.0-en_us");

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
}

// Through the store itself: a hand edit of the same size within one millisecond can go unseen
// by the store's in-process cache.
void SetCurrentCatalog(const std::string& folder) {
  sync_reg_util::RegSettingsCU("software\\norvane\\tessarin\\14.0")
      .set_string("CurrentCatalogPath", folder);
}

TEST(CatalogPaths, ConflictAndDeletesFoldersPerCatalog) {
  vantor_test::sandbox box;
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

}  // namespace
