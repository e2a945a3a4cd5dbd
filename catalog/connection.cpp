#include "catalog/connection.h"

#include <filesystem>

#include "catalog/internal_connection.h"
#include "catalog/stack_namespace.h"
#include "catalog/volume_manager.h"
#include "dbl/exceptions.h"

namespace vael {

connection::connection(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::exists(std::filesystem::u8path(path), ignored)) {
    throw file_nonexistant_error(path);
  }
  try {
    owner_ = std::make_shared<internal_connection>(path);
    handle_ = std::make_shared<connection_slot>();
    handle_->connection = owner_.get();
    ensure_stack_namespace(handle_);
    get_volume_manager(handle_).ensure_database_relative_volume();
  } catch (const dbl::internal_database_error&) {
    if (handle_ != nullptr) handle_->connection = nullptr;
    throw database_corrupt_error();
  } catch (const dbl::database_corrupt_error&) {
    // The engine names a damaged file this way rather than by the general error.
    if (handle_ != nullptr) handle_->connection = nullptr;
    throw database_corrupt_error();
  } catch (...) {
    if (handle_ != nullptr) handle_->connection = nullptr;
    throw;
  }
}

connection::~connection() {
  if (handle_ != nullptr) handle_->connection = nullptr;
}

}  // namespace vael
