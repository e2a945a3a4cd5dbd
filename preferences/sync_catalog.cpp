#include "preferences/sync_catalog.h"

#include <string>

#include "environment/catalog_paths.h"
#include "environment/debug_log.h"
#include "platform/sync_util.h"
#include "preferences/library_state.h"
#include "vantor/vantor.h"

namespace vantor_prefs {

std::string CatalogFilePath(const std::string& folder) {
  std::string path = folder;
  if (!path.empty() && path.back() != '/') path += '/';
  return path + vantor_env::GetCatalogFileName();
}

std::string EnsureSyncCatalogInPlace() {
  const std::string current = sync_util::get_sync_catalog(kSyncCatalogVersion);
  if (current.empty()) {
    if (sync_util::set_sync_catalog(gCatalogFolder) != 0) {
      vantor_env::DebugLog("Unknown Error .Failed in Change Catalog Call");
      throw VTL::unknown_error;
    }
  } else if (current != gCatalogFolder) {
    vantor_env::DebugLog("Change Sync Catalog required");
    throw VTL::change_catalog_required;
  }

  return SyncCatalogFilePath();
}

std::string RequireSignedInTicket() {
  const bool signed_in = sync_util::get_is_user_signed_in();
  std::string ticket = sync_util::get_ticket_vector();
  if (!signed_in) {
    vantor_env::DebugLog("Not Logged In Error");
    throw VTL::not_logged_in;
  }
  if (ticket.empty()) {
    vantor_env::DebugLog("No Valid User");
    throw VTL::no_valid_user;
  }
  return ticket;
}

std::string SyncCatalogFilePath() {
  return CatalogFilePath(sync_util::get_sync_catalog(kSyncCatalogVersion));
}

}  // namespace vantor_prefs

namespace VTL {

error_code GetInitialLauchSyncPrefs(std::string catalogFolder, SyncPrefs& prefs) {
  using vantor_prefs::gCatalogFolder;
  error_code result = unknown_error;
  try {
    if (gCatalogFolder != catalogFolder) gCatalogFolder = catalogFolder;
    vantor_prefs::EnsureSyncCatalogInPlace();

    vantor_prefs::RequireSignedInTicket();

    // Reading is the host's: the call leaves `prefs` alone, and its result does not count.
    GetSyncPrefs(prefs, gCatalogFolder, vantor_prefs::gSyncUserId);
    result = success;
  } catch (error_code code) {
    result = code;
  } catch (...) {
    vantor_env::DebugLog("Unhandled Exception.");
    result = unknown_error;
  }
  return result;
}

bool ChangeCatalog() {
  return sync_util::set_sync_catalog(vantor_prefs::gCatalogFolder) == 0;
}

}  // namespace VTL
