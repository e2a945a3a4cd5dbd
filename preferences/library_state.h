#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace vael {
class connection;
}

namespace vantor_prefs {

// The catalog folder last given by the host (GetInitialLauchSyncPrefs, and later the screen
// export); ChangeCatalog makes it the sync catalog. It ends in whatever the host gave.
// REQUIRES: one export at a time.
extern std::string gCatalogFolder;

// The user id handed on to GetSyncPrefs. Nothing assigns it, so it stays empty; it is kept so
// that the calls that pass it read as the host expects.
extern std::string gSyncUserId;

// The catalog of the export that is running; it lives for one export call only.
extern std::unique_ptr<vael::connection> gCatalogConnection;

// Holds gCatalogConnection open for one export call and deletes it on every way out.
class catalog_connection_scope {
 public:
  // Opens gCatalogConnection on `path`; throws what opening a catalog throws.
  explicit catalog_connection_scope(const std::string& path);
  ~catalog_connection_scope();
  catalog_connection_scope(const catalog_connection_scope&) = delete;
  catalog_connection_scope& operator=(const catalog_connection_scope&) = delete;

  vael::connection& get() const { return *gCatalogConnection; }
};

// What the screen export learns of a shared online album, for the save that follows.
struct SharedAlbumInfo {
  std::string onlineid;
  std::string first;   // always empty; given on to the sync agent
  std::string second;  // likewise
  bool isSharedFlat = false;
  std::uint32_t isPublic = 0;
  std::string templateId;
  std::string permissions;
};

// By online id. Filled by the screen export, read by SaveSyncPrefs, emptied only by a save
// with an empty text.
extern std::map<std::string, SharedAlbumInfo> gSharedAlbums;

}  // namespace vantor_prefs
