#include "catalog/tag_edits.h"

#include <algorithm>

#include "catalog/hierarchy_change.h"

namespace vael {
namespace {

// `siblings` without `moved`, then with it at `index` (clamped); returns the index taken.
std::size_t place(std::vector<tag>& siblings, const tag& moved, std::optional<std::size_t> index) {
  siblings.erase(std::remove_if(siblings.begin(), siblings.end(),
                                [&](const tag& t) { return t.get_id() == moved.get_id(); }),
                 siblings.end());
  const std::size_t at = std::min(index.value_or(siblings.size()), siblings.size());
  siblings.insert(siblings.begin() + static_cast<std::ptrdiff_t>(at), moved);
  return at;
}

template <class Set>
void in_hierarchy_change(const connection_handle& handle, const custom_tag_namespace& from,
                         const custom_tag_namespace& to, Set set_children) {
  const bool across = from.get_id() != to.get_id();
  if (across) {
    start_tag_hierarchy_change(handle, to, from);
  } else {
    start_tag_hierarchy_change(handle, to);
  }
  set_children();
  if (across) {
    finish_two_namespace_hierarchy_change(handle);
  } else {
    finish_tag_hierarchy_change(handle);
  }
}

}  // namespace

std::size_t move_tag(const connection_handle& handle, const tag& moved, tag new_parent,
                     std::optional<std::size_t> index) {
  std::vector<tag> siblings = new_parent.get_children();
  const std::size_t at = place(siblings, moved, index);
  in_hierarchy_change(handle, *moved.get_namespace(), *new_parent.get_namespace(),
                      [&] { new_parent.set_children(siblings); });
  return at;
}

std::size_t move_tag(const connection_handle& handle, const tag& moved, custom_tag_namespace to,
                     std::optional<std::size_t> index) {
  std::vector<tag> siblings = to.get_children();
  const std::size_t at = place(siblings, moved, index);
  in_hierarchy_change(handle, *moved.get_namespace(), to, [&] { to.set_children(siblings); });
  return at;
}

std::vector<int> media_of_tag(const tag& t) {
  if (t.media_is_ordered()) return t.get_ordered_media_ids();
  std::vector<int> ids = t.get_media_ids();
  std::sort(ids.begin(), ids.end());
  return ids;
}

void add_media_to_tag(tag& t, const std::vector<int>& media_ids) {
  if (!t.media_is_ordered()) {
    for (int id : media_ids) t.tag_media(id);
    return;
  }
  std::vector<int> order = t.get_ordered_media_ids();
  for (int id : media_ids) {
    if (std::find(order.begin(), order.end(), id) == order.end()) order.push_back(id);
  }
  t.set_media_order(order);
}

void remove_media_from_tag(tag& t, const std::vector<int>& media_ids) {
  if (!t.media_is_ordered()) {
    for (int id : media_ids) t.untag_media(id);
    return;
  }
  std::vector<int> order = t.get_ordered_media_ids();
  for (int id : media_ids) order.erase(std::remove(order.begin(), order.end(), id), order.end());
  t.set_media_order(order);
}

}  // namespace vael
