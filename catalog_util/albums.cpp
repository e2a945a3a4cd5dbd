#include "catalog_util/albums.h"

#include <algorithm>
#include <stdexcept>

#include "catalog/catalog_lookup.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog_util/well_known_tags.h"

namespace vael_util {
namespace {

vael::custom_tag_namespace albums_of(const vael::connection_handle& handle) {
  return vael::get_custom_tag_namespace(handle, ns_name::collection);
}

vael::tag find_in_albums(const vael::connection_handle& handle, int id) {
  if (!vael::tag_exists(handle, id)) {
    throw std::runtime_error("there is no tag " + std::to_string(id));
  }
  return vael::get_tag(handle, id);
}

bool in_albums(const vael::connection_handle& handle, const vael::tag& t) {
  return t.get_namespace_id() == albums_of(handle).get_id();
}

vael::tag create_in_albums(const vael::connection_handle& handle, const std::string& name,
                           int group_id, const vael::tag_type_t& type) {
  if (group_id == 0) return albums_of(handle).create_tag(name, type);
  return find_album_group(handle, group_id).create_child(name, type);
}

// The album's order after `edit` took each of `media_ids`; every media is checked first.
template <class Edit>
std::size_t change_album(const vael::connection_handle& handle, vael::tag& album,
                         const std::vector<int>& media_ids, Edit edit) {
  std::vector<int> order = album.get_ordered_media_ids();
  for (auto id = media_ids.begin(); id != media_ids.end(); ++id) {
    vael::require_media(handle, *id);
    if (std::find(media_ids.begin(), id, *id) != id) {
      throw std::runtime_error("media " + std::to_string(*id) + " is named twice");
    }
    edit(order, *id);
  }
  album.set_media_order(order);
  return order.size();
}

}  // namespace

std::string describe_tag(const vael::tag& t) {
  return "tag " + std::to_string(t.get_id()) + " '" + t.get_name() + "'";
}

vael::tag find_album(const vael::connection_handle& handle, int id) {
  const vael::tag t = find_in_albums(handle, id);
  if (!(in_albums(handle, t) && t.media_is_ordered() && t.can_tag_media())) {
    throw std::runtime_error(describe_tag(t) +
                             " is not an album: media go into the albums of collection_ns, "
                             "which keep them in order");
  }
  return t;
}

vael::tag find_album_group(const vael::connection_handle& handle, int id) {
  const vael::tag t = find_in_albums(handle, id);
  if (!(in_albums(handle, t) && t.get_type_name() == type_name::collection_group)) {
    throw std::runtime_error(describe_tag(t) +
                             " is not an album group: albums and groups go at the top of "
                             "collection_ns or under an album group");
  }
  return t;
}

vael::tag create_album(const vael::connection_handle& handle, const std::string& name,
                       int group_id) {
  return create_in_albums(handle, name, group_id, album_type());
}

vael::tag create_album_group(const vael::connection_handle& handle, const std::string& name,
                             int group_id) {
  return create_in_albums(handle, name, group_id, album_group_type());
}

std::size_t add_to_album(const vael::connection_handle& handle, vael::tag& album,
                         const std::vector<int>& media_ids) {
  return change_album(handle, album, media_ids, [&](std::vector<int>& order, int id) {
    if (std::find(order.begin(), order.end(), id) != order.end()) {
      throw std::runtime_error("media " + std::to_string(id) + " is in " + describe_tag(album) +
                               " already: an album holds a media once");
    }
    order.push_back(id);
  });
}

std::size_t remove_from_album(const vael::connection_handle& handle, vael::tag& album,
                              const std::vector<int>& media_ids) {
  return change_album(handle, album, media_ids, [&](std::vector<int>& order, int id) {
    const auto at = std::find(order.begin(), order.end(), id);
    if (at == order.end()) {
      throw std::runtime_error("media " + std::to_string(id) + " is not in " + describe_tag(album));
    }
    order.erase(at);
  });
}

}  // namespace vael_util
