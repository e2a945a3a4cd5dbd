#include "preferences/pref_files.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "environment/catalog_paths.h"
#include "environment/file_helpers.h"
#include "environment/file_replacement.h"
#include "environment/reg_settings.h"
#include "platform/sync_util.h"
#include "preferences/library_state.h"
#include "preferences/sync_prefs_xml.h"

namespace vantor_prefs {
namespace {

constexpr char kSyncDbFolder[] = "syncdb";
constexpr char kPrefExtension[] = ".pref";
constexpr char kDefaultPrefFile[] = "sync.pref";
constexpr char kCreationSettingKey[] = "software\\norvane\\ombrelle\\14.0\\common\\settings";
constexpr char kCreationSettingValue[] = "SYNC_CREATION";

struct file_closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// Replaces `path` with `text`. False only when the file cannot be created at all. A new
// preference file is the user's own business: nobody else may read it.
bool ReplaceFile(const std::string& path, const std::string& text) {
  vantor_env::file_replacement file(path, vantor_env::new_file_access::owner_only);
  if (!file.is_open()) return false;
  file.write(text);
  file.commit();
  return true;
}

}  // namespace

std::string SyncDefaultsXml() {
  std::string xml =
      "<syncon value = \"true\"><newalbumssyncauto value= \"true\" servertime =\"\"/>"
      "<askbeforedelete value =\"false\"/><resolveconflictsauto value = \"false\"/>"
      "<restrictfilesize value=\"\" selected = \"false\"/><syncallselection value = \"false\"/>"
      "<downloadlocationpath value = \"";
  XmlEscape(vantor_env::GetDefaultDownloadPath(), xml);
  xml +=
      "\"/>"
      "<syncOnSystemIdle value = \"false\"/><syncEntireCatalog value = \"false\"/>"
      "<defaultLibraryNxId value = \"\"/><defaultLibraryVaelId value = \"\"/><syncFileTypes>"
      "<syncPhotos value = \"true\"/><syncVideo value = \"true\"/><syncAudio value = \"false\"/>"
      "<syncPDFs value = \"false\"/><syncCreations value = \"false\"/></syncFileTypes>"
      "<version value = \"12\"><curCatalogGUID value = \"\"/><deleteMediaPref value = \"1\">"
      "</syncon>";
  return xml;
}

VTL::error_code ReadOrCreateSyncPref(std::string& out, const std::string& /*ignored*/,
                                     const std::string& folder) {
  if (folder.empty()) return VTL::invalid_argument;
  // The missing separator is the file's historical place; callers pass a folder ending in "/".
  const std::string syncdb = folder + kSyncDbFolder + "/";
  const std::string path = syncdb + kDefaultPrefFile;

  if (std::unique_ptr<std::FILE, file_closer> file{std::fopen(path.c_str(), "rb")}) {
    char line[4096] = {};
    if (std::fgets(line, sizeof line, file.get()) != nullptr && line[0] != '\0') {
      out.append(line, std::strlen(line));
      return VTL::success;
    }
  }

  const std::string defaults = SyncDefaultsXml();
  out += defaults;
  vantor_env::CreateFolder(syncdb);
  ReplaceFile(path, defaults);
  return VTL::success;
}

std::string UserPrefFilePath(const std::string& folder, const std::string& stem) {
  return folder + "/" + kSyncDbFolder + "/" + stem + kPrefExtension;
}

VTL::error_code WritePrefFile(const std::string& text, const std::string& folder,
                              const std::string& stem) {
  // An existing folder is the usual case; a real failure shows when the file is created.
  vantor_env::CreateFolder(folder + "/" + kSyncDbFolder + "/");
  // The text has always been written through "%s": it ends at its first zero byte.
  if (!ReplaceFile(UserPrefFilePath(folder, stem), std::string(text.c_str()))) {
    return VTL::unknown_error;
  }
  VTL::UpdateOmbSyncCreationSetting();
  return VTL::success;
}

}  // namespace vantor_prefs

namespace VTL {

bool GetSyncPrefs(SyncPrefs& /*prefs*/, std::string /*folder*/, std::string /*userId*/) {
  return false;
}

bool SetSyncPrefs(SyncPrefs prefs, std::string folder, std::string userId) {
  try {
    if (userId.empty()) userId = sync_util::get_ksvuser_id();
    return vantor_prefs::WritePrefFile(GetXMLForSyncPrefs(prefs), folder, userId) == success;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return false;
  }
}

void UpdateOmbSyncCreationSetting() {
  // The setting describes the sync catalog, so it is only touched while that one is open.
  if (sync_util::get_sync_catalog(10) != vantor_env::GetCurrentCatalogFolder()) return;

  SyncPrefs prefs{};
  GetSyncPrefs(prefs, sync_util::get_sync_catalog(10), vantor_prefs::gSyncUserId);
  const bool syncCreations = prefs.syncon && prefs.syncCreations;

  sync_reg_util::RegSettingsCU settings(vantor_prefs::kCreationSettingKey);
  settings.set_bool(vantor_prefs::kCreationSettingValue, syncCreations);
}

}  // namespace VTL
