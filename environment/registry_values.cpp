#include "environment/registry_values.h"

#include <boost/lexical_cast.hpp>

#include "environment/reg_key.h"
#include "environment/reg_settings.h"
#include "environment/registry_table.h"

namespace vantor_env {
namespace {

const char* SyncCatalogValueName(int version) {
  switch (version) {
    case 7:
      return reg::kCurrentSyncCatalogPath;
    case 8:
      return reg::kOMB8SyncCatalogPath;
    case 9:
      return reg::kOMB9SyncCatalogPath;
    case 10:
      return reg::kOMB10SyncCatalogPath;
    default:
      return "";
  }
}

constexpr int kCurrentVersion = 10;

}  // namespace

std::string GetSyncCatalog(int version) {
  const std::string name = SyncCatalogValueName(version);
  if (name.empty()) return {};
  return sync_reg_util::RegSettingsCU(reg::kSyncKey).get_string(name);
}

bool SetSyncCatalog(const std::string& path) {
  sync_reg_util::RegSettingsCU settings(reg::kSyncKey);
  settings.set_string(SyncCatalogValueName(kCurrentVersion), path);
  return settings.status() == QSettings::NoError;
}

bool IsKsvDisabled() {
  const int image_editor =
      sync_reg_util::RegSettingsLM(reg::kImageEditorKey).get_int(reg::kDisableKSVFeatures, 0);
  const omb_util::reg_key_t video_editor(reg::kVideoEditorKey, omb_util::kKeyRead, true);
  return image_editor == 1 && video_editor.read_unsigned(reg::kDisableKSVFeatures) == 1;
}

std::string GetServerDomainName() {
  std::string domain =
      sync_reg_util::RegSettingsCU(reg::kSyncKey).get_string(reg::kServerDomainName);
  if (!domain.empty()) domain += "/";
  return domain;
}

int GetHalcynAgentMsgLevel() {
  sync_reg_util::RegSettingsCU settings(reg::kOrganizerSettingsKey);
  const int level = settings.get_int(reg::kHalcynAgentMsgLevel, -1);
  if (!settings.contains_value(reg::kHalcynAgentMsgLevel)) {
    settings.set_int(reg::kHalcynAgentMsgLevel, 0);
  }
  return level;
}

int GetDisconnectTimeout() {
  return sync_reg_util::RegSettingsCU(reg::kSyncKey).get_int(reg::kDisconnectTimeout, -1);
}

long GetErrorTimeout() {
  const std::string text =
      sync_reg_util::RegSettingsCU(reg::kSyncKey).get_string(reg::kErrorTimeout);
  try {
    return boost::lexical_cast<long>(text);
  } catch (const boost::bad_lexical_cast&) {
    return -1;
  }
}

}  // namespace vantor_env
