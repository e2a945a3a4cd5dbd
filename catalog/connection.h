#pragma once

#include <memory>
#include <string>

#include "catalog/connection_handle.h"

namespace vael {

// An open catalog file. Catalog objects keep only handle(), so deleting the connection
// closes the file; objects that outlive it throw connection_error on their next access.
class connection {
 public:
  // Opens the catalog at `path` (UTF-8), upgrading an older schema, and makes sure of the
  // stack namespace and the database relative volume.
  // Throws file_nonexistant_error when there is no such file (none is created),
  // database_corrupt_error when the file is no catalog or cannot be read,
  // database_version_error for a catalog of an unusable version.
  explicit connection(const std::string& path);
  ~connection();
  connection(const connection&) = delete;
  connection& operator=(const connection&) = delete;

  const connection_handle& handle() const { return handle_; }
  internal_connection& get() const { return get_connection(handle_); }

 private:
  connection_handle handle_;
  std::shared_ptr<internal_connection> owner_;
};

}  // namespace vael
