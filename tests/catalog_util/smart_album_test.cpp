#include <algorithm>
#include <boost/algorithm/string/split.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cmath>
#include <map>
#include <optional>
#include <random>

#include "catalog/media.h"
#include "catalog/media_date.h"
#include "catalog/media_stack.h"
#include "catalog/metadata_view.h"
#include "catalog/version_stack.h"
#include "catalog_util/file_types.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/search/search_runner.h"
#include "catalog_util/search/smart_album_search.h"
#include "catalog_util/well_known_tags.h"
#include "tests/catalog_util/search_test_support.h"

namespace {

namespace pt = boost::posix_time;
namespace greg = boost::gregorian;
namespace id = vael_util::metadata_identifier;
namespace mime = vael_util::creation_mime_type;
using vael_util::advanced_metadata_search;
using vael_util::search_criteria;
using vael_util::search_rule;
using ids = std::vector<int>;

using namespace vael_test;

const pt::ptime now = at(2014, 3, 15, 10);

// What the test knows of each media; every rule's answer is worked out from it.
struct row {
  std::string name, mime;
  pt::ptime begin, end;
  std::vector<std::string> tags;
  std::map<std::string, std::string> md;
  int id = 0;
};

bool begins(const std::string& s, const std::string& p) {
  return lower(s).rfind(lower(p), 0) == 0;
}
bool ends(const std::string& s, const std::string& p) {
  return s.size() >= p.size() && lower(s).compare(s.size() - p.size(), p.size(), lower(p)) == 0;
}
// The answer of rule_op or value `i`.
bool pick(std::initializer_list<bool> answers, int i) {
  return *(answers.begin() + i);
}
template <typename T>
T item(const std::vector<T>& table, int index) {
  return table.at(static_cast<std::size_t>(index));
}

search_rule rule(int field, int op, int value = 0, std::string text = "", std::string text2 = "") {
  search_rule r;
  r.rule_field = field;
  r.rule_op = op;
  r.value = r.value2 = value;
  r.text = std::move(text);
  r.text2 = std::move(text2);
  return r;
}
search_rule dated(int field, int op, pt::ptime date, int count = 0, int unit = 0) {
  search_rule r = rule(field, op);
  r.date = date;
  r.count = count;
  r.unit = unit;
  return r;
}
search_rule place(int op, double lon, double lat, int distance = 0, double unit = 0.0) {
  search_rule r = rule(37, op);
  r.longitude = lon;
  r.latitude = lat;
  r.distance = distance;
  r.distance_unit = unit;
  return r;
}

// The metadata each field tests.
// clang-format off
const std::map<int, const char*> field_md = {
    {4, id::rating}, {5, id::make}, {6, id::model}, {9, id::image_description},
    {10, id::image_width}, {11, id::image_height}, {12, id::file_size}, {14, id::creator},
    {15, id::exposure_time}, {16, id::exposure_program}, {17, id::exposure_bias},
    {18, id::f_number}, {19, id::iso_speed_ratings}, {20, id::focal_length}, {21, id::flash},
    {23, id::album_notes}, {30, id::frame_rate}, {31, id::media_duration},
    {32, id::media_format}, {36, id::folder_name}, {38, id::resolution}};
// clang-format on

class SmartAlbum : public search_catalog {
 protected:
  void TearDown() override { vael_util::set_search_clock({}); }

  SmartAlbum() {
    // clang-format off
    rows_ = {
        {"IMG_0001.JPG", "image/jpeg", at(2014, 1, 31, 23, 59, 59), at(2014, 1, 31, 23, 59, 59), {"A"},
         {{id::rating, "5"}, {id::image_width, "4000"}, {id::image_height, "3000"},
          {id::file_size, "2e6"}, {id::exposure_time, "0.008"}, {id::exposure_bias, "-0.7"},
          {id::f_number, "2.8"}, {id::iso_speed_ratings, "100"}, {id::focal_length, "50"},
          {id::exposure_program, "2"}, {id::flash, "1"}, {id::gps_longitude, "10.25"},
          {id::gps_latitude, "60"}, {id::make, "Canon"}, {id::model, "EOS_5D"},
          {id::creator, "Ann O'Neil"}, {id::folder_name, "photos_2014"}}},
        {"imgx0001.jpg", "image/jpeg", at(2014, 2, 1), at(2014, 2, 1), {"B"},
         {{id::rating, "0"}, {id::image_width, "3000"}, {id::image_height, "4000"},
          {id::file_size, "5e5"}, {id::exposure_time, "0.0166667"}, {id::f_number, "4"},
          {id::iso_speed_ratings, "200"}, {id::focal_length, "35.5"}, {id::flash, "16"},
          {id::gps_longitude, "10.5"}, {id::gps_latitude, "60"}, {id::make, "NIKON"},
          {id::model, "EOS55D"}, {id::folder_name, "photosX2014"}}},
        {"100%.png", "image/png", at(2014, 1, 31), at(2014, 2, 1), {"A", "C"},
         {{id::rating, "3"}, {id::image_width, "1000"}, {id::image_height, "1000"},
          {id::iso_speed_ratings, "400"}, {id::f_number, "5.6"}, {id::exposure_time, "0.5"},
          {id::exposure_bias, "0"}, {id::gps_longitude, "-6"}, {id::gps_latitude, "40.2"},
          {id::image_description, "a 100% day"}, {id::album_notes, "notes here"},
          {id::folder_name, "Trips/Rome"}}},
        {"clip.mov", "video/quicktime", at(2014, 3, 1), at(2014, 3, 1), {"C"},
         {{id::frame_rate, "29.97"}, {id::media_duration, "12.5"}, {id::file_size, "9e7"},
          {id::media_format, "MPEG-4"}, {id::resolution, "1920x1080"}, {id::folder_name, "trips"}}},
        {"clip2.MP4", "video/mp4", at(2014, 2, 28, 23, 59, 59), at(2014, 2, 28, 23, 59, 59), {"D"},
         {{id::frame_rate, "25"}, {id::media_duration, "60"}, {id::gps_longitude, "-5.5"},
          {id::gps_latitude, "40"}, {id::media_format, "AVCHD"}, {id::resolution, "1280x720"},
          {id::folder_name, "ab_c"}}},
        {"song.mp3", "audio/mpeg", unknown_begin, unknown_end, {}, {{id::rating, "1"}}},
        {"doc.pdf", "application/pdf", at(2013, 12, 31, 23, 59, 59), at(2014, 1, 1), {}, {}},
        {"show.omss", mime::slideshow, at(2014, 3, 15, 9), at(2014, 3, 15, 9), {"D"}, {{id::file_size, "100"}}},
        {"velo.omssc", mime::velo_slideshow, unknown_begin, unknown_end, {}, {{id::file_size, "100"}}},
        {"gallery.vmg", mime::flicker_gallery, unknown_begin, unknown_end, {}, {}},
        {"project.omb", "application/omb", unknown_begin, unknown_end, {}, {}},
        {"flick.flk", "application/x-glimmerwave-flicker", unknown_begin, unknown_end, {}, {}},
        {"photo.ombra", "application/vnd.norvane.ombra", at(2014, 3, 14), at(2014, 3, 14), {}, {{id::rating, "4"}}},
    };
    // clang-format on
    tag_dates_ = {{"A", at(2014, 1, 31)}, {"B", at(2014, 1, 31, 15)}, {"D", at(2014, 3, 10)}};
    write([&] {
      const int disk = defaults_and_disk("Disk");
      const auto user = vael::get_custom_tag_namespace(h(), vael_util::ns_name::user);
      for (const char* name : {"A", "B", "C", "D"}) {
        tags_[name] = user.create_tag(name, vael_test::misc_leaf_type()).get_id();
        if (tag_dates_.count(name) != 0) {
          vael_util::create_tag_metadata(h(), id::tag_date, 3, tags_[name], tag_dates_[name]);
        }
      }
      for (row& r : rows_) {
        r.id = vael::media::create_master(h(), disk, "/m/" + r.name, r.mime).get_id();
        vael::media::get_media(h(), r.id).set_date(vael::from_search_range(r.begin, r.end));
        for (const auto& [identifier, v] : r.md) {
          switch (vael::metadata_view_t(h()).get_description(identifier).get_data_type()) {
            case vael::metadata_data_type::integer_type:
              vael_util::create_media(h(), identifier, 0, r.id, std::llround(std::stod(v)));
              break;
            case vael::metadata_data_type::decimal_type:
              vael_util::create_media(h(), identifier, 0, r.id, std::stod(v));
              break;
            default:
              vael_util::create_media(h(), identifier, 0, r.id, v);
          }
        }
        for (const std::string& t : r.tags) vael::get_tag(h(), tags_[t]).tag_media(r.id);
      }
      vael::media_stack::create(h(), {rows_[0].id, rows_[1].id});
      vael::version_stack::create_version(h(), rows_[2].id, rows_[12].id);
    });
    search_.exposure_time_table = {0.0166667, 0.008, 0.5};
    search_.f_number_table = {2.8, 4, 5.6};
    search_.iso_table = {100, 200, 400};
    search_.file_type_extensions = {"jpg,jpeg", "mov,mp4,m4v", "a,b,c,d,e,f,g,h,i,j,k,png"};
  }

  // The rule's answer for one media; nothing when the rule adds no condition.
  std::optional<bool> expected(const row& m, const search_rule& r) const {
    const auto text_of = [&](const char* i) {
      const auto it = m.md.find(i);
      return it == m.md.end() ? std::optional<std::string>() : it->second;
    };
    const auto num = [&](const char* i) {
      const auto s = text_of(i);
      return s ? std::optional<double>(std::strtod(s->c_str(), nullptr)) : std::nullopt;
    };
    const int op = r.rule_op;
    const auto cmp = [&](std::optional<double> v, double a, double b = 0) {
      return v && pick({*v == a, *v > a, *v < a, *v >= a && *v < b}, op);
    };
    // "is" a narrow range around a decimal, and an inclusive range.
    const auto camera = [&](std::optional<double> v, double a, double b) {
      return v && pick({std::fabs(*v - a) <= 0.0001, *v > a, *v < a, *v >= a && *v <= b}, op);
    };
    const auto dates = [&](pt::ptime b, pt::ptime e) {
      return m.begin >= b && m.begin < e && m.end <= e;
    };
    const pt::ptime day_after = pt::ptime(r.date.date() + greg::days(1));
    const pt::ptime tomorrow = pt::ptime(now.date() + greg::days(1));
    const pt::ptime start =
        r.unit == 0   ? pt::ptime(now.date() - greg::days(r.count))
        : r.unit == 1 ? pt::ptime(now.date() - greg::days(7 * r.count))
                      : pt::ptime(greg::date(2014, static_cast<unsigned short>(3 - r.count), 15));
    const bool project = m.mime == mime::flicker_gallery || m.mime == "application/omb" ||
                         m.mime == mime::slideshow || m.mime == mime::velo_slideshow;
    const std::string& t = r.text;
    const std::string& name = m.name;
    const double x = std::strtod(t.c_str(), nullptr), x2 = std::strtod(r.text2.c_str(), nullptr);
    const char* md = field_md.count(r.rule_field) != 0 ? field_md.at(r.rule_field) : "";
    const auto v = num(md);
    const auto s = text_of(md);
    switch (r.rule_field) {
      case 0:
        return pick({begins(name, t + ".") || lower(name) == lower(t), begins(name, t),
                     ends(name, t), has(name, t), !has(name, t)},
                    op);
      case 1:
        return project && (op == 0) == has(name, t);
      case 2:
      case 33:
        return std::any_of(m.tags.begin(), m.tags.end(),
                           [&](const std::string& tag) { return tags_.at(tag) == r.tag_id; });
      case 4:
        if (op == 0 && r.value == 0) return !(v && *v > 0);
        return v && pick({*v == r.value, *v != r.value, *v<r.value, *v> r.value}, op);
      case 5:
      case 6:
      case 9:
      case 14:
      case 23:
        return (s && has(*s, t)) == (op == 0);
      case 7:
        return pick({dates(r.date, day_after), dates(unknown_begin, r.date),
                     dates(day_after, unknown_end), dates(start, tomorrow)},
                    op);
      case 8:
        return std::any_of(m.tags.begin(), m.tags.end(), [&](const std::string& tag) {
          const auto d = tag_dates_.find(tag);
          return d != tag_dates_.end() && pick({d->second > r.date && d->second <= day_after,
                                                d->second<r.date, d->second> r.date,
                                                d->second >= start && d->second < tomorrow},
                                               op);
        });
      case 10:
      case 11:
      case 30:
      case 31:
        return cmp(v, x, x2);
      case 12:
        return v && pick({*v > x, *v < x}, op) && !project;
      case 13:
      case 22: {
        const auto w = num(id::image_width), hh = num(id::image_height);
        if (!w || !hh) return false;
        return r.rule_field == 22 ? (r.value == 0 ? *w < *hh : *w >= *hh) : cmp(*w * *hh, x, x2);
      }
      case 15:
      case 18: {
        const auto& table =
            r.rule_field == 15 ? search_.exposure_time_table : search_.f_number_table;
        return camera(v, item(table, r.value), item(table, r.value2));
      }
      case 17:
      case 20:
        return camera(v, x, x2);
      case 19:
        return cmp(v, item(search_.iso_table, r.value));
      case 16:
        return v && *v == x;
      case 21:
        return v && (std::llround(*v) & 1) != r.value;
      case 24: {
        std::vector<std::string> exts;
        boost::algorithm::split(exts, t.empty() ? item(search_.file_type_extensions, r.value) : t,
                                [](char c) { return c == ','; });
        return std::any_of(exts.begin(), exts.end(),
                           [&](const std::string& e) { return ends(name, "." + e); });
      }
      case 25:
        return pick({begins(m.mime, "audio/"),
                     begins(m.mime, "video/") || begins(m.mime, "application/x-g"),
                     begins(m.mime, "image/") || begins(m.mime, "application/vnd.norvane.ombr"),
                     m.mime == "application/pdf", project},
                    r.value);
      case 26:
        return (m.id == rows_[0].id || m.id == rows_[1].id) == (r.value == 0);
      case 27:
        return (m.id == rows_[2].id || m.id == rows_[12].id) == (r.value == 0);
      case 28:
        return pick({m.mime == mime::flicker_gallery, m.mime == "application/omb",
                     m.mime == mime::slideshow || m.mime == mime::velo_slideshow},
                    r.value);
      case 32:
      case 38:
        if (op != 0) return std::nullopt;
        return s && lower(*s) == lower(t);
      case 36:
        return s &&
               pick({lower(*s) == lower(t), begins(*s, t), ends(*s, t), has(*s, t), !has(*s, t)},
                    op);
      case 37: {
        const auto lon = num(id::gps_longitude), lat = num(id::gps_latitude);
        if (!lon || !lat) return false;
        if (op != 0 && op != 1) return true;
        const auto cell = [](double p, double c) {
          return c <= 0 ? p >= c - 1 && p < c : p >= c && p < c + 1;
        };
        if (op == 0) return cell(*lon, r.longitude) && cell(*lat, r.latitude);
        // Flat distance: the rows stand well inside or well outside each radius.
        const double km = r.distance_unit == 0.0 ? r.distance * 1.61 : r.distance;
        return std::hypot((*lat - r.latitude) * 111.2,
                          (*lon - r.longitude) * 111.2 * std::cos(r.latitude * M_PI / 180)) <= km;
      }
      default:
        return std::nullopt;
    }
  }

  // The media the rules select together, each rule judged alone; all when none counts.
  ids combined(const std::vector<search_rule>& rules, bool all) const {
    ids out;
    for (const row& m : rows_) {
      std::optional<bool> hit;
      for (const search_rule& r : rules) {
        if (const auto e = expected(m, r)) hit = hit ? (all ? *hit && *e : *hit || *e) : *e;
      }
      if (hit.value_or(true)) out.push_back(m.id);
    }
    return out;
  }
  ids found(const std::vector<search_rule>& rules, bool all) const {
    advanced_metadata_search s = search_;
    s.rules = rules;
    s.match_all_rules = all;
    return vael_util::find_media(h(), search_criteria(s, 12));
  }

  std::vector<row> rows_;
  std::map<std::string, int> tags_;
  std::map<std::string, pt::ptime> tag_dates_;
  advanced_metadata_search search_;
};

TEST_F(SmartAlbum, EachRuleAndRandomListsFindWhatTheRowsSay) {
  vael_util::set_search_clock([] { return now; });
  search_rule tag_a = rule(2, 0), tag_c = rule(33, 0);
  tag_a.tag_id = tags_["A"];
  tag_c.tag_id = tags_["C"];
  // clang-format off
  const std::vector<search_rule> rules = {
      rule(0, 0, 0, "img_0001"), rule(0, 0, 0, "100%"), rule(0, 1, 0, "IMG_"), rule(0, 2, 0, ".jpg"),
      rule(0, 3, 0, "0%"), rule(0, 4, 0, "clip"), rule(0, 3, 0, "-"), rule(1, 0, 0, "o"),
      rule(1, 1, 0, "show"), tag_a, tag_c, rule(4, 0, 0), rule(4, 0, 3), rule(4, 1, 3), rule(4, 2, 3),
      rule(4, 3, 3), rule(5, 0, 0, "canon"), rule(6, 0, 0, "EOS_5D"), rule(6, 1, 0, "eos"),
      rule(9, 0, 0, "100%"), rule(14, 0, 0, "O'Neil"), rule(23, 1, 0, "here"),
      dated(7, 0, at(2014, 1, 31)), dated(7, 1, at(2014, 2, 1)), dated(7, 2, at(2014, 1, 31)),
      dated(7, 3, {}, 45, 0), dated(7, 3, {}, 2, 1), dated(7, 3, {}, 1, 2),
      dated(8, 0, at(2014, 1, 31)), dated(8, 1, at(2014, 1, 31, 12)), dated(8, 2, at(2014, 2, 1)),
      dated(8, 3, {}, 10, 0), rule(10, 0, 0, "4000"), rule(10, 3, 0, "1000", "3001"),
      rule(11, 1, 0, "3000"), rule(11, 2, 0, "3500"), rule(12, 0, 0, "1000"), rule(12, 1, 0, "1e6"),
      rule(13, 0, 0, "1000000"), rule(13, 1, 0, "1e7"), rule(13, 3, 0, "1000000", "12000001"),
      rule(15, 0, 1), rule(15, 1, 0), rule(15, 3, 1), rule(17, 2, 0, "0"), rule(17, 0, 0, "-0.7"),
      rule(18, 0, 0), rule(18, 3, 1), rule(19, 0, 1), rule(19, 1, 0), rule(20, 0, 0, "35.5"),
      rule(20, 2, 0, "40"), rule(16, 0, 0, "2"), rule(21, 0, 0), rule(21, 0, 1), rule(22, 0, 0),
      rule(22, 0, 1), rule(24, 0, 0, "jpg,png"), rule(24, 0, 1), rule(24, 0, 2), rule(25, 0, 0),
      rule(25, 0, 1), rule(25, 0, 2), rule(25, 0, 3), rule(25, 0, 4), rule(26, 0, 0), rule(26, 0, 1),
      rule(27, 0, 0), rule(27, 0, 1), rule(28, 0, 0), rule(28, 0, 1), rule(28, 0, 2),
      rule(30, 0, 0, "25"), rule(30, 1, 0, "26"), rule(31, 3, 0, "10", "60"),
      rule(32, 0, 0, "mpeg-4"), rule(32, 1, 0, "x"), rule(38, 0, 0, "1920x1080"),
      rule(36, 0, 0, "photos_2014"), rule(36, 1, 0, "trips"), rule(36, 2, 0, "rome"),
      rule(36, 3, 0, "2014"), rule(36, 4, 0, "photos"), rule(36, 0, 0, "a/b_c"),
      place(0, -5.5, 40), place(1, 10, 60, 10), place(1, 10, 60, 20, 1.0), place(2, 0, 0),
      rule(99, 0)};
  // clang-format on
  for (std::size_t i = 0; i < rules.size(); ++i) {
    EXPECT_EQ(found({rules[i]}, true), combined({rules[i]}, true)) << "rule " << i;
  }
  // Lists long enough for parameter names of two rules to meet: rule 0's ":md_value2" and
  // rule 20's ":md_value", the first "not rated" of rule 1 and rule 10's description, the
  // eleventh extension of rule 1 and the first of rule 11. The others match nothing.
  const auto padded = [](std::map<std::size_t, search_rule> chosen, std::size_t size) {
    std::vector<search_rule> list(size, rule(0, 3, 0, "zzz"));
    for (const auto& [i, r] : chosen) list[i] = r;
    return list;
  };
  for (const auto& list :
       {padded({{0, rule(10, 3, 0, "1000", "3001")}, {20, rule(11, 2, 0, "1000")}}, 21),
        padded({{1, rule(4, 0, 0)}, {10, rule(5, 0, 0, "canon")}}, 11),
        padded({{1, rule(24, 0, 0, "a,b,c,d,e,f,g,h,i,j,mp3")}, {11, rule(24, 0, 0, "pdf")}},
               12)}) {
    EXPECT_EQ(found(list, false), combined(list, false)) << list.size() << " rules";
  }
  std::mt19937 random(7);
  for (int i = 0; i < 200; ++i) {
    std::vector<search_rule> list(1 + random() % 24);
    for (search_rule& r : list) r = rules[random() % rules.size()];
    const bool all = i % 2 == 0;
    ASSERT_EQ(found(list, all), combined(list, all)) << "list " << i << (all ? " AND" : " OR");
  }
  // No rule, or none that counts: nothing is narrowed. Candidates are a table by name.
  EXPECT_EQ(found({}, false), combined({}, false));
  advanced_metadata_search s = search_;
  s.rules = {tag_a, rule(26, 0, 0)};
  EXPECT_EQ(vael_util::find_media(h(), search_criteria(s, 12), ids{rows_[0].id, rows_[2].id}),
            ids{rows_[0].id});
}

TEST_F(SmartAlbum, StoredTextRoundTripsAndRefusesWhatItCannotRead) {
  using namespace vael_util;
  advanced_metadata_search s;
  s.name = "Trip (2014), 100%";
  s.rules = {rule(0, 0, 0, "a(b,c)"), dated(7, 3, at(2014, 1, 31, 23, 59, 59), 2, 1),
             place(1, -122.419416, 37.7749, 5), rule(24, 0, 2, "", "x")};
  s.rules[2].place_name = "San Francisco";
  s.rules[2].place_id = 42;
  s.rules[3].label = "kinds";
  s.rules[3].flag = true;
  s.rules[3].reserved = 7;
  for (const bool all : {true, false}) {
    s.match_all_rules = all;
    const std::string text = write_stored_search({s, 12});
    const search_criteria back = read_stored_search(text);
    EXPECT_TRUE(back.equals({s, 12})) << text;
    EXPECT_EQ(write_stored_search(back), text);
  }
  // A text in the stored field order; the reader keeps no unit and no place id that is not
  // positive, and takes the signed forms of a flag.
  const auto stored =
      read_stored_search(
          "(12)(4)Trip(2)-0(2)(0)(36)(1)(0)(15)not-a-date-time(5)trips(0)(0)(0)(0)(0)"
          "(0)(0)(0)(-181)(-91)(0)(0)(2)+1(0)(37)(1)(0)(15)20140131T235959(0)(0)(0)"
          "(0)(2)(1)(5)(1.61)(2)SF(-122.419)(37.7749)(42)(5)label(1)1")
          .get<advanced_metadata_search>();
  ASSERT_EQ(stored.rules.size(), 2u);
  const search_rule &folder = stored.rules[0], &near = stored.rules[1];
  EXPECT_TRUE(stored.name == "Trip" && !stored.match_all_rules && folder.text == "trips" &&
              folder.place_id == -1 && folder.flag);
  EXPECT_TRUE(near.date == at(2014, 1, 31, 23, 59, 59) && near.count == 2 && near.unit == 1 &&
              near.distance == 5 && near.distance_unit == 0.0 && near.place_name == "SF" &&
              near.latitude == 37.7749 && near.place_id == 42 && near.label == "label");
  EXPECT_EQ(search_serialize(advanced_metadata_search()), "(0)(1)1(0)");
  // A count of rules is believed only as far as rules follow.
  for (const auto& refusal : std::vector<std::pair<std::string, std::string>>{
           {"(12)(0)(1)2(0)", "bad cast"},
           {"(12)(0)(1)1(2147483647)", "The data was not"},
           {"(12)(0)(1)1(-1)", "The number was not"},
           {"(12)(0)(1)1(1)(0)(1)(0)(0)(3)abc", "bad cast"}}) {
    EXPECT_EQ(vael_test::message_of<std::runtime_error>([&] {
                read_stored_search(refusal.first);
              }).rfind(refusal.second, 0),
              0u)
        << refusal.first;
  }
}

TEST_F(SmartAlbum, BadOperandsFailWhenCompiled) {
  const auto failure = [&](search_rule r) {
    return vael_test::message_of<std::exception>([&] { found({r}, true); });
  };
  EXPECT_EQ(failure(rule(18, 0, 3)), "invalid vector<T> subscript");
  EXPECT_EQ(failure(rule(24, 0, -1)), "invalid vector<T> subscript");
  EXPECT_EQ(failure(rule(10, 0, 0, "4k")), "bad cast");
  EXPECT_EQ(failure(rule(13, 3, 0, "1", "")), "bad cast");
}

class BareCatalog : public vael_test::tag_catalog {};

TEST_F(BareCatalog, RulesNeedTheirDescriptions) {
  vael_util::register_search_implementers(1);
  advanced_metadata_search s;
  s.rules = {rule(5, 0, 0, "canon")};
  EXPECT_THROW(vael_util::find_media(h(), search_criteria(s, 12)), std::logic_error);
  s.rules = {rule(26, 0, 0)};
  EXPECT_EQ(vael_util::find_media(h(), search_criteria(s, 12)), ids{});
}

}  // namespace
