// Hosts compile against the exported record and result codes; a change to either breaks them
// silently. These checks make such a change fail the build instead.
#include <cstddef>

#include "vantor/vantor.h"

namespace {

#define VANTOR_FIELD_AFTER(a, b) static_assert(offsetof(SyncPrefs, a) < offsetof(SyncPrefs, b))

VANTOR_FIELD_AFTER(syncon, newalbumssyncauto);
VANTOR_FIELD_AFTER(newalbumssyncauto, askbeforedelete);
VANTOR_FIELD_AFTER(askbeforedelete, resolveconflictsauto);
VANTOR_FIELD_AFTER(resolveconflictsauto, restrictfilesizeSelected);
VANTOR_FIELD_AFTER(restrictfilesizeSelected, syncallselection);
VANTOR_FIELD_AFTER(syncallselection, syncOnSystemIdle);
VANTOR_FIELD_AFTER(syncOnSystemIdle, syncEntireCatalog);
VANTOR_FIELD_AFTER(syncEntireCatalog, syncPhotos);
VANTOR_FIELD_AFTER(syncPhotos, syncVideo);
VANTOR_FIELD_AFTER(syncVideo, syncAudio);
VANTOR_FIELD_AFTER(syncAudio, syncPDFs);
VANTOR_FIELD_AFTER(syncPDFs, syncCreations);
VANTOR_FIELD_AFTER(syncCreations, restrictfilesize);
VANTOR_FIELD_AFTER(restrictfilesize, servertime);
VANTOR_FIELD_AFTER(servertime, downloadlocationpath);
VANTOR_FIELD_AFTER(downloadlocationpath, version);
VANTOR_FIELD_AFTER(version, defaultLibraryNxId);
VANTOR_FIELD_AFTER(defaultLibraryNxId, defaultLibraryVaelId);
VANTOR_FIELD_AFTER(defaultLibraryVaelId, curCatalogGUID);
VANTOR_FIELD_AFTER(curCatalogGUID, deleteMediaPref);

#undef VANTOR_FIELD_AFTER

static_assert(VTL::success == 0 && VTL::no_valid_user == 1 && VTL::unknown_error == 2 &&
              VTL::invalid_argument == 3 && VTL::not_logged_in == 4 &&
              VTL::invalid_credentials == 5 && VTL::catalog_error == 6 &&
              VTL::change_catalog_required == 7);
static_assert(sizeof(double) == 8 && sizeof(int) == 4);

}  // namespace
