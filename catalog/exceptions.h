#pragma once

#include <stdexcept>
#include <string>

#include "catalog/schema/schema_errors.h"

namespace vael {

// A catalog object was used through an empty handle or after its connection was deleted.
class connection_error : public std::logic_error {
 public:
  connection_error() : std::logic_error("The connection to vael has already been closed.") {}
};

// The catalog file to open is missing. The type name keeps its historical spelling.
class file_nonexistant_error : public std::runtime_error {
 public:
  explicit file_nonexistant_error(const std::string& path)
      : std::runtime_error("The database file " + path + " does not exist.") {}
};

// The engine failed while a catalog was being opened. "could be not opened" is kept as is.
class database_corrupt_error : public std::runtime_error {
 public:
  database_corrupt_error()
      : std::runtime_error(
            "The database file could be not opened.  This can happen if the database file is "
            "corrupt, read-only, or not a database") {}
};

// A stored row contradicts an invariant of the catalog.
class database_state_invalid_error : public std::runtime_error {
 public:
  database_state_invalid_error() : std::runtime_error("The database is in an invalid state.") {}
};

}  // namespace vael
