#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "dbl/database.h"

namespace vael {

// Row-level questions the layers above ask of a catalog before they act, so that a refusal
// can name what is missing before anything is written.

// The path the catalog was opened from, for placing files relative to it.
std::string catalog_path(const connection_handle& handle);

// Whether the catalog has a media, tag (namespaces included) or media stack of that id.
bool media_exists(const connection_handle& handle, int id);
bool tag_exists(const connection_handle& handle, int id);
bool media_stack_exists(const connection_handle& handle, int id);

// Throws std::runtime_error "there is no media N" unless media `id` exists.
void require_media(const connection_handle& handle, int id);

// Every media id, ascending.
std::vector<int> all_media_ids(const connection_handle& handle);

// What a listing shows of a media.
struct media_listing_t {
  int id = 0;
  int volume_id = 0;
  std::string mime_type;
  std::string filepath;  // relative to the volume
};
// Every media by ascending id, read in one pass over media_table without loading whole rows
// or touching the media cache, so that listing a large catalog costs what its rows do.
std::vector<media_listing_t> list_all_media(const connection_handle& handle);
// The media the tag holds, in its order, read the same way in one pass.
std::vector<media_listing_t> list_media_of_tag(const connection_handle& handle, int tag_id);

struct catalog_counts {
  int media = 0;
  int tags = 0;  // namespaces included
  int volumes = 0;
};
catalog_counts count_catalog_rows(const connection_handle& handle);

// What SQLite's integrity check finds wrong in a catalog file; empty when nothing is.
std::vector<std::string> integrity_problems(dbl::database& db);

}  // namespace vael
