#pragma once

#include <string>
#include <vector>

namespace vantor_prefs {

// One of "image", "audio", "video", "pdf" or "creation" for a MIME type. Anything unknown,
// the empty text included, is a "creation".
std::string SyncMediaCategory(const std::string& mimeType);

// True for "image/jpeg" and every "video/..." type: the kinds the older sync could carry.
bool IsAllowedSyncMimeType(const std::string& mimeType);

// Whether the extension of `fileName` (after its last full stop, folded to lower case) is in
// the sync media list: the video editor's video, audio and image extensions. False without a
// full stop. An empty list is read from the settings before it is asked.
bool IsSyncMediaExtension(const std::string& fileName);

// The same against the organizer's raw image extensions.
bool IsRawImageExtension(const std::string& fileName);

// The organizer's image extensions, lower case, read from the settings when empty.
const std::vector<std::string>& OrganizerImageExtensions();

// Empties every extension list, so that the next use reads the settings again.
void ClearSyncExtensionLists();

}  // namespace vantor_prefs
