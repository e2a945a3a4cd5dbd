#include "environment/catalog_paths.h"

#include "environment/known_folders.h"
#include "environment/reg_key.h"
#include "environment/registry_table.h"

namespace vantor_env {

std::string GetCatalogFileName() {
  return std::string("catalog.") + "omb14db";
}

std::string GetCurrentCatalogFolder() {
  const omb_util::reg_key_t key(reg::kOrganizerKey, omb_util::kKeyRead, false);
  return key.read_string(reg::kCurrentCatalogPath);
}

std::string GetAppDataFolder(bool common, const std::string& product, const std::string& version) {
  std::string folder = common ? GetMachineDataFolder() : std::string();
  if (folder.empty()) folder = GetUserDataFolder();
  if (folder.empty()) return {};
  if (folder.back() != '/') folder += '/';
  folder += "Norvane/" + product + "/";
  if (!version.empty()) folder += version + "/";
  return folder;
}

}  // namespace vantor_env
