#include "environment/registry_values.h"

#include <gtest/gtest.h>

#include "environment/reg_settings.h"
#include "environment/registry_table.h"
#include "tests/support/sandbox.h"

namespace {

namespace reg = vantor_env::reg;

TEST(RegistryValues, SyncCatalogByVersion) {
  vantor_test::sandbox box;
  box.write_file("registry/HKEY_CURRENT_USER/software/norvane/Strand.ini",
                 "[General]\nCurrentSyncCatalogPath=/c7\nOMB8SyncCatalogPath=/c8\n"
                 "OMB9SyncCatalogPath=/c9\n");
  EXPECT_EQ(vantor_env::GetSyncCatalog(7), "/c7");
  EXPECT_EQ(vantor_env::GetSyncCatalog(8), "/c8");
  EXPECT_EQ(vantor_env::GetSyncCatalog(9), "/c9");
  EXPECT_EQ(vantor_env::GetSyncCatalog(10), "");
  ASSERT_TRUE(vantor_env::SetSyncCatalog("/home/ann/Catalog, one"));
  EXPECT_EQ(vantor_env::GetSyncCatalog(10), "/home/ann/Catalog, one");
  EXPECT_EQ(vantor_env::GetSyncCatalog(9), "/c9");
  EXPECT_EQ(vantor_env::GetSyncCatalog(11), "");
  EXPECT_EQ(vantor_env::GetSyncCatalog(6), "");
}

TEST(RegistryValues, KsvDisabledOnlyWhenBothSay1) {
  struct Case {
    const char* image;  // nullptr: value missing
    const char* video;
    bool disabled;
  };
  const Case cases[] = {{"1", "1", true},         {"1", nullptr, false}, {nullptr, "1", false},
                        {"1", "0", false},        {"0", "1", false},     {"2", "1", false},
                        {nullptr, nullptr, false}};
  for (const Case& c : cases) {
    vantor_test::sandbox box;
    if (c.image) {
      box.write_file("registry/HKEY_LOCAL_MACHINE/software/norvane/ombrelle/14.0.ini",
                     std::string("[General]\nDisableKSVFeatures=") + c.image + "\n");
    }
    if (c.video) {
      box.write_file("registry/HKEY_LOCAL_MACHINE/software/norvane/vidalune/14.0.ini",
                     std::string("[General]\nDisableKSVFeatures=") + c.video + "\n");
    }
    EXPECT_EQ(vantor_env::IsKsvDisabled(), c.disabled)
        << "image " << (c.image ? c.image : "missing") << ", video "
        << (c.video ? c.video : "missing");
  }
}

TEST(RegistryValues, RulesOfSingleValues) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::GetServerDomainName(), "");
  EXPECT_EQ(vantor_env::GetDisconnectTimeout(), -1);
  EXPECT_EQ(vantor_env::GetErrorTimeout(), -1);
  sync_reg_util::RegSettingsCU strand(reg::kSyncKey);
  strand.set_string(reg::kServerDomainName, "host");
  strand.set_string(reg::kErrorTimeout, "30000000000");
  EXPECT_EQ(vantor_env::GetServerDomainName(), "host/");
  EXPECT_EQ(vantor_env::GetErrorTimeout(), 30000000000L);

  // The first reading finds nothing, gives -1 and leaves 0 behind.
  EXPECT_EQ(vantor_env::GetHalcynAgentMsgLevel(), -1);
  EXPECT_EQ(sync_reg_util::RegSettingsCU(reg::kOrganizerSettingsKey)
                .get_int(reg::kHalcynAgentMsgLevel, 99),
            0);
  EXPECT_EQ(vantor_env::GetHalcynAgentMsgLevel(), 0);
}

}  // namespace
