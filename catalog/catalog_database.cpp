#include "catalog/catalog_database.h"

#include "catalog/internal_connection.h"

namespace vael {

dbl::database& database_of(const connection_handle& handle) {
  return get_connection(handle).database();
}

int current_change_id(const connection_handle& handle) {
  return get_connection(handle).change_tracker().current_change_id();
}

void clear_caches(const connection_handle& handle) {
  get_connection(handle).clear_caches();
}

void mark_media_changed(const connection_handle& handle, int media_id) {
  get_connection(handle).media_tracker().mark_changed(media_id);
}

}  // namespace vael
