#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/tag_base.h"

namespace vael {

// Questions about the tags of many media, asked of one namespace tag `ns`: each answer keeps
// only tags whose namespace is `ns`. An empty id list gives an empty answer without SQL.
// Long id lists go to SQL through a temporary table, never an IN list.

// Ids of the namespace's tags on the media.
std::vector<int> get_tags_on_media(const tag_base& ns, int media_id);
// Ids of every tag on the media, of any namespace.
std::vector<int> get_all_tags_on_media(const connection_handle& handle, int media_id);
// Ids of the namespace's tags that every one of the media carries.
std::vector<int> get_tags_on_all_media(const tag_base& ns, const std::vector<int>& media_ids);
// Ids of the namespace's tags that any of the media carries; with `leaves_only`, only tags
// that cannot have children.
std::vector<int> get_tags_on_any_media(const tag_base& ns, const std::vector<int>& media_ids,
                                       bool leaves_only);
// (tag id, count of the media carrying it), most frequent first. Unless `keep_rare`, a tag
// needs more than three of the media. A non-zero `minimum_score` keeps only tags whose
// omb:faceStackComplianceScore is at least that.
std::vector<std::pair<int, int>> get_tag_frequencies(const tag_base& ns,
                                                     const std::vector<int>& media_ids,
                                                     bool leaves_only, int keep_rare,
                                                     int minimum_score);
// Whether any of the media carries a tag of the namespace named other than `name`.
bool has_other_named_tag(const tag_base& ns, const std::vector<int>& media_ids, bool leaves_only,
                         const std::string& name);

// The statement of get_tags_on_all_media for `count` media: one self join per media.
std::string tags_on_all_media_sql(std::size_t count);

}  // namespace vael
