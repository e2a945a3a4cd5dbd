#include "environment/server_config.h"

#include <chrono>

#include "environment/reg_settings.h"
#include "environment/registry_table.h"

namespace vantor_env {
namespace {

std::int32_t g_interval = 0;  // seconds
std::uint64_t g_last_tick = 0;

server_config_client& Client() {
  static server_config_client client;
  return client;
}

tick_source& Ticks() {
  static tick_source ticks;
  return ticks;
}

std::uint64_t Now() {
  if (Ticks()) return Ticks()();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        std::chrono::steady_clock::now().time_since_epoch())
                                        .count());
}

}  // namespace

void SetServerConfigClient(server_config_client client) {
  Client() = std::move(client);
}

void SetServerConfigTickSource(tick_source ticks) {
  Ticks() = std::move(ticks);
}

void ResetServerConfigCache() {
  g_interval = 0;
  g_last_tick = 0;
}

server_config_t ReadServerConfig(const std::string& ticket) {
  sync_reg_util::RegSettingsCU settings(reg::kOrganizerSettingsKey);
  const std::uint64_t now = Now();
  const bool fresh = g_interval != 0 && now > g_last_tick &&
                     now - g_last_tick <= static_cast<std::uint64_t>(g_interval) * 1000u;
  if (!fresh) {
    fetched_server_config_t fetched;
    g_last_tick = now;
    if (!Client() || !Client()(ticket, g_interval, &fetched)) {
      g_interval = 0;
    } else {
      if (fetched.sync_interval == 0) {
        fetched.sync_interval = settings.get_int(reg::kNxSyncInterval, 0);
      }
      g_interval = fetched.sync_interval;
      settings.set_bool(reg::kHalcynEnabledByServer, fetched.halcyn_enabled);
      settings.set_bool(reg::kForceUpdateEnabled, fetched.force_update_enabled);
      settings.set_int(reg::kNxSyncInterval, fetched.sync_interval);
      settings.set_int(reg::kKqProxyGen, fetched.proxy_gen);
      settings.set_int(reg::kDelayedRetryAfterLimitExceededInterval,
                       fetched.delayed_retry_interval);
      settings.set_int(reg::kHalcynAdditionalConfig, fetched.additional_config);
    }
  }
  server_config_t config;
  config.halcyn_disabled = !settings.get_bool(reg::kHalcynEnabledByServer, false);
  config.force_update_enabled = settings.get_bool(reg::kForceUpdateEnabled, false);
  config.sync_interval = settings.get_int(reg::kNxSyncInterval, 0);
  config.proxy_gen = settings.get_int(reg::kKqProxyGen, 0);
  config.delayed_retry_interval = settings.get_int(reg::kDelayedRetryAfterLimitExceededInterval, 0);
  config.additional_config = settings.get_int(reg::kHalcynAdditionalConfig, 0);
  return config;
}

}  // namespace vantor_env
