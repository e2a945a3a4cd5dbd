#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"

namespace vael_util {

// The localised names a host gives a new catalog's first tags, read by entry number. Entries
// the library does not read may hold anything.
using default_tag_names = std::vector<std::string>;

namespace default_tag_entry {
// Entries 1 to 3 name person tags, 6 to 8 custom tags.
inline constexpr std::size_t first_person = 1;
inline constexpr std::size_t first_custom = 6;
inline constexpr std::size_t miscellaneous = 9;
inline constexpr std::size_t qr_code = 10;
inline constexpr std::size_t smart_album_parent = 13;
}  // namespace default_tag_entry

// The value of db:initialize_revision that marks a catalog as given its defaults.
inline constexpr int catalog_defaults_revision = 19;

// The catalog's db:initialize_revision; 0 when it has none.
int read_initialize_revision(const vael::connection_handle& handle);

// Gives a catalog below catalog_defaults_revision its defaults: the default metadata
// descriptions, the well-known namespaces, the Hidden tag, the rejected-face tag and the
// revision. Person, custom, miscellaneous and QR code tags (and event_ns, person_ns,
// place_ns) are made only for a catalog that had no revision at all, so that a user who
// removed them after an earlier initialisation does not get them back. A catalog at the
// revision is left untouched. Throws std::invalid_argument when `names` is too short for the
// entries it would read, before any change.
// REQUIRES: an open transaction, which a failure leaves for the caller to roll back.
void initialize_catalog_defaults(const vael::connection_handle& handle,
                                 const default_tag_names& names);

// The id of the top-level smartcollect_ns tag of type smartcollect named by entry 13 of
// `names`, made when missing. Throws std::invalid_argument when `names` has no entry 13.
// REQUIRES: an open transaction when it may be made.
int find_or_create_smart_album_parent(const vael::connection_handle& handle,
                                      const default_tag_names& names);

// How many names the content analysis tree takes.
inline constexpr std::size_t content_analysis_tag_count = 60;

// Makes the fixed content analysis tree, node n named names[n], under
// vdl_content_analysis_tag_ns (node 0 and its subtree) and
// vdl_content_analysis_hidden_tag_ns (node 1 and its subtree); nodes already present by name
// are kept. Does nothing when both namespaces exist. Throws std::invalid_argument when
// `names` holds fewer than content_analysis_tag_count names, before any change.
// REQUIRES: an open transaction.
void create_content_analysis_tags(const vael::connection_handle& handle,
                                  const std::vector<std::string>& names);

}  // namespace vael_util
