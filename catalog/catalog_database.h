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

// Forgets every cached catalog object, as when another connection has committed; for
// measurements that must start from a cold cache.
void clear_caches(const connection_handle& handle);

// Marks a media row changed, so that the next commit on this connection stamps it with the
// new change id whatever was written to it; for measuring the commit on its own.
void mark_media_changed(const connection_handle& handle, int media_id);

}  // namespace vael
