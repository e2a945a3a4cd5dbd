#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <functional>
#include <map>
#include <set>

#include "catalog/media.h"
#include "catalog/media_date.h"
#include "catalog/metadata_view.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/search/search_implementer.h"
#include "catalog_util/search/search_runner.h"
#include "catalog_util/search/text_searches.h"
#include "catalog_util/well_known_tags.h"
#include "tests/catalog/tag_test_support.h"

namespace {

namespace pt = boost::posix_time;
using namespace vael_util;
using ids = std::vector<int>;

pt::ptime day(unsigned short y, unsigned short m, unsigned short d) {
  return pt::ptime(boost::gregorian::date(y, m, d));
}

std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), ::tolower);
  return s;
}
bool has(const std::string& text, const std::string& part) {
  return lower(text).find(lower(part)) != std::string::npos;
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

class TextSearch : public vael_test::tag_catalog {
 protected:
  static void SetUpTestSuite() { register_search_implementers(1); }

  TextSearch() {
    tags_ = {{"Beach", type_name::user_misc, ""}, {"Sand_Bar", type_name::user_misc, "Beach"},
             {"100%", type_name::user_misc, ""},  {"1000", type_name::user_misc, ""},
             {"Ann", type_name::user_person, ""}, {"Annette", type_name::user_person, ""},
             {"Rome", type_name::user_place, ""}, {"Wedding", type_name::user_event, ""},
             {"Trip", type_name::collection, ""}, {"Bravo", type_name::user_misc, ""}};
    rows_ = {
        {"/p/Beach_Day.jpg",
         {"Sand_Bar"},
         {{0, "Sunset over sea"}},
         day(2014, 1, 5),
         day(2014, 1, 5)},
        {"/p/beachXday.JPG", {"Beach", "Ann"}, {{1, "Canon"}}, day(2014, 2, 1), day(2014, 2, 1)},
        {"/p/100%.png",
         {"100%", "Rome"},
         {{5, "/home/a/my_trips"}},
         day(2014, 1, 31),
         day(2014, 2, 1)},
        {"/q/1000.png", {"1000", "Wedding", "Trip"}, {{0, "a_b"}, {4, "Family"}}},
        {"/q/-dash.mov",
         {"Annette", "Alpha"},
         {{3, "Bob"}, {2, "X100"}},
         day(2015, 1, 1),
         day(2015, 1, 1)},
        {"/q/plain.mp3", {"Bravo"}, {{0, "axb"}, {5, "/home/a/myxtrips"}}},
    };
    write([&] {
      initialize_catalog_defaults(
          h(), {"-", "F", "Fr", "C", "-", "-", "T", "G", "W", "M", "QR", "-", "-", "Smart"});
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
      const char* identifiers[] = {metadata_identifier::image_description,
                                   metadata_identifier::make,
                                   metadata_identifier::model,
                                   metadata_identifier::creator,
                                   metadata_identifier::album_notes,
                                   metadata_identifier::folder_name};
      vael::metadata_view_t view(h());
      const int disk =
          volumes()
              .add_volume({"disk-1", "disk", vael::volume_type::builtin_drive, box_.path("D"), 0})
              .id;
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

  ids where(const match& m) const {
    ids out;
    for (const row& r : rows_) {
      if (m(r)) out.push_back(r.id);
    }
    return out;
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
  const std::set<std::string> tag_types = {type_name::user_misc, type_name::collection};
  const std::set<std::string> user_types = {type_name::user_misc, type_name::collection,
                                            type_name::user_person, type_name::user_place,
                                            type_name::user_event};
  const auto tag = [&](const char* n) { return tagged(n, tag_types); };
  const auto person = [&](const char* n) { return tagged(n, {type_name::user_person}); };
  const match none = [](const row&) { return false; };
  const auto op = [](std::int32_t o) { return smart_text_search().add_operator(o); };
  const std::int32_t AND = operator_criteria::and_op, OR = operator_criteria::or_op,
                     NOT = operator_criteria::not_op;
  all_criteria any_of_three;
  any_of_three.tag_text = "wedding";
  any_of_three.file_text = "PLAIN";
  any_of_three.metadata_text = "bob";
  all_criteria in_january;
  in_january.begin = day(2014, 1, 1);
  in_january.end = day(2014, 2, 1);
  in_january.has_date = true;
  all_criteria nothing_tagged = any_of_three;
  nothing_tagged.tag_text = "no such tag";
  smart_text_search many;
  many.add(tag_criteria{"alpha"});
  for (int i = 0; i < 4; ++i) many.add_operator(OR).add(file_criteria{"zzz"});
  many.add_operator(OR).add(tag_criteria{"bravo"});

  const std::vector<std::tuple<const char*, smart_text_search, match>> cases = {
      {"tag with its descendants", smart_text_search().add(tag_criteria{"beach"}), tag("beach")},
      {"tag of another kind", smart_text_search().add(tag_criteria{"rome"}), none},
      {"album", smart_text_search().add(tag_criteria{"TRIP"}), tag("trip")},
      {"wildcard inside a name", smart_text_search().add(tag_criteria{"100%"}), tag("100%")},
      {"underscore alone", smart_text_search().add(tag_criteria{"_"}), tag("_")},
      {"people", smart_text_search().add(people_criteria{"ann"}), person("ann")},
      {"person who is not there", smart_text_search().add(people_criteria{"nobody"}), none},
      {"not a person who is not there",
       smart_text_search().add_operator(NOT).add(people_criteria{"nobody"}), no(none)},
      {"place", smart_text_search().add(places_criteria{"ROME"}),
       tagged("rome", {type_name::user_place})},
      {"event", smart_text_search().add(events_criteria{"wed"}),
       tagged("wed", {type_name::user_event})},
      {"file", smart_text_search().add(file_criteria{"BEACH"}), file("beach")},
      {"file dash", smart_text_search().add(file_criteria{"-"}), file("-")},
      {"file percent inside", smart_text_search().add(file_criteria{"100%"}), file("100%")},
      {"caption", smart_text_search().add(metadata_criteria{"a_b", 0}), meta(0, "a_b")},
      {"make", smart_text_search().add(metadata_criteria{"canon", 1}), meta(1, "canon")},
      {"model", smart_text_search().add(metadata_criteria{"x100", 2}), meta(2, "x100")},
      {"author", smart_text_search().add(metadata_criteria{"BOB", 3}), meta(3, "bob")},
      {"notes", smart_text_search().add(metadata_criteria{"famil", 4}), meta(4, "famil")},
      {"folder with a separator", smart_text_search().add(metadata_criteria{"a/my_trips", 5}),
       meta(5, "a/my_trips")},
      {"dates", smart_text_search().add(date_criteria{day(2014, 1, 1), day(2014, 2, 1)}),
       dated(day(2014, 1, 1), day(2014, 2, 1))},
      {"all with a date", smart_text_search().add(in_january),
       dated(day(2014, 1, 1), day(2014, 2, 1))},
      {"all of tag, file and metadata", smart_text_search().add(any_of_three),
       either(tagged("wedding", user_types), either(file("plain"), meta(-1, "bob")))},
      {"all without a tag", smart_text_search().add(nothing_tagged),
       either(file("plain"), meta(-1, "bob"))},
      {"or",
       smart_text_search().add(tag_criteria{"beach"}).add_operator(OR).add(people_criteria{"ann"}),
       either(tag("beach"), person("ann"))},
      {"and not",
       smart_text_search()
           .add(tag_criteria{"beach"})
           .add_operator(AND)
           .add_operator(NOT)
           .add(people_criteria{"ann"}),
       both(tag("beach"), no(person("ann")))},
      {"not first", smart_text_search().add_operator(NOT).add(tag_criteria{"beach"}),
       no(tag("beach"))},
      {"left to right",
       smart_text_search()
           .add(tag_criteria{"beach"})
           .add_operator(OR)
           .add(events_criteria{"wedding"})
           .add_operator(AND)
           .add(tag_criteria{"trip"}),
       both(either(tag("beach"), tagged("wedding", {type_name::user_event})), tag("trip"))},
      {"trailing operator", smart_text_search().add(tag_criteria{"beach"}).add_operator(AND),
       tag("beach")},
      {"only operators", op(NOT).add_operator(OR), none},
      {"no entry", smart_text_search(), none},
      {"names of many terms", many, either(tag("alpha"), tag("bravo"))},
  };
  for (auto [name, search, m] : cases) {
    search.query_text = name;
    const search_criteria c(search, smart_text_search_type);
    EXPECT_EQ(find_media(h(), c), where(m)) << name;
    const std::string text = write_stored_search(c);
    const search_criteria back = read_stored_search(text);
    EXPECT_TRUE(back.equals(c)) << name << " " << text;
    EXPECT_EQ(write_stored_search(back), text) << name;
    EXPECT_EQ(back.build_query(h(), every_media_table).sql(),
              c.build_query(h(), every_media_table).sql())
        << name;
  }
}

TEST_F(TextSearch, SimpleMetadataStringSearchMatchesByKind) {
  const auto id = [&](const char* identifier) {
    return vael::metadata_view_t(h()).get_description(identifier).get_id();
  };
  const ids caption_make = {id(metadata_identifier::image_description),
                            id(metadata_identifier::make)};
  const auto in_caption_or_make = [](std::function<bool(const std::string&)> test) {
    return [test](const row& r) {
      return std::any_of(r.metadata.begin(), r.metadata.end(),
                         [&](const auto& m) { return m.first <= 1 && test(lower(m.second)); });
    };
  };
  const std::vector<std::tuple<const char*, simple_metadata_string_search, match>> cases = {
      {"exact", {caption_make, "CANON", 0}, in_caption_or_make([](auto v) {
         return v == "canon";
       })},
      {"exact underscore", {caption_make, "a_b", 0}, in_caption_or_make([](auto v) {
         return v == "a_b";
       })},
      {"begins", {caption_make, "sun", 1}, in_caption_or_make([](auto v) {
         return v.rfind("sun", 0) == 0;
       })},
      {"word begins", {caption_make, "over", 2}, in_caption_or_make([](auto v) {
         return v.rfind("over", 0) == 0 || has(v, " over");
       })},
      {"contains", {caption_make, "x", 7}, in_caption_or_make([](auto v) { return has(v, "x"); })},
      {"no description", {{}, "a", 3}, [](const row&) { return false; }},
  };
  for (const auto& [name, search, m] : cases) {
    const search_criteria c(search, simple_metadata_string_search_type);
    EXPECT_EQ(find_media(h(), c), where(m)) << name;
    const std::string text = write_stored_search(c);
    const search_criteria back = read_stored_search(text);
    EXPECT_TRUE(back.equals(c)) << name << " " << text;
    EXPECT_EQ(write_stored_search(back), text) << name;
    EXPECT_EQ(back.build_query(h(), every_media_table).sql(),
              c.build_query(h(), every_media_table).sql())
        << name;
  }
}

TEST_F(TextSearch, StoredFormsRestoreTheDateFlagAndRefuseWhatTheyCannotHold) {
  EXPECT_EQ(
      write_stored_search(search_criteria(smart_text_search()
                                              .add(all_criteria())
                                              .add_operator(1)
                                              .add(date_criteria{day(2014, 1, 1), day(2014, 1, 2)}),
                                          14)),
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
  EXPECT_EQ(write_stored_search(read_stored_search("(3)(2)(3)a_b(1,2)")), "(3)(2)(3)a_b(1,2)");

  for (const char* text :
       {"(14)(-1)(0)", "(14)(2)(0)(8)(0)", "(14)(1)(2)(0)(0)", "(14)(4000000000)(1)(0)",
        "(14)(9223372036854775807)(1)(0)(0)", "(14)(1)(0)(6)(1)(0)", "(3)(1)(5)abc()"}) {
    EXPECT_THROW(read_stored_search(text), std::runtime_error) << text;
  }
  EXPECT_THROW(
      find_media(h(), search_criteria(smart_text_search().add(metadata_criteria{"a", 9}), 14)),
      std::exception);
}

}  // namespace
