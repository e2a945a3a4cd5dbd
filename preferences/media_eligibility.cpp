#include "preferences/media_eligibility.h"

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/split.hpp>
#include <locale>
#include <string>
#include <vector>

#include "environment/reg_settings.h"
#include "vantor/vantor.h"

namespace vantor_prefs {
namespace {

constexpr char kImage[] = "image";
constexpr char kAudio[] = "audio";
constexpr char kVideo[] = "video";
constexpr char kPdf[] = "pdf";
constexpr char kCreation[] = "creation";

constexpr char kOrganizerKey[] = "software\\norvane\\tessarin\\14.0\\Organizer";
constexpr char kVideoEditorKey[] = "software\\norvane\\vidalune\\14.0\\Settings\\Organizer";

using extension_list = std::vector<std::string>;

// Read on first use and kept for the life of the library.
// REQUIRES: one thread at a time.
struct extension_lists {
  extension_list organizer_image;
  extension_list raw_image;
  extension_list video;
  extension_list audio;
  extension_list image;
};
extension_lists gExtensionLists;

// A comma-separated settings value, items folded to lower case. Empty items are dropped, so
// that an unset value is an empty list and "name." matches nothing.
void AppendExtensions(const std::string& key, const std::string& value, extension_list& out) {
  const std::string text = sync_reg_util::RegSettingsCU(key).get_string(value);
  std::vector<std::string> items;
  boost::algorithm::split(items, text, [](char c) { return c == ','; });
  for (std::string& item : items) {
    if (item.empty()) continue;
    boost::algorithm::to_lower(item, std::locale::classic());
    out.push_back(std::move(item));
  }
}

bool HasSyncMediaExtensions() {
  const extension_lists& l = gExtensionLists;
  return !l.video.empty() || !l.audio.empty() || !l.image.empty();
}

bool ExtensionIn(const std::string& fileName, const extension_list& list) {
  const auto dot = fileName.rfind('.');
  if (dot == std::string::npos) return false;
  const std::string extension =
      boost::algorithm::to_lower_copy(fileName.substr(dot + 1), std::locale::classic());
  return std::find(list.begin(), list.end(), extension) != list.end();
}

}  // namespace

std::string SyncMediaCategory(const std::string& mimeType) {
  const std::string main = mimeType.substr(0, mimeType.find('/'));
  if (mimeType == "application/pdf") return kPdf;
  if (mimeType == "application/omb") return kCreation;
  if (main == "image") return kImage;
  if (mimeType == "application/vnd.norvane.ombra") return kImage;
  if (main == "audio") return kAudio;
  if (main == "video") return kVideo;
  return kCreation;
}

bool IsAllowedSyncMimeType(const std::string& mimeType) {
  return mimeType == "image/jpeg" || mimeType.compare(0, 6, "video/") == 0;
}

bool IsSyncMediaExtension(const std::string& fileName) {
  extension_lists& l = gExtensionLists;
  if (!HasSyncMediaExtensions()) {
    AppendExtensions(kVideoEditorKey, "VideoExtensions", l.video);
    AppendExtensions(kVideoEditorKey, "AudioExtensions", l.audio);
    AppendExtensions(kVideoEditorKey, "ImageExtensions", l.image);
  }
  return ExtensionIn(fileName, l.video) || ExtensionIn(fileName, l.audio) ||
         ExtensionIn(fileName, l.image);
}

bool IsRawImageExtension(const std::string& fileName) {
  extension_list& raw = gExtensionLists.raw_image;
  if (raw.empty()) AppendExtensions(kOrganizerKey, "PluginACRSupportedFormatExtensions", raw);
  return ExtensionIn(fileName, raw);
}

const std::vector<std::string>& OrganizerImageExtensions() {
  extension_list& list = gExtensionLists.organizer_image;
  if (list.empty()) AppendExtensions(kOrganizerKey, "PluginImageFormatExtensions", list);
  return list;
}

void ClearSyncExtensionLists() {
  gExtensionLists = extension_lists{};
}

}  // namespace vantor_prefs

namespace VTL {

bool IsValidMediaForSync(const SyncPrefs& prefs, long long fileSize, const std::string& mimeType) {
  const std::string category = vantor_prefs::SyncMediaCategory(mimeType);
  if (!prefs.syncPhotos && category == vantor_prefs::kImage) return false;
  if (!prefs.syncAudio && category == vantor_prefs::kAudio) return false;
  if (!prefs.syncVideo && category == vantor_prefs::kVideo) return false;
  if (!prefs.syncPDFs && category == vantor_prefs::kPdf) return false;
  if (!prefs.syncCreations && category == vantor_prefs::kCreation) return false;
  // The limit is in mebibytes; a file of exactly the limit passes, and 0 or less is no limit.
  if (prefs.restrictfilesizeSelected && prefs.restrictfilesize > 0 &&
      static_cast<double>(fileSize) > prefs.restrictfilesize * 1024 * 1024) {
    return false;
  }
  return true;
}

}  // namespace VTL
