#include "preferences/library_state.h"

namespace vantor_prefs {

std::string gCatalogFolder;
std::string gSyncUserId;

}  // namespace vantor_prefs
