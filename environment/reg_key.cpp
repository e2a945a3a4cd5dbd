#include "environment/reg_key.h"

namespace omb_util {

reg_key_t::reg_key_t(const std::string& key_path, std::uint32_t /*access_mask*/, bool machine)
    : settings_(std::make_unique<sync_reg_util::RegSettings>(
          machine ? sync_reg_util::kLocalMachineHive : sync_reg_util::kCurrentUserHive, key_path)) {
}

reg_key_t::~reg_key_t() = default;

std::string reg_key_t::read_string(const std::string& name, const std::string& fallback) const {
  return settings_->get_string(name, fallback);
}

std::uint32_t reg_key_t::read_unsigned(const std::string& name, std::uint32_t fallback) const {
  if (settings_->status() != QSettings::NoError) return fallback;
  bool ok = false;
  const std::uint32_t v = settings_->value(QString::fromStdString(name)).toUInt(&ok);
  if (ok) return v;
  // A value stored as -1 is the DWORD 0xFFFFFFFF.
  const int as_signed = settings_->value(QString::fromStdString(name)).toInt(&ok);
  return ok ? static_cast<std::uint32_t>(as_signed) : fallback;
}

}  // namespace omb_util
