#include "environment/country.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "environment/catalog_paths.h"
#include "environment/file_helpers.h"
#include "environment/ini_file.h"
#include "environment/reg_settings.h"
#include "environment/registry_table.h"

namespace vantor_env {

std::string GetCountry() {
  std::string country =
      sync_reg_util::RegSettingsLM(reg::kImageEditorKey).get_string(reg::kCountry);
  if (country.empty())
    country = ini_file(GetTessarinIniPath()).read_string("OMBInformation", "Country");
  return country;
}

std::string GetVideoEditorCountry() {
  std::string country =
      sync_reg_util::RegSettingsLM(reg::kVideoEditorKey).get_string(reg::kCountry);
  if (!country.empty()) return country;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      OpenFile(GetAppDataFolder(true, "Vidalune", "14.0") + "Country.txt", "r"), &std::fclose);
  if (!file) return {};
  char line[10] = {};
  if (std::fgets(line, sizeof line, file.get()) == nullptr) return {};
  country = line;
  while (!country.empty() && (country.back() == '\n' || country.back() == '\r')) country.pop_back();
  return country;
}

bool IsCountry244() {
  return GetCountry() == "244";
}

bool AreKsvFeaturesOffered() {
  return GetCountry() != "45" && GetVideoEditorCountry() != "45";
}

}  // namespace vantor_env
