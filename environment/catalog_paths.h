#pragma once

#include <string>

namespace vantor_env {

// "catalog.omb14db": the catalog file inside a catalog folder.
std::string GetCatalogFileName();
// CurrentCatalogPath of the organizer, read through omb_util::reg_key_t; empty if unset.
std::string GetCurrentCatalogFolder();

}  // namespace vantor_env
