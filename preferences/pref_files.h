#pragma once

#include <string>

#include "vantor/vantor.h"

namespace vantor_prefs {

// The text a user's preferences start from, with GetDefaultDownloadPath() in it. Its spacing
// differs from the writer's, and version and deleteMediaPref are left open so that the final
// "</syncon>" does not match: the parser reads each start tag as it comes, and existing files
// hold exactly these bytes.
std::string SyncDefaultsXml();

// Appends the first line (at most 4095 bytes) of <folder>syncdb/sync.pref to `out`. When the
// file is missing or its first line is empty, appends SyncDefaultsXml() instead and writes it
// to that file, creating the "syncdb" folder; a failure to write is ignored. There is no
// separator before "syncdb": `folder` must end in one. Returns invalid_argument for an empty
// folder, else success. `ignored` is not used.
VTL::error_code ReadOrCreateSyncPref(std::string& out, const std::string& ignored,
                                     const std::string& folder);

// <folder>/syncdb/<stem>.pref: the preference file of the user whose id is `stem`.
std::string UserPrefFilePath(const std::string& folder, const std::string& stem);

// Replaces <folder>/syncdb/<stem>.pref with `text` up to its first zero byte, creating the
// "syncdb" folder (one level: `folder` must exist), then runs UpdateOmbSyncCreationSetting.
// Returns unknown_error when the file cannot be created, else success; a write that fails
// after that leaves the previous file as it was and still gives success.
VTL::error_code WritePrefFile(const std::string& text, const std::string& folder,
                              const std::string& stem);

}  // namespace vantor_prefs
