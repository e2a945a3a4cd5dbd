#include "catalog/catalog_database.h"

#include "catalog/internal_connection.h"

namespace vael {

dbl::database& database_of(const connection_handle& handle) {
  return get_connection(handle).database();
}

int current_change_id(const connection_handle& handle) {
  return get_connection(handle).change_tracker().current_change_id();
}

}  // namespace vael
