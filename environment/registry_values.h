#pragma once

#include <string>

// Readers of the settings store values that carry a rule of their own.
namespace vantor_env {

// The sync catalog folder of a product version: 7 CurrentSyncCatalogPath, 8 to 10
// OMB<version>SyncCatalogPath. Any other version, or a missing value, gives "".
std::string GetSyncCatalog(int version);
// Stores `path` as the sync catalog of the current version (10). Returns false if the store
// cannot be written; the old value is then untouched.
bool SetSyncCatalog(const std::string& path);

// True only when DisableKSVFeatures is 1 both for the image editor and for the video editor.
bool IsKsvDisabled();

// ServerDomainName with a "/" added to a non-empty value.
std::string GetServerDomainName();
// HalcynAgentMsgLevel; when missing, gives -1 and creates the value as 0.
int GetHalcynAgentMsgLevel();
// DisconnectTimeout, -1 when missing.
int GetDisconnectTimeout();
// ErrorTimeout, stored as decimal text; -1 when missing or not a number.
long GetErrorTimeout();

}  // namespace vantor_env
