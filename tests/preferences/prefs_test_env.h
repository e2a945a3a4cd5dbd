#pragma once

#include <string>
#include <tuple>

#include "tests/support/sandbox.h"
#include "vantor/vantor.h"

namespace vantor_test {

// A sandbox whose pictures folder is <root>/home/Photos (through user-dirs.dirs), with helpers
// that write the settings files the way a person or the host leaves them.
class prefs_env {
 public:
  prefs_env();

  const sandbox& box() const { return box_; }
  // The download folder the library must compute from the sandbox's pictures folder.
  std::string download_path() const { return box_.path("home/Photos") + "/Norvane"; }
  // Writes a current-user settings file: `key` with "\", `body` the lines under [General].
  void write_user_key(const std::string& key, const std::string& body) const;
  // A sync utility state: sync catalog, user name, ticket and user id.
  void write_strand(const std::string& catalog, const std::string& user, const std::string& ticket,
                    const std::string& userId = "u-1") const;

 private:
  sandbox box_;
};

// Every field, for comparing two records whole.
inline auto fields(const SyncPrefs& p) {
  return std::tie(p.syncon, p.newalbumssyncauto, p.askbeforedelete, p.resolveconflictsauto,
                  p.restrictfilesizeSelected, p.syncallselection, p.syncOnSystemIdle,
                  p.syncEntireCatalog, p.syncPhotos, p.syncVideo, p.syncAudio, p.syncPDFs,
                  p.syncCreations, p.restrictfilesize, p.servertime, p.downloadlocationpath,
                  p.version, p.defaultLibraryNxId, p.defaultLibraryVaelId, p.curCatalogGUID,
                  p.deleteMediaPref);
}

// The parser's defaults, written out independently of the library.
SyncPrefs parser_defaults(const std::string& downloadPath);

}  // namespace vantor_test
