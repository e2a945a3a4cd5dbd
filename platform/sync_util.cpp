#include "platform/sync_util.h"

#include <filesystem>
#include <stdexcept>

#include "environment/catalog_paths.h"
#include "environment/debug_log.h"
#include "environment/reg_settings.h"
#include "environment/registry_table.h"
#include "environment/registry_values.h"
#include "platform/album_store.h"

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

int set_album_dirty_if_exists(const int& tagId, bool dirty) {
  try {
    // No store yet means no album to mark, and is no reason to make one.
    const std::string path = album_store_path();
    if (!std::filesystem::exists(path)) return kAlbumOk;
    album_store(path, true).set_dirty(tagId, dirty);
    return kAlbumOk;
  } catch (const std::exception& e) {
    vantor_env::DebugLog(e.what());
    return kAlbumStoreError;
  }
}

int create_or_replace_sync_tag_info(int tagId, const std::string& onlineId, unsigned changeId,
                                    const std::string& first, const std::string& second) {
  try {
    album_store(album_store_path(), true).put({tagId, onlineId, changeId, first, second, false});
    return kAlbumOk;
  } catch (const std::exception& e) {
    vantor_env::DebugLog(e.what());
    return kAlbumStoreError;
  }
}

int get_sync_tag_nixie_id(int tagId, std::string& onlineId) {
  try {
    const std::string path = album_store_path();
    if (!std::filesystem::exists(path)) return kAlbumNotFound;
    const auto record = album_store(path, false).find(tagId);
    if (!record) return kAlbumNotFound;
    onlineId = record->online_id;
    return kAlbumOk;
  } catch (const std::exception& e) {
    vantor_env::DebugLog(e.what());
    return kAlbumStoreError;
  }
}

}  // namespace sync_util
