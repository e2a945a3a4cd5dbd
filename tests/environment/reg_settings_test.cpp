#include "environment/reg_settings.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

#include "environment/reg_key.h"
#include "tests/support/sandbox.h"

namespace {

using sync_reg_util::RegSettingsCU;
using sync_reg_util::RegSettingsLM;

TEST(RegSettings, ValuesLandInOneIniFilePerKeyAndHive) {
  vantor_test::sandbox box;
  {
    RegSettingsCU user("software\\norvane\\Strand");
    user.set_string("UserName", "ann");
    user.set_int("DisconnectTimeout", 42);
    user.set_bool("RememberMe", true);
    EXPECT_EQ(user.status(), QSettings::NoError);
    RegSettingsLM machine("software\\norvane\\Strand");
    machine.set_string("UserName", "machine");
  }
  const std::string user_file = box.path("registry/HKEY_CURRENT_USER/software/norvane/Strand.ini");
  EXPECT_EQ(vantor_test::read_file(user_file),
            "[General]\nDisconnectTimeout=42\nRememberMe=true\nUserName=ann\n");

  const RegSettingsCU user("software\\norvane\\Strand");
  EXPECT_EQ(user.get_string("UserName"), "ann");
  EXPECT_EQ(user.get_int("DisconnectTimeout", -1), 42);
  EXPECT_TRUE(user.get_bool("RememberMe", false));
  EXPECT_EQ(RegSettingsLM("software\\norvane\\Strand").get_string("UserName"), "machine");
  // Keys are taken as given: another spelling is another file.
  EXPECT_EQ(RegSettingsCU("software\\Norvane\\Strand").get_string("UserName", "none"), "none");
}

TEST(RegSettings, HandWrittenFilesReadAsText) {
  vantor_test::sandbox box;
  box.write_file("registry/HKEY_CURRENT_USER/a/b.ini",
                 "[General]\nlist=jpg,png,tif\nquoted=\"x,y\"\nnumber=12\nword=twelve\n");
  const RegSettingsCU key("a\\b");
  EXPECT_EQ(key.get_string("list"), "jpg,png,tif");
  EXPECT_EQ(key.get_string("quoted"), "x,y");
  EXPECT_EQ(key.get_int("number", -1), 12);
  EXPECT_EQ(key.get_int("word", -1), -1);
  EXPECT_EQ(key.get_int("missing", -1), -1);
  EXPECT_EQ(key.get_string("missing", "dflt"), "dflt");
  EXPECT_TRUE(key.get_bool("missing", true));
}

TEST(RegSettings, RootFollowsEnvironment) {
  vantor_test::sandbox box;
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
  if (fd < 0) return false;
  int flags = 0;
  bool ok = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
  flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
  ok = ok && ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
  ::close(fd);
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

TEST(RegKey, ReadsStringsAndUnsignedWithDefaults) {
  vantor_test::sandbox box;
  box.write_file("registry/HKEY_LOCAL_MACHINE/k.ini",
                 "[General]\nname=value\none=1\nminus=-1\nbad=x\n");
  const omb_util::reg_key_t machine("k", omb_util::kKeyRead64, true);
  EXPECT_EQ(machine.read_string("name"), "value");
  EXPECT_EQ(machine.read_unsigned("one"), 1u);
  EXPECT_EQ(machine.read_unsigned("minus"), 0xFFFFFFFFu);
  EXPECT_EQ(machine.read_unsigned("bad"), 0xFFFFFFFFu);
  EXPECT_EQ(machine.read_unsigned("missing", 7u), 7u);
  const omb_util::reg_key_t user("k", omb_util::kKeyRead, false);
  EXPECT_EQ(user.read_string("name", "none"), "none");
}

}  // namespace
