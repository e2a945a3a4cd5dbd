#pragma once

#include <memory>

#include "catalog/exceptions.h"

namespace vael {

class internal_connection;

// What every catalog object keeps of its connection: a shared slot holding the raw pointer to
// the connection's state. The slot never owns it, so objects never keep a catalog open; the
// connection empties the slot when it goes, so objects that outlive it fail cleanly.
struct connection_slot {
  internal_connection* connection = nullptr;
};

using connection_handle = std::shared_ptr<connection_slot>;

// The state behind `handle`. Throws connection_error when the handle is empty or its
// connection is gone.
inline internal_connection& get_connection(const connection_handle& handle) {
  if (handle == nullptr || handle->connection == nullptr) throw connection_error();
  return *handle->connection;
}

}  // namespace vael
