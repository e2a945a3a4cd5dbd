#include "preferences/library_state.h"

#include "catalog/connection.h"

namespace vantor_prefs {

std::string gCatalogFolder;
std::string gSyncUserId;
std::unique_ptr<vael::connection> gCatalogConnection;
std::map<std::string, SharedAlbumInfo> gSharedAlbums;

catalog_connection_scope::catalog_connection_scope(const std::string& path) {
  gCatalogConnection.reset();
  gCatalogConnection = std::make_unique<vael::connection>(path);
}

catalog_connection_scope::~catalog_connection_scope() {
  gCatalogConnection.reset();
}

}  // namespace vantor_prefs
