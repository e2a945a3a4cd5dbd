#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog_util/search/query.h"

namespace vael_util {

// What a smart album rule tests (`search_rule::rule_field`). The numbers are stored in saved
// searches; numbers not listed here make a rule that adds nothing. The seven tag fields
// differ only in how the host presents them.
enum rule_field_kind : std::int32_t {
  rule_file_name = 0,
  rule_project_file_name = 1,
  rule_tag_2 = 2,
  rule_tag_3 = 3,
  rule_rating = 4,
  rule_make = 5,
  rule_model = 6,
  rule_capture_date = 7,
  rule_tag_date = 8,
  rule_image_description = 9,
  rule_width = 10,
  rule_height = 11,
  rule_file_size = 12,
  rule_pixel_count = 13,
  rule_creator = 14,
  rule_exposure_time = 15,
  rule_exposure_program = 16,
  rule_exposure_bias = 17,
  rule_f_number = 18,
  rule_iso = 19,
  rule_focal_length = 20,
  rule_flash = 21,
  rule_orientation = 22,
  rule_album_notes = 23,
  rule_file_extension = 24,
  rule_media_kind = 25,
  rule_media_stack = 26,
  rule_version_stack = 27,
  rule_project_kind = 28,
  rule_tag_29 = 29,
  rule_frame_rate = 30,
  rule_duration = 31,
  rule_media_format = 32,
  rule_tag_33 = 33,
  rule_tag_34 = 34,
  rule_tag_35 = 35,
  rule_folder_name = 36,
  rule_location = 37,
  rule_resolution = 38,
  rule_tag_39 = 39,
};

// Common meanings of `search_rule::rule_op`; each field reads it its own way.
enum rule_op_kind : std::int32_t {
  // Texts of the file and folder name fields.
  op_name_is = 0,
  op_begins_with = 1,
  op_ends_with = 2,
  op_contains = 3,
  op_does_not_contain = 4,
  // Dates.
  op_on = 0,
  op_before = 1,
  op_after = 2,
  op_within_the_last = 3,
  // Locations.
  op_near_place = 0,
  op_within_distance = 1,
};

// `search_rule::unit` of a relative date.
enum rule_date_unit : std::int32_t { unit_days = 0, unit_weeks = 1, unit_months = 2 };

struct search_rule {
  std::string label;
  std::int32_t reserved = 0, rule_field = 0, rule_op = 0, value = 0, value2 = 0, tag_id = 0;
  std::string text, text2;
  boost::posix_time::ptime date;  // default not-a-date-time
  std::int32_t count = 0, unit = 0, distance = 0;
  double distance_unit = 0.0;  // 0.0 means miles
  std::string place_name;
  std::int32_t place_id = -1;
  double longitude = -181.0, latitude = -91.0;
  bool flag = false;
};

// A smart album: media matching every rule (`match_all_rules`) or any rule. The four tables
// are filled by the host before compiling; a rule's `value` indexes them, and they are not
// part of the stored text. `reserved` and `flag` are stored only.
struct advanced_metadata_search {
  virtual ~advanced_metadata_search() = default;
  std::vector<search_rule> rules;
  bool match_all_rules = true;
  std::string name;
  std::vector<double> f_number_table, exposure_time_table;
  std::vector<int> iso_table;
  std::vector<std::string> file_type_extensions;
};

// Local "now" for relative dates ("within the last"); tests and the CLI set it. An empty
// function restores the system clock (local time).
void set_search_clock(std::function<boost::posix_time::ptime()> now);
boost::posix_time::ptime search_now();

// Equal when every stored field is, decimals to the six significant digits they are stored
// with; the lookup tables and `distance_unit`, which the stored text does not keep, are not
// compared.
bool search_equals(const advanced_metadata_search& a, const advanced_metadata_search& b);
std::string search_serialize(const advanced_metadata_search& s);
// Throws std::runtime_error for malformed text ("bad cast" for a match flag or rule flag that
// is no boolean); a count of rules is trusted only as far as the text holds rules.
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 advanced_metadata_search& s);
// One statement for all rules. A search whose rules add no condition narrows nothing (no
// SQL). Throws std::out_of_range "invalid vector<T> subscript" for a `value` outside its
// lookup table, std::runtime_error "bad cast" for an operand text that is no number, and
// std::logic_error when a description the rule needs is missing.
query_t search_build_query(const vael::connection_handle& handle, const advanced_metadata_search& s,
                           const std::string& table);

}  // namespace vael_util
