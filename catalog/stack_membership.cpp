#include "catalog/stack_membership.h"

namespace vael {

std::vector<int> media_stack_members(const connection_handle& handle, int media_id) {
  static_cast<void>(get_connection(handle));
  static_cast<void>(media_id);
  return {};
}

std::vector<int> version_stack_members(const connection_handle& handle, int media_id) {
  static_cast<void>(get_connection(handle));
  static_cast<void>(media_id);
  return {};
}

void leave_version_stack(const connection_handle& handle, int media_id) {
  static_cast<void>(get_connection(handle));
  static_cast<void>(media_id);
}

void leave_media_stack(const connection_handle& handle, int media_id) {
  static_cast<void>(get_connection(handle));
  static_cast<void>(media_id);
}

}  // namespace vael
