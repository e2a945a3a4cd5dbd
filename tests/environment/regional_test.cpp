#include <gtest/gtest.h>

#include <cstdlib>

#include "environment/country.h"
#include "environment/ini_file.h"
#include "environment/uuid.h"
#include "tests/support/sandbox.h"

namespace {

const char kImageKey[] = "registry/HKEY_LOCAL_MACHINE/software/norvane/ombrelle/14.0.ini";
const char kVideoKey[] = "registry/HKEY_LOCAL_MACHINE/software/norvane/vidalune/14.0.ini";
const char kTessarinIni[] = "usr/share/Norvane/Tessarin/14.0/Tessarin.ini";
const char kCountryTxt[] = "usr/share/Norvane/Vidalune/14.0/Country.txt";

TEST(Country, SettingsFirstThenFiles) {
  struct Case {
    const char* name;
    const char* image_key;  // nullptr: not written
    const char* ini;
    const char* video_key;
    const char* txt;
    const char* image;  // expected countries and tests
    const char* video;
    bool is244;
    bool offered;
  };
  const Case cases[] = {
      {"nothing", nullptr, nullptr, nullptr, nullptr, "", "", false, true},
      {"keys", "244", "45", "1", "45", "244", "1", true, true},
      {"files", nullptr, "244", nullptr, "45\nrest", "244", "45", true, false},
      {"image 45", "45", nullptr, nullptr, nullptr, "45", "", false, false},
      {"long txt", nullptr, nullptr, nullptr, "1234567890", "", "123456789", false, true},
      {"not exact", " 45", nullptr, nullptr, "450", " 45", "450", false, true},
  };
  for (const Case& c : cases) {
    vantor_test::sandbox box;
    if (c.image_key)
      box.write_file(kImageKey, std::string("[General]\nCountry=\"") + c.image_key + "\"\n");
    if (c.ini)
      box.write_file(kTessarinIni, std::string("[OMBInformation]\nCountry=") + c.ini + "\n");
    if (c.video_key)
      box.write_file(kVideoKey, std::string("[General]\nCountry=") + c.video_key + "\n");
    if (c.txt) box.write_file(kCountryTxt, c.txt);
    EXPECT_EQ(vantor_env::GetCountry(), c.image) << c.name;
    EXPECT_EQ(vantor_env::GetVideoEditorCountry(), c.video) << c.name;
    EXPECT_EQ(vantor_env::IsCountry244(), c.is244) << c.name;
    EXPECT_EQ(vantor_env::AreKsvFeaturesOffered(), c.offered) << c.name;
  }
}

TEST(IniFile, FailureIsSticky) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::GetTessarinIniPath(), box.path(kTessarinIni));
  EXPECT_EQ(vantor_env::GetUuidIniPath(), box.path("usr/share/Norvane/Tessarin/UUID.ini"));
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

  vantor_env::ini_file missing(box.path("none.ini"));
  EXPECT_EQ(missing.read_string("s", "k"), "");
  EXPECT_EQ(missing.status(), vantor_env::ini_file::kNotFound);
  box.write_file("blocker", "");
  vantor_env::ini_file unwritable(box.path("blocker/x.ini"));
  EXPECT_FALSE(unwritable.write_string("s", "k", "v"));
  EXPECT_NE(unwritable.status(), vantor_env::ini_file::kOk);
}

TEST(Uuid, TextFormsAndStoredIds) {
  vantor_test::sandbox box;
  const std::string id = vantor_env::NewUuid();
  ASSERT_EQ(id.size(), 36u);
  EXPECT_EQ(id.find_first_not_of("0123456789abcdef-"), std::string::npos) << id;
  EXPECT_NE(id, vantor_env::NewUuid());
  vantor_env::uuid_bytes bytes{};
  ASSERT_TRUE(vantor_env::UuidFromText("{01234567-89AB-CDEF-0123-456789ABCDEF}", bytes));
  EXPECT_EQ(bytes[0], 0x01);
  EXPECT_EQ(bytes[15], 0xEF);
  EXPECT_EQ(vantor_env::UuidToText(bytes), "01234567-89ab-cdef-0123-456789abcdef");
  EXPECT_FALSE(vantor_env::UuidFromText("not-a-uuid", bytes));
  EXPECT_EQ(bytes[0], 0x01);

  const std::string stored = vantor_env::GetStoredUuid("Ids", "Machine");
  ASSERT_EQ(stored.size(), 36u);
  EXPECT_EQ(vantor_env::GetStoredUuid("Ids", "Machine"), stored);
  EXPECT_NE(vantor_test::read_file(box.path("usr/share/Norvane/Tessarin/UUID.ini")).find(stored),
            std::string::npos);
}

}  // namespace
