#pragma once

#include <stdexcept>

namespace vael {

// The catalog's schema version is not the one this code can use. Thrown by the schema code
// and by the connection that opens the catalog, hence here, below both.
class database_version_error : public std::runtime_error {
 public:
  database_version_error()
      : std::runtime_error("The database is not the current version, and cannot be opened") {}
};

}  // namespace vael
