#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "environment/reg_settings.h"

namespace omb_util {

// Access masks of the original key API. The 64-bit view has no meaning on Linux, so both open
// the same key; the masks are kept so that callers read as they always did.
inline constexpr std::uint32_t kKeyRead = 131097;
inline constexpr std::uint32_t kKeyRead64 = 131353;

// An open key of the settings store, for plain reads. The file is read when the key is opened;
// later changes by others are not seen through this object.
class reg_key_t {
 public:
  // Opens `key_path` in the machine's hive when `machine` is true, else in the user's.
  // `access_mask` is one of the masks above. A key that does not exist opens empty.
  reg_key_t(const std::string& key_path, std::uint32_t access_mask, bool machine);
  virtual ~reg_key_t();
  reg_key_t(const reg_key_t&) = delete;
  reg_key_t& operator=(const reg_key_t&) = delete;

  // The value `name` as text, or `fallback` if it is missing or the key cannot be read.
  std::string read_string(const std::string& name, const std::string& fallback = {}) const;
  // The value `name` as an unsigned number, or `fallback` (all bits set, the original's -1) if
  // it is missing, not a number, or the key cannot be read.
  std::uint32_t read_unsigned(const std::string& name, std::uint32_t fallback = 0xFFFFFFFFu) const;

 private:
  std::unique_ptr<sync_reg_util::RegSettings> settings_;
};

}  // namespace omb_util
