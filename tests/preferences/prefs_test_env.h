#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>

#include "catalog/connection_handle.h"
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

// A signed-in user ("ann", ticket "t-1") whose sync catalog is <root>/cat, the reference
// membership client serving <root>/ksv.json for that ticket, and no shared album details.
class sync_catalog_test : public ::testing::Test {
 protected:
  sync_catalog_test();
  ~sync_catalog_test() override;

  // Makes the catalog file, with the albums and namespaces of a new catalog when `defaults`.
  void make_catalog(bool defaults = true) const;
  // Runs `step` on a connection of its own, in a transaction that is then committed.
  void write(const std::function<void(const vael::connection_handle&)>& step) const;
  // The rows of `sql` on the catalog file, read with SQLite alone: columns joined by '|',
  // each row ended by '\n'.
  std::string rows(const std::string& sql) const;
  void write_state(const std::string& json) const { env_.box().write_file("ksv.json", json); }

  prefs_env env_;
  const std::string folder_ = env_.box().path("cat");
  const std::string catalog_ = folder_ + "/catalog.omb14db";
};

}  // namespace vantor_test
