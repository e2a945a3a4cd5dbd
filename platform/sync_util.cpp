#include "platform/sync_util.h"

#include "environment/catalog_paths.h"
#include "environment/reg_settings.h"
#include "environment/registry_table.h"
#include "environment/registry_values.h"

namespace sync_util {

std::string get_sync_catalog(int version) {
  return vantor_env::GetSyncCatalog(version);
}

int set_sync_catalog(const std::string& path) {
  return vantor_env::SetSyncCatalog(path) ? 0 : 1;
}

bool get_is_user_signed_in() {
  return !sync_reg_util::RegSettingsCU(vantor_env::reg::kSyncKey)
              .get_string(vantor_env::reg::kUserName)
              .empty();
}

std::string get_ticket_vector() {
  return sync_reg_util::RegSettingsCU(vantor_env::reg::kSyncKey)
      .get_string(vantor_env::reg::kEncryptedTicketVector);
}

std::string get_ksvuser_id() {
  return sync_reg_util::RegSettingsCU(vantor_env::reg::kSyncKey)
      .get_string(vantor_env::reg::kUserId);
}

std::string get_sync_data_folder_path(const std::string& product) {
  return vantor_env::GetAppDataFolder(false, product, "");
}

}  // namespace sync_util
