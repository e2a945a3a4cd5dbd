// Equality and stored text of smart albums.

#include <boost/lexical_cast.hpp>
#include <stdexcept>

#include "catalog_util/search/criteria_serialization.h"
#include "catalog_util/search/smart_album_search.h"

namespace vael_util {
namespace {

std::string flag_text(bool flag) {
  return flag ? "1" : "0";
}

// The stored booleans go through the lexical conversion, which also takes "+1", "+0", "-0".
bool flag_of(const std::string& text) {
  try {
    return boost::lexical_cast<bool>(text);
  } catch (const boost::bad_lexical_cast&) {
    throw std::runtime_error("bad cast");
  }
}

// Decimals are equal as stored, to six significant digits: a search read back from its text
// equals the search written.
bool same_decimal(double a, double b) {
  return serialize_number(a) == serialize_number(b);
}

bool rules_equal(const search_rule& a, const search_rule& b) {
  return a.label == b.label && a.reserved == b.reserved && a.rule_field == b.rule_field &&
         a.rule_op == b.rule_op && a.value == b.value && a.value2 == b.value2 &&
         a.tag_id == b.tag_id && a.text == b.text && a.text2 == b.text2 && a.date == b.date &&
         a.count == b.count && a.unit == b.unit && a.distance == b.distance &&
         a.place_name == b.place_name && a.place_id == b.place_id &&
         same_decimal(a.longitude, b.longitude) && same_decimal(a.latitude, b.latitude) &&
         a.flag == b.flag;
}

std::string rule_text(const search_rule& r) {
  return serialize_number(r.reserved) + serialize_number(r.rule_field) +
         serialize_number(r.rule_op) + serialize_number(r.value) +
         serialize_string(instant_text(r.date)) + serialize_string(r.text) +
         serialize_string(r.text2) + serialize_number(r.value2) + serialize_number(r.tag_id) +
         serialize_number(r.count) + serialize_number(r.unit) + serialize_number(r.distance) +
         serialize_number(r.distance_unit) + serialize_string(r.place_name) +
         serialize_number(r.longitude) + serialize_number(r.latitude) +
         serialize_number(r.place_id) + serialize_string(r.label) +
         serialize_string(flag_text(r.flag));
}

std::uint64_t read_rule(const std::string& text, std::uint64_t pos, search_rule& r) {
  r.reserved = read_int(text, pos, &pos);
  r.rule_field = read_int(text, pos, &pos);
  r.rule_op = read_int(text, pos, &pos);
  r.value = read_int(text, pos, &pos);
  r.date = instant_of(read_string(text, pos, &pos));
  r.text = read_string(text, pos, &pos);
  r.text2 = read_string(text, pos, &pos);
  r.value2 = read_int(text, pos, &pos);
  r.tag_id = read_int(text, pos, &pos);
  r.count = read_int(text, pos, &pos);
  r.unit = read_int(text, pos, &pos);
  r.distance = read_int(text, pos, &pos);
  // The unit is stepped over, not read: a read rule measures in miles.
  read_fields(text, pos, &pos);
  r.place_name = read_string(text, pos, &pos);
  r.longitude = read_decimal(text, pos, &pos);
  r.latitude = read_decimal(text, pos, &pos);
  const int place_id = read_int(text, pos, &pos);
  r.place_id = place_id > 0 ? place_id : -1;
  r.label = read_string(text, pos, &pos);
  r.flag = flag_of(read_string(text, pos, &pos));
  return pos;
}

}  // namespace

bool search_equals(const advanced_metadata_search& a, const advanced_metadata_search& b) {
  if (a.name != b.name || a.match_all_rules != b.match_all_rules ||
      a.rules.size() != b.rules.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.rules.size(); ++i) {
    if (!rules_equal(a.rules[i], b.rules[i])) return false;
  }
  return true;
}

std::string search_serialize(const advanced_metadata_search& s) {
  std::string text = serialize_string(s.name) + serialize_string(flag_text(s.match_all_rules)) +
                     serialize_number(static_cast<std::int64_t>(s.rules.size()));
  for (const search_rule& r : s.rules) text += rule_text(r);
  return text;
}

std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 advanced_metadata_search& s) {
  s = advanced_metadata_search();
  s.name = read_string(text, pos, &pos);
  s.match_all_rules = flag_of(read_string(text, pos, &pos));
  const std::int64_t count = read_number(text, pos, &pos);
  if (count < 0) {
    throw std::runtime_error(
        "The number was not serialized properly and could not be deserialized.");
  }
  // Rules are added as they are read, never reserved by the count: a count is only a claim.
  for (std::int64_t i = 0; i < count; ++i) {
    search_rule r;
    pos = read_rule(text, pos, r);
    s.rules.push_back(std::move(r));
  }
  return pos;
}

}  // namespace vael_util
