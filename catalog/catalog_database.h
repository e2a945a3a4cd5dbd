#pragma once

#include "catalog/connection.h"
#include "catalog/connection_handle.h"
#include "dbl/database.h"

namespace vael {

// The database layer behind an open catalog, for the layers above that run statements of
// their own (searches, vocabulary lookups, listings). Everything else of the connection's
// state stays inside the catalog.
// Throws connection_error when the handle's connection is gone.
dbl::database& database_of(const connection_handle& handle);
inline dbl::database& database_of(const connection& c) {
  return database_of(c.handle());
}

// The change id the last commit on this connection stamped.
int current_change_id(const connection_handle& handle);

}  // namespace vael
