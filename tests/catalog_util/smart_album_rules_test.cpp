#include "catalog_util/search/smart_album_rules.h"

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <string>

#include "tests/catalog/catalog_test_support.h"

namespace {

using vael_util::smart_album_from_json;

TEST(SmartAlbumRules, NamesBecomeTheCompilersNumbersAndQuantitiesFillTheTables) {
  const vael_util::advanced_metadata_search album = smart_album_from_json(R"({
    "name": "Best", "match": "any",
    "lookup": {"f_numbers": [2.8], "file_types": ["jpg,jpeg"]},
    "rules": [
      {"field": "rating", "op": "at least", "value": 3},
      {"field": "rating", "op": "at most", "value": 1, "label": "poor"},
      {"field": "f-number", "op": "between", "value": 4, "value2": 2.8},
      {"field": "exposure time", "value": 0.004},
      {"field": "width", "op": "between", "value": 1920, "value2": 0.5},
      {"field": "capture date", "op": "within the last", "count": 2, "unit": "months"},
      {"field": "tag date", "op": "before", "date": "2014-01-31"},
      {"field": "in version stack", "value": false},
      {"field": "location", "op": "within", "longitude": -5.5, "latitude": 40, "distance": 3,
       "unit": "km"},
      {"field": 24, "op": 0, "index": 0}
    ]})");
  EXPECT_EQ(album.name, "Best");
  EXPECT_FALSE(album.match_all_rules);
  ASSERT_EQ(album.rules.size(), 10u);
  const auto& r = album.rules;
  // "at least 3" is "above 2"; "at most 1" is "below 2"; quantities go into the tables once.
  EXPECT_TRUE(r[0].rule_op == 3 && r[0].value == 2 && r[1].rule_op == 2 && r[1].value == 2);
  EXPECT_TRUE(r[2].value == 1 && r[2].value2 == 0 && r[3].value == 0 && r[1].label == "poor");
  EXPECT_EQ(album.f_number_table, (std::vector<double>{2.8, 4}));
  EXPECT_EQ(r[4].text + " " + r[4].text2, "1920 0.5");
  EXPECT_EQ(r[6].date, boost::posix_time::time_from_string("2014-01-31 00:00:00"));
  EXPECT_TRUE(r[5].unit == 2 && r[7].value == 1 && r[8].distance_unit != 0.0 &&
              r[9].rule_field == 24);
  const std::vector<std::pair<const char*, const char*>> refusals = {
      {"[1]", "the rules are one JSON object"},
      {"{", "the rules are no JSON"},
      {R"({"match": "some"})", "'match' is 'all' or 'any'"},
      {R"({"rules": [{"field": "colour"}]})", "rule 1: unknown field"},
      {R"({"rules": [{"field": "rating", "op": "about", "value": 1}]})",
       "rule 1: 'about' is no operator of 'rating'"},
      {R"({"rules": [{"field": "rating", "value": 1.5}]})", "rule 1: 'value' must be a whole"},
      {R"({"rules": [{"field": "width", "op": "between", "value": 1}]})",
       "rule 1: 'width' needs 'value2'"},
      {R"({"rules": [{"field": "tag", "tag": 1}, {"field": "tag", "tags": 1}]})",
       "rule 2: unknown key 'tags'"},
      {R"({"rules": [{"field": "orientation", "value": "square"}]})",
       "rule 1: 'value' of 'orientation' is one of 'portrait', 'landscape'"},
      {R"({"rules": [{"field": "capture date", "date": "31.01.2014"}]})",
       "rule 1: 'date' must read like"},
  };
  for (const auto& refusal : refusals) {
    const std::string got =
        vael_test::message_of<std::invalid_argument>([&] { smart_album_from_json(refusal.first); });
    EXPECT_EQ(got.rfind(refusal.second, 0), 0u) << refusal.first << " gave " << got;
  }
}

}  // namespace
