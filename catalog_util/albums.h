#pragma once

#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/tag.h"

namespace vael_util {

// The rules of albums: ordered tags of collection_ns that hold each media once, and album
// groups (collection_group), which hold albums and groups but no media. Refusals throw
// std::runtime_error naming the tag as "tag ID 'NAME'" and the rule, before anything is
// written.

// "tag ID 'NAME'", the way refusals name a tag.
std::string describe_tag(const vael::tag& t);

// The album or album group of that id. Throws "there is no tag N", or "... is not an album:
// media go into the albums of collection_ns, which keep them in order", or "... is not an
// album group: albums and groups go at the top of collection_ns or under an album group".
vael::tag find_album(const vael::connection_handle& handle, int id);
vael::tag find_album_group(const vael::connection_handle& handle, int id);

// A new album or album group at the top of collection_ns, or under the album group
// `group_id` when it is not 0; refused as find_album_group() for another tag.
// REQUIRES: an open transaction.
vael::tag create_album(const vael::connection_handle& handle, const std::string& name,
                       int group_id = 0);
vael::tag create_album_group(const vael::connection_handle& handle, const std::string& name,
                             int group_id = 0);

// Appends media to an album in the order given. Refuses a media that does not exist, one
// named twice ("media N is named twice") or one the album holds ("media N is in tag ...
// already: an album holds a media once"). Returns the album's media count after.
// REQUIRES: an open transaction.
std::size_t add_to_album(const vael::connection_handle& handle, vael::tag& album,
                         const std::vector<int>& media_ids);
// Takes media out of an album, the others keep their order. Refuses as add_to_album(), and a
// media the album does not hold ("media N is not in tag ..."). Returns the count after.
// REQUIRES: an open transaction.
std::size_t remove_from_album(const vael::connection_handle& handle, vael::tag& album,
                              const std::vector<int>& media_ids);

}  // namespace vael_util
