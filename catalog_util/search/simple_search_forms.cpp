// Equality and stored text of the simple searches.

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "catalog_util/search/criteria_serialization.h"
#include "catalog_util/search/simple_searches.h"

namespace vael_util {
namespace {

namespace pt = boost::posix_time;

// For the classes without fields.
template <typename Search>
std::uint64_t read_nothing(std::uint64_t pos, Search& s) {
  s = Search();
  return pos;
}

}  // namespace

bool search_equals(const all_media_stacks_search&, const all_media_stacks_search&) {
  return true;
}
std::string search_serialize(const all_media_stacks_search&) {
  return {};
}
std::uint64_t search_deserialize(const std::string&, std::uint64_t pos,
                                 all_media_stacks_search& s) {
  return read_nothing(pos, s);
}

bool search_equals(const all_version_stacks_search&, const all_version_stacks_search&) {
  return true;
}
std::string search_serialize(const all_version_stacks_search&) {
  return {};
}
std::uint64_t search_deserialize(const std::string&, std::uint64_t pos,
                                 all_version_stacks_search& s) {
  return read_nothing(pos, s);
}

bool search_equals(const unknown_date_search&, const unknown_date_search&) {
  return true;
}
std::string search_serialize(const unknown_date_search&) {
  return {};
}
std::uint64_t search_deserialize(const std::string&, std::uint64_t pos, unknown_date_search& s) {
  return read_nothing(pos, s);
}

bool search_equals(const user_tag_search& a, const user_tag_search& b) {
  return a.include_tag_ids == b.include_tag_ids && a.exclude_tag_ids == b.exclude_tag_ids;
}
std::string search_serialize(const user_tag_search& s) {
  return serialize_id_list(s.include_tag_ids) + serialize_id_list(s.exclude_tag_ids);
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos, user_tag_search& s) {
  s.include_tag_ids = read_id_list(text, pos, &pos);
  s.exclude_tag_ids = read_id_list(text, pos, &pos);
  return pos;
}

bool search_equals(const filename_search& a, const filename_search& b) {
  return a.filename == b.filename;
}
std::string search_serialize(const filename_search& s) {
  return serialize_string(s.filename);
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos, filename_search& s) {
  s.filename = read_string(text, pos, &pos);
  return pos;
}

bool search_equals(const not_tagged_search& a, const not_tagged_search& b) {
  return a.namespaces == b.namespaces;
}
// Only the first namespace is stored, and an empty list stores nothing at all, which no
// reader can tell from the next field: the stored form has always been so.
std::string search_serialize(const not_tagged_search& s) {
  return s.namespaces.empty() ? std::string() : serialize_string(s.namespaces.front());
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos, not_tagged_search& s) {
  s.namespaces = {read_string(text, pos, &pos)};
  return pos;
}

bool search_equals(const media_has_metadata_search& a, const media_has_metadata_search& b) {
  return a.description_id == b.description_id;
}
std::string search_serialize(const media_has_metadata_search& s) {
  return serialize_number(s.description_id);
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 media_has_metadata_search& s) {
  s.description_id = read_int(text, pos, &pos);
  return pos;
}

bool search_equals(const history_tag_search& a, const history_tag_search& b) {
  return a.tag_ids == b.tag_ids && a.name == b.name;
}
std::string search_serialize(const history_tag_search& s) {
  return serialize_id_list(s.tag_ids) + serialize_string(s.name);
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 history_tag_search& s) {
  s.tag_ids = read_id_list(text, pos, &pos);
  s.name = read_string(text, pos, &pos);
  return pos;
}

bool search_equals(const creation_usage_search& a, const creation_usage_search& b) {
  return a.creation_ids == b.creation_ids;
}
std::string search_serialize(const creation_usage_search& s) {
  return serialize_id_list(s.creation_ids);
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 creation_usage_search& s) {
  s.creation_ids = read_id_list(text, pos, &pos);
  return pos;
}

bool search_equals(const calendar_day_search& a, const calendar_day_search& b) {
  return a.day == b.day;
}
// The day is stored as the instant of its midnight.
std::string search_serialize(const calendar_day_search& s) {
  return serialize_string(instant_text(pt::ptime(s.day)));
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 calendar_day_search& s) {
  s.day = instant_of(read_string(text, pos, &pos)).date();
  return pos;
}

bool search_equals(const foldername_search& a, const foldername_search& b) {
  return a.folder == b.folder && a.volume_id == b.volume_id;
}
std::string search_serialize(const foldername_search& s) {
  return serialize_string(s.folder) + serialize_number(s.volume_id);
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos, foldername_search& s) {
  s.folder = read_string(text, pos, &pos);
  s.volume_id = read_int(text, pos, &pos);
  return pos;
}

bool search_equals(const missing_file_search&, const missing_file_search&) {
  return true;
}
std::string search_serialize(const missing_file_search& s) {
  return serialize_id_list(s.media_ids);
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 missing_file_search& s) {
  s.media_ids = read_id_list(text, pos, &pos);
  return pos;
}

bool search_equals(const unanalyzed_asset_search& a, const unanalyzed_asset_search& b) {
  return a.image_tag_ids == b.image_tag_ids && a.video_tag_ids == b.video_tag_ids &&
         a.audio_tag_ids == b.audio_tag_ids;
}
std::string search_serialize(const unanalyzed_asset_search& s) {
  return serialize_id_list(s.image_tag_ids) + serialize_id_list(s.video_tag_ids) +
         serialize_id_list(s.audio_tag_ids);
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 unanalyzed_asset_search& s) {
  s.image_tag_ids = read_id_list(text, pos, &pos);
  s.video_tag_ids = read_id_list(text, pos, &pos);
  s.audio_tag_ids = read_id_list(text, pos, &pos);
  return pos;
}

}  // namespace vael_util
