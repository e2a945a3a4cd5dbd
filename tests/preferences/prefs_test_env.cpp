#include "tests/preferences/prefs_test_env.h"

#include <algorithm>
#include <filesystem>

namespace vantor_test {

prefs_env::prefs_env() {
  std::filesystem::create_directories(box_.path("home/Photos"));
  box_.write_file("home/.config/user-dirs.dirs", "XDG_PICTURES_DIR=\"$HOME/Photos\"\n");
}

void prefs_env::write_user_key(const std::string& key, const std::string& body) const {
  std::string file = key;
  std::replace(file.begin(), file.end(), '\\', '/');
  box_.write_file("registry/HKEY_CURRENT_USER/" + file + ".ini", "[General]\n" + body);
}

void prefs_env::write_strand(const std::string& catalog, const std::string& user,
                             const std::string& ticket, const std::string& userId) const {
  write_user_key("software\\norvane\\Strand",
                 "OMB10SyncCatalogPath=" + catalog + "\nUserName=" + user +
                     "\nEncryptedTicketVector=" + ticket + "\nUserId=" + userId + "\n");
}

SyncPrefs parser_defaults(const std::string& downloadPath) {
  SyncPrefs p{};
  p.newalbumssyncauto = true;
  p.askbeforedelete = true;
  p.syncallselection = true;
  p.syncPhotos = p.syncVideo = p.syncAudio = p.syncPDFs = true;
  p.downloadlocationpath = downloadPath;
  p.deleteMediaPref = 1;
  return p;
}

}  // namespace vantor_test
