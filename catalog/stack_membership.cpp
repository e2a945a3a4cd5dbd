#include "catalog/stack_membership.h"

#include <algorithm>

#include "catalog/media_stack.h"
#include "catalog/version_stack.h"

namespace vael {

std::vector<int> media_stack_members(const connection_handle& handle, int media_id) {
  const int id = media_stack::get_stack_id_of_media(handle, media_id);
  if (id == 0) return {};
  return media_stack(handle, id).get_media_ids();
}

std::vector<int> version_stack_members(const connection_handle& handle, int media_id) {
  const int id = version_stack::get_stack_id_of_media(handle, media_id);
  if (id == 0) return {};
  return version_stack(handle, id).get_media_ids();
}

void leave_version_stack(const connection_handle& handle, int media_id) {
  const int id = version_stack::get_stack_id_of_media(handle, media_id);
  if (id == 0) return;
  version_stack stack(handle, id);
  if (stack.get_media_ids().size() < 2) {
    stack.dissolve();
  } else {
    stack.remove_media(media_id);
  }
}

void leave_media_stack(const connection_handle& handle, int media_id) {
  const int id = media_stack::get_stack_id_of_media(handle, media_id);
  if (id == 0) return;
  media_stack stack(handle, id);
  std::vector<int> rest = stack.get_media_ids();
  rest.erase(std::remove(rest.begin(), rest.end(), media_id), rest.end());
  if (rest.size() < 2) {
    stack.dissolve();
    return;
  }
  // A media stack holding one version stack only is no stack.
  const int first_version = version_stack::get_stack_id_of_media(handle, rest.front());
  const bool one_version_stack =
      first_version != 0 && std::all_of(rest.begin(), rest.end(), [&](int member) {
        return version_stack::get_stack_id_of_media(handle, member) == first_version;
      });
  if (one_version_stack) {
    stack.dissolve();
  } else {
    stack.set_media(rest);
  }
}

}  // namespace vael
