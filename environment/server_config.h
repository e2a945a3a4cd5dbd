#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vantor_env {

// The server's configuration as the callers use it, read back from the settings store.
struct server_config_t {
  bool halcyn_disabled = true;  // HalcynEnabledByServer, inverted
  bool force_update_enabled = false;
  int sync_interval = 0;  // seconds
  int proxy_gen = 0;
  int delayed_retry_interval = 0;
  int additional_config = 0;
};

// What the membership client reports for the configuration request.
struct fetched_server_config_t {
  bool halcyn_enabled = false;
  bool force_update_enabled = false;
  int sync_interval = 0;  // 0: keep the stored interval
  int proxy_gen = 0;
  int delayed_retry_interval = 0;
  int additional_config = 0;
};

// Asks the server with the user's ticket and the current interval; true and *out filled on
// success.
using server_config_client = std::function<bool(const std::string& ticket, std::int32_t interval,
                                                fetched_server_config_t* out)>;
// Milliseconds of a steady clock.
using tick_source = std::function<std::uint64_t()>;

// Installs the client call; an empty function restores the default, which always fails until
// the membership client is plugged in.
void SetServerConfigClient(server_config_client client);
// Replaces the clock, for tests; an empty function restores the steady clock.
void SetServerConfigTickSource(tick_source ticks);
// Forgets the interval and the time of the last fetch.
void ResetServerConfigCache();

// The server configuration, asked of the server at most once per interval: the server is
// skipped while the interval is not 0 and less than interval seconds passed since the last
// fetch. A fetch stores its six values under the Organizer key; a failed fetch sets the
// interval to 0, so the next call asks again, and the stored values are given.
// REQUIRES: one thread at a time (the cache is two plain statics).
server_config_t ReadServerConfig(const std::string& ticket);

}  // namespace vantor_env
