#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <functional>
#include <map>
#include <set>

#include "catalog/media.h"
#include "catalog/media_date.h"
#include "catalog/metadata_view.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/search/search_runner.h"
#include "catalog_util/search/text_searches.h"
#include "catalog_util/well_known_tags.h"
#include "tests/catalog_util/search_test_support.h"

namespace {

namespace pt = boost::posix_time;
using namespace vael_util;
using ids = std::vector<int>;
namespace mi = metadata_identifier;

using vael_test::at;
using vael_test::has;
using vael_test::lower;

constexpr std::int32_t AND = operator_criteria::and_op, OR = operator_criteria::or_op,
                       NOT = operator_criteria::not_op;
void append(smart_text_search& s, std::int32_t op) {
  s.add_operator(op);
}
template <typename Term>
void append(smart_text_search& s, const Term& term) {
  s.add(term);
}
// A search of the terms and operators in order.
template <typename... Parts>
smart_text_search text(const Parts&... parts) {
  smart_text_search s;
  (append(s, parts), ...);
  return s;
}

// What the test knows of each media: file, tags, string metadata by field, date.
struct row {
  std::string path;
  std::set<std::string> tags;
  std::map<int, std::string> metadata;  // metadata_criteria field -> value
  pt::ptime begin = vael::unknown_date_begin(), end = vael::unknown_date_end();
  int id = 0;
};
using match = std::function<bool(const row&)>;
struct tag_row {
  std::string name, type, parent;
};

class TextSearch : public vael_test::search_catalog {
 protected:
  TextSearch() {
    tags_ = {{"Beach", type_name::user_misc, ""}, {"Sand_Bar", type_name::user_misc, "Beach"},
             {"100%", type_name::user_misc, ""},  {"1000", type_name::user_misc, ""},
             {"Ann", type_name::user_person, ""}, {"Anne", type_name::user_person, ""},
             {"Rome", type_name::user_place, ""}, {"Wedding", type_name::user_event, ""},
             {"Trip", type_name::collection, ""}, {"Bravo", type_name::user_misc, ""}};
    rows_ = {
        {"/p/Beach_Day.jpg", {"Sand_Bar"}, {{0, "Sun over sea"}}, at(2014, 1, 5), at(2014, 1, 5)},
        {"/p/beachXday.JPG", {"Beach", "Ann"}, {{1, "Canon"}}, at(2014, 2, 1), at(2014, 2, 1)},
        {"/p/100%.png",
         {"100%", "Rome"},
         {{5, "/home/a/my_trips"}},
         at(2014, 1, 31),
         at(2014, 2, 1)},
        {"/q/1000.png", {"1000", "Wedding", "Trip"}, {{0, "a_b"}, {4, "Family"}}},
        {"/q/-x.mov", {"Anne", "Alpha"}, {{3, "Bob"}, {2, "X100"}}, at(2015, 1, 1), at(2015, 1, 1)},
        {"/q/plain.mp3", {"Bravo"}, {{0, "axb"}, {5, "/home/a/myxtrips"}}},
    };
    write([&] {
      const int disk = defaults_and_disk("D");
      const std::map<std::string, const char*> ns = {{type_name::user_misc, ns_name::user},
                                                     {type_name::user_person, ns_name::person},
                                                     {type_name::user_place, ns_name::place},
                                                     {type_name::user_event, ns_name::event},
                                                     {type_name::collection, ns_name::collection}};
      for (const tag_row& t : tags_) {
        const vael::tag_type_t type{t.type, false, true, true};
        ids_[t.name] =
            t.parent.empty()
                ? create_or_load_ns(h(), ns.at(t.type)).create_tag(t.name, type).get_id()
                : vael::get_tag(h(), ids_.at(t.parent)).create_child(t.name, type).get_id();
      }
      // Alpha's id is ten times Bravo's plus one, so that a name built from the counter and
      // the entry index without a separator would be shared by entries 0 and 10.
      const auto user = create_or_load_ns(h(), ns_name::user);
      for (int i = 0; user.create_tag("zz" + std::to_string(i), user_misc_leaf_type()).get_id() <
                      10 * ids_["Bravo"];
           ++i) {
      }
      ids_["Alpha"] = user.create_tag("Alpha", user_misc_leaf_type()).get_id();
      EXPECT_EQ(ids_["Alpha"], 10 * ids_["Bravo"] + 1);
      tags_.push_back({"Alpha", type_name::user_misc, ""});
      const char* identifiers[] = {mi::image_description, mi::make,        mi::model,
                                   mi::creator,           mi::album_notes, mi::folder_name};
      vael::metadata_view_t view(h());
      for (row& r : rows_) {
        vael::media m = vael::media::create_master(h(), disk, r.path, "image/jpeg");
        r.id = m.get_id();
        m.set_date(vael::from_search_range(r.begin, r.end));
        for (const std::string& name : r.tags) vael::get_tag(h(), ids_.at(name)).tag_media(r.id);
        for (const auto& [field, value] : r.metadata) {
          vael::metadata_item_t item{dbl::entry_data(value),
                                     view.get_description(identifiers[field]), 0};
          view.create_media(r.id, item);
        }
      }
    });
  }

  // The search finds the rows `m` picks, and its text reads back to an equal search that
  // writes the same text and compiles to the same statement.
  void expect_found_and_read_back(const char* name, const search_criteria& c, const match& m) {
    EXPECT_EQ(find_media(h(), c), vael_test::ids_where(rows_, m)) << name;
    const std::string text = write_stored_search(c);
    const search_criteria back = read_stored_search(text);
    EXPECT_TRUE(back.equals(c)) << name << " " << text;
    EXPECT_EQ(write_stored_search(back), text) << name;
    EXPECT_EQ(back.build_query(h(), every_media_table).sql(),
              c.build_query(h(), every_media_table).sql())
        << name;
  }
  // The row carries a tag of one of the types whose name contains `name`, or a descendant.
  match tagged(const std::string& name, std::set<std::string> types) const {
    return [this, name, types](const row& r) {
      return std::any_of(r.tags.begin(), r.tags.end(), [&](std::string t) {
        for (; !t.empty(); t = tag_of(t).parent) {
          if (types.count(tag_of(t).type) > 0 && has(t, name)) return true;
        }
        return false;
      });
    };
  }
  const tag_row& tag_of(const std::string& name) const {
    return *std::find_if(tags_.begin(), tags_.end(),
                         [&](const tag_row& t) { return t.name == name; });
  }
  static match file(std::string part) {
    return [part](const row& r) { return has(r.path.substr(r.path.rfind('/') + 1), part); };
  }
  static match meta(int field, std::string part) {
    return [field, part](const row& r) {
      return std::any_of(r.metadata.begin(), r.metadata.end(), [&](const auto& m) {
        return (field < 0 || m.first == field) && has(m.second, part);
      });
    };
  }
  static match dated(pt::ptime b, pt::ptime e) {
    return [b, e](const row& r) { return r.begin >= b && r.begin < e && r.end <= e; };
  }

  std::vector<tag_row> tags_;
  std::vector<row> rows_;
  std::map<std::string, int> ids_;
};

match both(match a, match b) {
  return [a, b](const row& r) { return a(r) && b(r); };
}
match either(match a, match b) {
  return [a, b](const row& r) { return a(r) || b(r); };
}
match no(match a) {
  return [a](const row& r) { return !a(r); };
}

TEST_F(TextSearch, TermsAndOperatorsFindWhatTheRowsSayAndReadBackAsWritten) {
  const std::set<std::string> user_types = {type_name::user_misc, type_name::collection,
                                            type_name::user_person, type_name::user_place,
                                            type_name::user_event};
  const auto tag = [&](const char* n) {
    return tagged(n, {type_name::user_misc, type_name::collection});
  };
  const auto person = [&](const char* n) { return tagged(n, {type_name::user_person}); };
  const auto event = [&](const char* n) { return tagged(n, {type_name::user_event}); };
  const match none = [](const row&) { return false; };
  all_criteria three, dates, untagged;
  three.tag_text = "wedding";
  three.file_text = "PLAIN";
  three.metadata_text = "bob";
  untagged = three;
  untagged.tag_text = "no such tag";
  dates.begin = at(2014, 1, 1);
  dates.end = at(2014, 2, 1);
  dates.has_date = true;
  const tag_criteria beach{"beach"};
  const people_criteria ann{"ann"}, nobody{"nobody"};
  const file_criteria zzz{"zzz"};

  const std::vector<std::tuple<const char*, smart_text_search, match>> cases = {
      {"tag with its descendants", text(beach), tag("beach")},
      {"tag of another kind", text(tag_criteria{"rome"}), none},
      {"album", text(tag_criteria{"TRIP"}), tag("trip")},
      {"wildcard inside a name", text(tag_criteria{"100%"}), tag("100%")},
      {"underscore alone", text(tag_criteria{"_"}), tag("_")},
      {"people", text(ann), person("ann")},
      {"person who is not there", text(nobody), none},
      {"not a person who is not there", text(NOT, nobody), no(none)},
      {"place", text(places_criteria{"ROME"}), tagged("rome", {type_name::user_place})},
      {"event", text(events_criteria{"wed"}), event("wed")},
      {"file", text(file_criteria{"BEACH"}), file("beach")},
      {"file dash", text(file_criteria{"-"}), file("-")},
      {"file percent inside", text(file_criteria{"100%"}), file("100%")},
      {"caption", text(metadata_criteria{"a_b", 0}), meta(0, "a_b")},
      {"make", text(metadata_criteria{"canon", 1}), meta(1, "canon")},
      {"model", text(metadata_criteria{"x100", 2}), meta(2, "x100")},
      {"author", text(metadata_criteria{"BOB", 3}), meta(3, "bob")},
      {"notes", text(metadata_criteria{"famil", 4}), meta(4, "famil")},
      {"folder with a separator", text(metadata_criteria{"a/my_trips", 5}), meta(5, "a/my_trips")},
      {"dates", text(date_criteria{dates.begin, dates.end}), dated(dates.begin, dates.end)},
      {"all with a date", text(dates), dated(dates.begin, dates.end)},
      {"all of tag, file and metadata", text(three),
       either(tagged("wedding", user_types), either(file("plain"), meta(-1, "bob")))},
      {"all without a tag", text(untagged), either(file("plain"), meta(-1, "bob"))},
      {"or", text(beach, OR, ann), either(tag("beach"), person("ann"))},
      {"and not", text(beach, AND, NOT, ann), both(tag("beach"), no(person("ann")))},
      {"not first", text(NOT, beach), no(tag("beach"))},
      {"left to right", text(beach, OR, events_criteria{"wedding"}, AND, tag_criteria{"trip"}),
       both(either(tag("beach"), event("wedding")), tag("trip"))},
      {"trailing operator", text(beach, AND), tag("beach")},
      {"terms side by side", text(beach, NOT, ann), both(tag("beach"), no(person("ann")))},
      {"leading and doubled operators", text(AND, beach, AND, OR, ann),
       either(tag("beach"), person("ann"))},
      {"only operators", text(NOT, OR), none},
      {"no entry", text(), none},
      {"names of many terms",
       text(tag_criteria{"alpha"}, OR, zzz, OR, zzz, OR, zzz, OR, zzz, OR, tag_criteria{"bravo"}),
       either(tag("alpha"), tag("bravo"))},
  };
  for (auto [name, search, m] : cases) {
    search.query_text = name;
    expect_found_and_read_back(name, search_criteria(search, smart_text_search_type), m);
  }
}

TEST_F(TextSearch, SimpleMetadataStringSearchMatchesByKind) {
  const auto id = [&](const char* identifier) {
    return vael::metadata_view_t(h()).get_description(identifier).get_id();
  };
  const ids caption_make = {id(mi::image_description), id(mi::make)};
  const auto value = [](std::function<bool(const std::string&)> test) {
    return [test](const row& r) {
      return std::any_of(r.metadata.begin(), r.metadata.end(),
                         [&](const auto& m) { return m.first <= 1 && test(lower(m.second)); });
    };
  };
  const std::vector<std::tuple<const char*, simple_metadata_string_search, match>> cases = {
      {"exact", {caption_make, "CANON", 0}, value([](auto v) { return v == "canon"; })},
      {"exact underscore", {caption_make, "a_b", 0}, value([](auto v) { return v == "a_b"; })},
      {"begins", {caption_make, "sun", 1}, value([](auto v) { return v.rfind("sun", 0) == 0; })},
      {"word begins", {caption_make, "over", 2}, value([](auto v) {
         return v.rfind("over", 0) == 0 || has(v, " over");
       })},
      {"contains", {caption_make, "x", 7}, value([](auto v) { return has(v, "x"); })},
      {"no description", {{}, "a", 3}, [](const row&) { return false; }},
  };
  for (const auto& [name, search, m] : cases) {
    expect_found_and_read_back(name, search_criteria(search, simple_metadata_string_search_type),
                               m);
  }
}

TEST_F(TextSearch, StoredFormsRestoreTheDateFlagAndRefuseWhatTheyCannotHold) {
  const smart_text_search two =
      text(all_criteria(), OR, date_criteria{at(2014, 1, 1), at(2014, 1, 2)});
  EXPECT_EQ(write_stored_search(search_criteria(two, 14)),
            "(14)(3)(0)(7)(0)(0)(0)(0)(14000101T000000,99991231T235959.999999)(1)(1)(0)(6)"
            "(20140101T000000,20140102T000000)(0)");
  const auto flag = [](const std::string& range) {
    const search_criteria c = read_stored_search("(14)(1)(0)(7)(0)(0)(0)(0)" + range + "(0)");
    const auto& t = boost::any_cast<const text_search_criteria&>(
        c.get<smart_text_search>().entries.at(0).first);
    return boost::any_cast<const all_criteria&>(t.value).has_date;
  };
  EXPECT_FALSE(flag("(14000101T000000,99991231T235959.999999)"));
  EXPECT_TRUE(flag("(14000101T000000,99991231T235959)"));
  EXPECT_TRUE(flag("(not-a-date-time,99991231T235959.999999)"));

  for (const char* stored :
       {"(14)(-1)(0)", "(14)(2)(0)(8)(0)", "(14)(1)(2)(0)(0)", "(14)(4000000000)(1)(0)",
        "(14)(9223372036854775807)(1)(0)(0)", "(14)(1)(0)(6)(1)(0)", "(3)(1)(5)abc()",
        "(4294967297)", "(11)(15)99991231T320000"}) {
    EXPECT_THROW(read_stored_search(stored), std::runtime_error) << stored;
  }
  EXPECT_EQ(vael_test::message_of([&] {
              find_media(h(), search_criteria(text(metadata_criteria{"a", 9}), 14));
            }),
            "A text search term names metadata field 9, which is unknown.");
}

}  // namespace
