// Any selection text the host hands over must be applied, or refused by a catalog exception,
// without a crash, a sanitizer finding or an exception of another kind. One small catalog is
// made and kept open for the process, in a folder that also holds the settings and the album
// store; each input runs in a savepoint that is rolled back after it, so that every input
// meets the same catalog. The store outside it is kept: opening a new one costs a run many
// times over.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "catalog/connection.h"
#include "catalog/transaction.h"
#include "catalog_util/catalog_defaults.h"
#include "fuzz/fuzz_folder.h"
#include "preferences/library_state.h"
#include "preferences/tag_selection.h"

namespace {

class fuzz_world {
 public:
  fuzz_world() : folder_("vantor-fuzz-selection") {
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
      ::setenv(name, folder_.path().c_str(), 1);
    }
    ::setenv("VANTOR_SETTINGS_ROOT", (folder_.path() + "/registry").c_str(), 1);

    const std::string catalog = folder_.path() + "/catalog.omb14db";
    std::ofstream(catalog).close();
    vantor_prefs::gCatalogConnection = std::make_unique<vael::connection>(catalog);
    const vael::connection_handle& h = vantor_prefs::gCatalogConnection->handle();
    vael::transaction t(h);
    t.begin(vael::without_undo, vael::lock_now);
    vael_util::initialize_catalog_defaults(
        h, {"", "Family", "Friends", "Colleagues", "", "", "Nature", "Travel", "Hobbies", "Misc",
            "QR Code", "", "", "Smart Albums"});
    t.commit();
  }
  ~fuzz_world() { vantor_prefs::gCatalogConnection.reset(); }
  fuzz_world(const fuzz_world&) = delete;
  fuzz_world& operator=(const fuzz_world&) = delete;

 private:
  fuzz_folder folder_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz_world world;
  // What a screen call leaves: one shared album and one plain one. Refilled each time, since
  // applying a selection adds every unknown online id it meets.
  vantor_prefs::gSharedAlbums.clear();
  vantor_prefs::SharedAlbumInfo& shared = vantor_prefs::gSharedAlbums["s1"];
  shared.onlineid = "s1";
  shared.isSharedFlat = true;
  shared.isPublic = 1;
  shared.templateId = "t";
  shared.permissions = "rw";
  vantor_prefs::gSharedAlbums["p1"].onlineid = "p1";

  {
    const vael::savepoint kept(vantor_prefs::gCatalogConnection->handle());
    try {
      vantor_prefs::ApplyTagSelection(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const std::logic_error&) {
      // The catalog refuses a tag id it does not know, or a child under a tag that takes none.
    } catch (const std::runtime_error&) {
      // A row the catalog cannot store, such as a name it refuses.
    }
  }
  return 0;
}
