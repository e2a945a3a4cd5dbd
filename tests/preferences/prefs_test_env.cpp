#include "tests/preferences/prefs_test_env.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "catalog/connection.h"
#include "catalog/transaction.h"
#include "catalog_util/catalog_defaults.h"
#include "preferences/library_state.h"

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
  p.newalbumssyncauto = p.askbeforedelete = p.syncallselection = true;
  p.syncPhotos = p.syncVideo = p.syncAudio = p.syncPDFs = true;
  p.downloadlocationpath = downloadPath;
  p.deleteMediaPref = 1;
  return p;
}

sync_catalog_test::sync_catalog_test() {
  ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1);
  ::setenv("VANTOR_KSV_LOCAL_STATE", env_.box().path("ksv.json").c_str(), 1);
  env_.write_strand(folder_, "ann", "t-1");
  write_state(R"({"ticket": "t-1"})");
  std::filesystem::create_directories(folder_);
  vantor_prefs::gSharedAlbums.clear();
}

sync_catalog_test::~sync_catalog_test() {
  ::unsetenv("VANTOR_KSV_LIBRARY");
  ::unsetenv("VANTOR_KSV_LOCAL_STATE");
}

void sync_catalog_test::make_catalog(bool defaults) const {
  env_.box().write_file("cat/catalog.omb14db", "");
  write([&](const vael::connection_handle& h) {
    if (!defaults) return;
    vael_util::initialize_catalog_defaults(
        h, {"", "Family", "Friends", "Colleagues", "", "", "Nature", "Travel", "Hobbies", "Misc",
            "QR Code", "", "", "Smart Albums"});
  });
}

void sync_catalog_test::write(
    const std::function<void(const vael::connection_handle&)>& step) const {
  vael::connection c(catalog_);
  vael::transaction t(c.handle());
  t.begin(vael::without_undo, vael::lock_now);
  step(c.handle());
  t.commit();
}

std::string sync_catalog_test::rows(const std::string& sql) const {
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(catalog_.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  std::string out;
  auto add = [](void* text, int n, char** values, char**) {
    auto& s = *static_cast<std::string*>(text);
    for (int i = 0; i < n; ++i) s += std::string(i ? "|" : "") + (values[i] ? values[i] : "");
    s += "\n";
    return 0;
  };
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), add, &out, nullptr), SQLITE_OK) << sql;
  sqlite3_close(db);
  return out;
}

}  // namespace vantor_test
