#include <memory>
#include <string>

#include "platform/sync_util.h"
#include "preferences/library_state.h"
#include "preferences/pref_files.h"
#include "preferences/sync_catalog.h"
#include "preferences/tag_selection.h"
#include "vantor/vantor.h"

namespace VTL {

error_code SaveSyncPrefs(std::string tagSelectionXml, std::string prefsXml, std::string userId) {
  using namespace vantor_prefs;
  if (tagSelectionXml.empty() || prefsXml.empty()) {
    gSharedAlbums.clear();
    return success;
  }

  const std::string folder = sync_util::get_sync_catalog(kSyncCatalogVersion);
  std::unique_ptr<catalog_connection_scope> catalog;
  try {
    catalog = std::make_unique<catalog_connection_scope>(CatalogFilePath(folder));
  } catch (...) {
    return catalog_error;
  }

  // The user id goes in as given: an empty one names the file ".pref".
  const error_code written = WritePrefFile(prefsXml, folder, userId);
  if (written != success) return written;
  ApplyTagSelection(tagSelectionXml);
  return success;
}

}  // namespace VTL
