#pragma once

#include <string>

namespace vantor_env {

// "catalog.omb14db": the catalog file inside a catalog folder.
std::string GetCatalogFileName();
// CurrentCatalogPath of the organizer, read through omb_util::reg_key_t; empty if unset.
std::string GetCurrentCatalogFolder();

// A data folder, ending in "/": the machine's (GetMachineDataFolder) when `common` and it
// exists, else the user's (GetUserDataFolder), then "Norvane/<product>/" and, when `version` is
// not empty, "<version>/". "" when neither data folder can be named. Nothing is created.
std::string GetAppDataFolder(bool common, const std::string& product, const std::string& version);

}  // namespace vantor_env
