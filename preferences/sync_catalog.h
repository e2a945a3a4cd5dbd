#pragma once

#include <string>

namespace vantor_prefs {

// The product version whose sync catalog the exports use.
inline constexpr int kSyncCatalogVersion = 10;

// The catalog file in the catalog folder `folder`, which may or may not end in a separator.
std::string CatalogFilePath(const std::string& folder);

// The catalog-in-place check of the exports that start a session with the host. When no sync
// catalog is set, makes gCatalogFolder the sync catalog. Returns the path of the sync catalog's
// file, read again after the check.
// Throws VTL::unknown_error (logged "Unknown Error .Failed in Change Catalog Call") when the
// sync catalog cannot be set, and VTL::change_catalog_required (logged "Change Sync Catalog
// required") when another catalog is the sync catalog; the host then asks the user and calls
// ChangeCatalog.
std::string EnsureSyncCatalogInPlace();

// The sign-in check of the exports that talk to the service. Asks the agent whether the user
// is signed in and for the ticket, both and in this order whatever the first answer, and
// returns the ticket. Throws VTL::not_logged_in (logged "Not Logged In Error") when no user is
// signed in, else VTL::no_valid_user (logged "No Valid User") for an empty ticket.
std::string RequireSignedInTicket();

// The path of the sync catalog's file: the sync catalog folder, a separator when it lacks one,
// and the catalog file name. Just the file name when no sync catalog is set.
std::string SyncCatalogFilePath();

}  // namespace vantor_prefs
