#pragma once

#include <string>

namespace vantor_prefs {

// The catalog folder last given by the host (GetInitialLauchSyncPrefs, and later the screen
// export); ChangeCatalog makes it the sync catalog. It ends in whatever the host gave.
// REQUIRES: one export at a time.
extern std::string gCatalogFolder;

// The user id handed on to GetSyncPrefs. Nothing assigns it, so it stays empty; it is kept so
// that the calls that pass it read as the host expects.
extern std::string gSyncUserId;

}  // namespace vantor_prefs
