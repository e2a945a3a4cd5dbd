#include "environment/registry_values.h"

#include <gtest/gtest.h>

#include <vector>

#include "environment/reg_settings.h"
#include "environment/registry_table.h"
#include "environment/server_config.h"
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

class ServerConfigTest : public ::testing::Test {
 protected:
  void SetUp() override {
    vantor_env::ResetServerConfigCache();
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
  const vantor_env::server_config_t config = vantor_env::ReadServerConfig("ticket");
  EXPECT_FALSE(config.halcyn_disabled);
  EXPECT_FALSE(config.force_update_enabled);
  EXPECT_EQ(config.sync_interval, 300);
  EXPECT_EQ(config.proxy_gen, 2);
  EXPECT_EQ(config.delayed_retry_interval, 0);

  // A failure leaves the interval at 0, so the next call asks again at once.
  int calls = 0;
  vantor_env::SetServerConfigClient(
      [&](const std::string&, std::int32_t, vantor_env::fetched_server_config_t*) {
        ++calls;
        return false;
      });
  vantor_env::ReadServerConfig("ticket");
  vantor_env::ReadServerConfig("ticket");
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(vantor_env::ReadServerConfig("ticket").sync_interval, 300);
}

TEST_F(ServerConfigTest, FetchStoresValuesAndHoldsForTheInterval) {
  sync_reg_util::RegSettingsCU(reg::kOrganizerSettingsKey).set_int(reg::kNxSyncInterval, 60);
  std::vector<std::int32_t> asked_with;
  vantor_env::SetServerConfigClient([&](const std::string& ticket, std::int32_t interval,
                                        vantor_env::fetched_server_config_t* out) {
    EXPECT_EQ(ticket, "t");
    asked_with.push_back(interval);
    out->halcyn_enabled = false;
    out->force_update_enabled = true;
    out->sync_interval = 0;  // keep the stored 60 s
    out->proxy_gen = 3;
    out->delayed_retry_interval = 9;
    out->additional_config = 5;
    return true;
  });
  const vantor_env::server_config_t config = vantor_env::ReadServerConfig("t");
  EXPECT_TRUE(config.halcyn_disabled);
  EXPECT_TRUE(config.force_update_enabled);
  EXPECT_EQ(config.sync_interval, 60);
  EXPECT_EQ(config.proxy_gen, 3);
  EXPECT_EQ(config.delayed_retry_interval, 9);
  EXPECT_EQ(config.additional_config, 5);
  const sync_reg_util::RegSettingsCU stored(reg::kOrganizerSettingsKey);
  EXPECT_TRUE(stored.get_bool(reg::kForceUpdateEnabled, false));
  EXPECT_EQ(stored.get_int(reg::kDelayedRetryAfterLimitExceededInterval, -1), 9);

  now_ += 60000;  // exactly the interval: still fresh
  vantor_env::ReadServerConfig("t");
  EXPECT_EQ(asked_with.size(), 1u);
  now_ += 1;
  vantor_env::ReadServerConfig("t");
  EXPECT_EQ(asked_with, (std::vector<std::int32_t>{0, 60}));
  now_ -= 10;  // a clock that went back asks again
  vantor_env::ReadServerConfig("t");
  EXPECT_EQ(asked_with.size(), 3u);
}

}  // namespace
