#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <filesystem>
#include <functional>
#include <locale>
#include <map>
#include <set>

#include "catalog/media.h"
#include "catalog/media_stack.h"
#include "catalog/metadata_view.h"
#include "catalog/version_stack.h"
#include "catalog_util/creation_file.h"
#include "catalog_util/search/criteria_serialization.h"
#include "catalog_util/search/search_runner.h"
#include "catalog_util/search/simple_searches.h"
#include "catalog_util/well_known_tags.h"
#include "tests/catalog_util/search_test_support.h"

namespace {

namespace pt = boost::posix_time;
namespace greg = boost::gregorian;
using vael_util::search_criteria;
using ids = std::vector<int>;

// What the test knows of each media, from which it works out every search's answer itself.
struct row {
  std::string path;
  bool on_disk;  // else on a volume that is not mounted
  pt::ptime begin, end;
  std::string mime;
  std::set<std::string> tags;  // tag names as put on the media
  bool metadata = false;
  int id = 0;
};

using namespace vael_test;

class SimpleSearch : public search_catalog {
 protected:
  SimpleSearch() {
    rows_ = {
        {"/Photos/2014/a_b.jpg",
         true,
         at(2014, 1, 31, 23, 59, 59),
         at(2014, 1, 31, 23, 59, 59),
         "image/jpeg",
         {"Rome"}},
        {"/photos/2014/axb.JPG",
         true,
         at(2014, 2, 1),
         at(2014, 2, 1),
         "image/jpeg",
         {"Rome", "Kin"}},
        {"/Photos/a%b.png", true, at(2014, 1, 31), at(2014, 2, 1), "image/png", {"Kin"}, true},
        {"/x/-dash.mov", true, at(2014, 1, 1), at(2014, 2, 1), "video/quicktime", {"Rome", "Ann"}},
        {"/x/plain.mp3", true, at(2014, 1, 1), at(2015, 1, 1), "audio/mpeg", {"Holiday"}, true},
        {"/Photos/2014/beach.jpg", false, unknown_begin, unknown_end, "image/jpeg", {"zzABC@11#"}},
        {"/ab_c.jpg", true, unknown_begin, unknown_end, "image/jpeg", {}},
        {"/Photos/2014/Show.omss",
         true,
         unknown_begin,
         unknown_end,
         "application/vnd.norvane.omb.slideshow",
         {}},
        {"/gone.omss",
         false,
         unknown_begin,
         unknown_end,
         "application/vnd.norvane.omb.slideshow",
         {}},
    };
    write([&] {
      disk_ = defaults_and_disk("Disk");
      gone_ = volumes().add_volume({"usb-1", "usb", vael::volume_type::removable_drive, "", 0}).id;
      const auto user = vael::get_custom_tag_namespace(h(), vael_util::ns_name::user);
      const auto person = vael::get_custom_tag_namespace(h(), vael_util::ns_name::person);
      vael::tag holiday = user.create_tag("Holiday", vael_test::person_type());
      tags_ = {{"Holiday", holiday.get_id()},
               {"Rome", holiday.create_child("Rome", vael_test::misc_leaf_type()).get_id()},
               {"Kin", user.create_tag("Kin", vael_test::misc_leaf_type()).get_id()},
               {"Ann", person.create_tag("Ann", vael_test::misc_leaf_type()).get_id()},
               {"zzABC@11#", person.create_tag("zzABC@11#", vael_test::misc_leaf_type()).get_id()}};
      const auto rating = vael::metadata_view_t(h()).create_description(
          "test:rating", vael::metadata_data_type::integer_type,
          vael::metadata_association_type::media_association_type, false);
      rating_ = rating.get_id();
      for (row& r : rows_) {
        vael::media m = vael::media::create_master(h(), r.on_disk ? disk_ : gone_, r.path, r.mime);
        r.id = m.get_id();
        m.set_date(vael::from_search_range(r.begin, r.end));
        for (const std::string& name : r.tags) vael::get_tag(h(), tags_.at(name)).tag_media(r.id);
        if (r.metadata) {
          vael::metadata_item_t item{dbl::entry_data(std::int64_t{4}), rating, 0};
          vael::metadata_view_t(h()).create_media(r.id, item);
        }
      }
      vael::media_stack::create(h(), {rows_[0].id, rows_[1].id});
      vael::version_stack::create_version(h(), rows_[2].id, rows_[3].id);
    });
    std::filesystem::create_directories(box_.path("Disk/Photos/2014"));
    EXPECT_TRUE(vael_util::write_creation_file(box_.path("Disk/Photos/2014/Show.omss"), "Show",
                                               {rows_[0].id, rows_[2].id, rows_[4].id}, "x"));
  }

  ids where(const std::function<bool(const row&)>& match) const { return ids_where(rows_, match); }
  bool carries(const row& r, const std::string& tag) const {
    // Holiday's subtree is the one with a child.
    return r.tags.count(tag) > 0 || (tag == "Holiday" && r.tags.count("Rome") > 0);
  }
  int tag(const std::string& name) const { return tags_.at(name); }
  // The lower-cased name (`folder` false) or folder with its final "/".
  static std::string lower(const row& r, bool folder) {
    const std::size_t slash = r.path.rfind('/') + 1;
    return vael_test::lower(folder ? r.path.substr(0, slash) : r.path.substr(slash));
  }

  std::vector<row> rows_;
  std::map<std::string, int> tags_;
  int disk_ = 0, gone_ = 0, rating_ = 0;
};

TEST_F(SimpleSearch, EveryTypeFindsWhatTheRowsSayAndReadsBackAsWritten) {
  using namespace vael_util;
  const auto named = [&](const char* n) {
    return [this, n](const row& r) { return carries(r, n); };
  };
  const auto name_has = [&](std::string part) {
    return [part](const row& r) { return lower(r, false).find(part) != std::string::npos; };
  };
  const auto in_folder = [&](std::string folder) {
    return [folder](const row& r) { return r.on_disk && lower(r, true) == folder; };
  };
  const auto on_day = [](pt::ptime day) {
    return [day](const row& r) {
      const pt::ptime next = day + pt::hours(24);
      return r.begin >= day && r.begin < next && r.end <= next;
    };
  };
  // A copy: the array behind an initializer_list ends with the call that made it.
  const auto is = [&](std::initializer_list<std::size_t> listed) {
    return [this, which = std::vector<std::size_t>(listed)](const row& r) {
      return std::any_of(which.begin(), which.end(),
                         [&](std::size_t i) { return rows_[i].id == r.id; });
    };
  };
  unanalyzed_asset_search unanalyzed;
  unanalyzed.image_tag_ids = {tag("Kin")};
  unanalyzed.video_tag_ids = {tag("Holiday")};
  const std::string disk = box_.path("Disk");

  const std::vector<std::tuple<const char*, search_criteria, std::function<bool(const row&)>>>
      cases = {
          {"all", search_criteria(), [](const row&) { return true; }},
          {"one include", {user_tag_search{{tag("Holiday")}, {}}, 2}, named("Holiday")},
          {"two includes",
           {user_tag_search{{tag("Holiday"), tag("Kin")}, {}}, 2},
           [&](const row& r) { return carries(r, "Holiday") && carries(r, "Kin"); }},
          {"exclude not expanded",
           {user_tag_search{{tag("Holiday")}, {tag("Kin")}}, 2},
           [&](const row& r) { return carries(r, "Holiday") && !carries(r, "Kin"); }},
          {"exclude only",
           {user_tag_search{{}, {tag("Holiday")}}, 2},
           [&](const row& r) { return r.tags.count("Holiday") == 0; }},
          {"no tags at all", {user_tag_search{}, 2}, [](const row&) { return true; }},
          {"underscore", {filename_search{"A_B"}, 4}, name_has("a_b")},
          {"percent", {filename_search{"a%b"}, 4}, name_has("a%b")},
          {"dash", {filename_search{"-"}, 4}, name_has("-")},
          {"slash", {filename_search{"a/b_c"}, 4}, name_has("a/b_c")},
          {"case", {filename_search{"JPG"}, 4}, name_has("jpg")},
          {"user_ns",
           {not_tagged_search{{"user_ns"}}, 5},
           [&](const row& r) { return !carries(r, "Holiday") && !carries(r, "Kin"); }},
          {"person_ns",
           {not_tagged_search{{"person_ns"}}, 5},
           [&](const row& r) { return !carries(r, "Ann"); }},
          {"metadata",
           {media_has_metadata_search{rating_}, 6},
           [](const row& r) { return r.metadata; }},
          {"media stacks", {all_media_stacks_search{}, 7}, is({0, 1})},
          {"version stacks", {all_version_stacks_search{}, 8}, is({2, 3})},
          {"history",
           {history_tag_search{{tag("Kin"), tag("Ann")}, "K"}, 9},
           [&](const row& r) { return carries(r, "Kin") || carries(r, "Ann"); }},
          {"history of no tag",
           {history_tag_search{{}, ""}, 9},
           [](const row& r) { return !r.tags.empty(); }},
          {"creations", {creation_usage_search{{rows_[7].id, rows_[8].id}}, 10}, is({0, 2, 4})},
          {"creation unmounted",
           {creation_usage_search{{rows_[8].id}}, 10},
           [](const row&) { return true; }},
          {"month end",
           {calendar_day_search{greg::date(2014, 1, 31)}, 11},
           on_day(at(2014, 1, 31))},
          {"year end",
           {calendar_day_search{greg::date(2013, 12, 31)}, 11},
           on_day(at(2013, 12, 31))},
          {"unknown",
           {unknown_date_search{}, 13},
           [](const row& r) { return r.begin == unknown_begin && r.end == unknown_end; }},
          {"unanalyzed",
           {unanalyzed, 16},
           [&](const row& r) {
             const bool image = r.mime.rfind("image", 0) == 0,
                        video = r.mime.rfind("video", 0) == 0;
             return !(image && carries(r, "Kin")) && !(video && carries(r, "Holiday"));
           }},
          {"folder under the root",
           {foldername_search{disk + "/PHOTOS/2014", disk_}, 17},
           in_folder("/photos/2014/")},
          {"folder with separator",
           {foldername_search{disk + "/Photos/", disk_}, 17},
           in_folder("/photos/")},
          {"root folder", {foldername_search{disk + "/", disk_}, 17}, in_folder("/")},
          {"root named alone", {foldername_search{disk, disk_}, 17}, in_folder("/")},
          {"relative folder", {foldername_search{"/x", disk_}, 17}, in_folder("/x/")},
          {"missing files", {missing_file_search{{rows_[6].id, 999}}, 18}, is({6})},
      };
  for (const auto& [name, search, match] : cases) {
    EXPECT_EQ(find_media(h(), search), where(match)) << name;
    const std::string text = write_stored_search(search);
    const search_criteria back = read_stored_search(text);
    EXPECT_TRUE(back.equals(search)) << name << " " << text;
    EXPECT_EQ(write_stored_search(back), text) << name;
  }

  // The any-form needs one include of several; candidates narrow every search.
  const search_criteria either(user_tag_search{{tag("Kin"), tag("Ann")}, {tag("Rome")}}, 2);
  EXPECT_EQ(either.build_any_query(h(), vael_util::every_media_table).select_ids(),
            where([&](const row& r) {
              return (carries(r, "Kin") || carries(r, "Ann")) && !carries(r, "Rome");
            }));
  EXPECT_FALSE(search_criteria(user_tag_search{{tag("Kin")}, {}}, 2)
                   .build_any_query(h(), vael_util::every_media_table)
                   .has_sql());
  const ids some = {rows_[0].id, rows_[2].id, 999, rows_[0].id};
  EXPECT_EQ(find_media(h(), search_criteria(filename_search{"a"}, 4), some),
            (ids{rows_[0].id, rows_[2].id}));
  EXPECT_EQ(find_media(h(), search_criteria(), some), (ids{rows_[0].id, rows_[2].id}));
  // Nor does a search whose statement never looks at media_table find the id of no media.
  EXPECT_EQ(
      find_media(h(), search_criteria(not_tagged_search{{vael_util::ns_name::person}}, 5), some),
      (ids{rows_[0].id, rows_[2].id}));
  EXPECT_TRUE(search_criteria(missing_file_search{{1}}, 18)
                  .equals(search_criteria(missing_file_search{{2, 3}}, 18)));

  // Refusals: an unknown namespace, tag and description, and an unanalyzed search of no image
  // tag.
  EXPECT_THROW(find_media(h(), search_criteria(not_tagged_search{{"nope_ns"}}, 5)),
               std::runtime_error);
  EXPECT_THROW(find_media(h(), search_criteria(user_tag_search{{4242}, {}}, 2)), std::logic_error);
  EXPECT_THROW(find_media(h(), search_criteria(media_has_metadata_search{4242}, 6)),
               std::logic_error);
  EXPECT_EQ(vael_test::message_of(
                [&] { find_media(h(), search_criteria(unanalyzed_asset_search{}, 16)); }),
            "An unanalyzed asset search needs at least one image tag.");
}

// The global locale below groups digits and writes a decimal comma; stored texts must not.
struct grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
  char do_decimal_point() const override { return ','; }
};

TEST(CriteriaText, PrimitivesRefuseWhatTheyCannotHoldWhateverTheLocale) {
  using namespace vael_util;
  register_search_implementers(1);
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new grouping));
  std::uint64_t end = 0;
  EXPECT_EQ(serialize_number(std::int64_t{1234567}) + serialize_number(1.25) +
                serialize_number(3.14159265) + serialize_string("a(b,c)") + serialize_string("") +
                serialize_id_list({}) + serialize_id_list({-1, 20000}) +
                serialize_date_range(at(2014, 1, 5, 6, 7, 8) + pt::microseconds(5), unknown_end) +
                serialize_media_type_flags(true, false, true),
            "(1234567)(1.25)(3.14159)(6)a(b,c)(0)()(-1,20000)(20140105T060708.000005,"
            "99991231T235959.999999)(101)");
  EXPECT_EQ(read_decimal("(2.5)", 0, &end), 2.5);
  EXPECT_EQ(read_string("(6)a(b,c)(1)", 0, &end), "a(b,c)");
  EXPECT_EQ(end, 9u);
  EXPECT_EQ(read_id_list("()", 0, &end), ids{});
  const auto range = read_date_range("(not-a-date-time,20140105T060708.5)", 0, &end);
  EXPECT_TRUE(range.first.is_not_a_date_time());
  EXPECT_EQ(range.second, at(2014, 1, 5, 6, 7, 8) + pt::milliseconds(500));
  EXPECT_EQ(read_rect("(1,2,3,4)", 0, &end), (ids{1, 2, 3, 4}));
  const media_type_flags flags = read_media_type_flags("(011)xyz", 0, &end);
  EXPECT_TRUE(!flags.photos && flags.videos && flags.audio && end == 0);

  const std::vector<std::pair<std::function<void()>, std::string>> refusals = {
      {[&] { read_number("(1,2)", 0, &end); }, "The number was not"},
      {[&] { read_number("(1.000)", 0, &end); }, "bad cast"},
      {[&] { read_int("(2147483648)", 0, &end); }, "bad cast"},
      {[&] { read_id_list("(1, 2)", 0, &end); }, "bad cast"},
      {[&] { read_string("(5)abc", 0, &end); }, "The string was not"},
      {[&] { read_string("(-1)abc", 0, &end); }, "The string was not"},
      {[&] { read_string("(18446744073709551615)abc", 0, &end); }, "The string was not"},
      {[&] { read_string("(1)", 9, &end); }, "The data was not"},
      {[&] { read_date_range("(1)", 0, &end); }, "The date range was not"},
      {[&] { read_date_range("(2014,x)", 0, &end); }, "bad cast"},
      {[&] { read_rating_range("(1,2,3)", 0, &end); }, "The rating range was not"},
      {[&] { read_decimal_rect("(1,2)", 0, &end); }, "The rating range was not"},
      {[&] { read_rect("(1,2)", 0, &end); }, "The smart album rect was not"},
      {[&] { read_media_type_flags("(111)ab", 0, &end); }, "The media type data was not"},
      {[&] { read_media_type_flags("(121)abc", 0, &end); }, "The media type data was not"},
      {[&] { read_stored_search("(4)(1)ab"); },
       "The search text goes on after the search, at byte 7."},
      {[&] { read_stored_search("(5)"); }, "The data was not"},
  };
  for (const auto& [call, message] : refusals) {
    EXPECT_EQ(vael_test::message_of<std::runtime_error>(call).rfind(message, 0), 0u) << message;
  }
  std::locale::global(before);
}

}  // namespace
