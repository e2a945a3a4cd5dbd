#include "catalog/stack_edits.h"

#include <stdexcept>
#include <string>

#include "catalog/media_stack.h"
#include "catalog/stack_sort.h"
#include "catalog/version_stack.h"

namespace vael {

// The version stack alone leaves the removed media's sort rows and the media stack around it
// as they were; both are brought in line here.
void remove_from_version_stack(const connection_handle& handle, int media_id) {
  if (!version_stack::is_media_in_version_stack(handle, media_id)) {
    throw std::runtime_error("not in a version stack");
  }
  version_stack::get_for_media(handle, media_id).remove_media(media_id);
  if (media_stack::is_media_in_stack(handle, media_id)) {
    media_stack pile = media_stack::get_for_media(handle, media_id);
    pile.set_media(pile.get_media_ids());
  }
  media_stack_sort(handle).update(media_id, false);
  version_stack_sort(handle).update(media_id, false);
}

}  // namespace vael
