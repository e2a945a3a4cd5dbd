#pragma once

#include <string>

// The country the editors were installed for, and the regional decisions made on it.
namespace vantor_env {

// The image editor's country: Country of its machine key, else Country in section
// OMBInformation of Tessarin.ini.
std::string GetCountry();
// The video editor's country: Country of its machine key, else the first line, at most 9
// bytes, of Country.txt in GetAppDataFolder(true, "Vidalune", "14.0").
std::string GetVideoEditorCountry();

// True when the image editor's country is exactly "244".
bool IsCountry244();
// Whether the membership service features are offered: false when either country is exactly
// "45".
bool AreKsvFeaturesOffered();

}  // namespace vantor_env
