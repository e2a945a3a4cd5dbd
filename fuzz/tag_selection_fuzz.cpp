// Any selection text the host hands over must be applied, or refused by a catalog exception,
// without a crash, a sanitizer finding or an exception of another kind. One small catalog is
// made per process in a temporary folder, which also holds the settings and the album store;
// each input changes it further.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "catalog/connection.h"
#include "catalog/transaction.h"
#include "catalog_util/catalog_defaults.h"
#include "platform/sync_util.h"
#include "preferences/library_state.h"
#include "vantor/vantor.h"

namespace {

class fuzz_world {
 public:
  fuzz_world() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "vantor-fuzz-selection-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    root_ = pattern;
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
      ::setenv(name, root_.c_str(), 1);
    }
    ::setenv("VANTOR_SETTINGS_ROOT", (root_ + "/registry").c_str(), 1);

    const std::string catalog = root_ + "/catalog";
    std::filesystem::create_directories(catalog);
    std::ofstream(catalog + "/catalog.omb14db").close();
    if (sync_util::set_sync_catalog(catalog) != 0) throw std::runtime_error("settings store");
    vael::connection c(catalog + "/catalog.omb14db");
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    vael_util::initialize_catalog_defaults(
        c.handle(), {"", "Family", "Friends", "Colleagues", "", "", "Nature", "Travel", "Hobbies",
                     "Misc", "QR Code", "", "", "Smart Albums"});
    t.commit();
  }
  ~fuzz_world() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  fuzz_world(const fuzz_world&) = delete;
  fuzz_world& operator=(const fuzz_world&) = delete;

 private:
  std::string root_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz_world world;
  // What a screen call leaves: one shared album and one plain one. Refilled each time, since
  // a save adds every unknown online id it meets.
  vantor_prefs::gSharedAlbums.clear();
  vantor_prefs::SharedAlbumInfo& shared = vantor_prefs::gSharedAlbums["s1"];
  shared.onlineid = "s1";
  shared.isSharedFlat = true;
  shared.isPublic = 1;
  shared.templateId = "t";
  shared.permissions = "rw";
  vantor_prefs::gSharedAlbums["p1"].onlineid = "p1";

  try {
    VTL::SaveSyncPrefs(std::string(reinterpret_cast<const char*>(data), size), "<syncon/>", "u");
  } catch (const std::logic_error&) {
    // The catalog refuses a tag id it does not know, or a child under a tag that takes none.
  } catch (const std::runtime_error&) {
    // A row the catalog cannot store, such as a name it refuses.
  }
  return 0;
}
