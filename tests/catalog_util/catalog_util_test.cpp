#include <boost/lexical_cast.hpp>
#include <map>

#include "catalog/metadata_view.h"
#include "catalog/tag_base.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/search/all_photos_search.h"
#include "catalog_util/search/criteria_serialization.h"
#include "catalog_util/search/search_criteria.h"
#include "catalog_util/search/search_implementer.h"
#include "catalog_util/well_known_tags.h"
#include "dbl/temporary_table.h"
#include "tests/catalog/tag_test_support.h"

namespace {

namespace md = vael_util::metadata_identifier;
using vael::metadata_association_type;
using vael::metadata_data_type;
using vael_util::query_t;
using vael_util::search_criteria;
using values = dbl::entry_data_vector;

// A search class of the tests' own: media whose path matches a LIKE pattern.
struct path_search {
  std::string pattern;
};

constexpr std::int32_t path_search_type = 90;
int equals_calls = 0;

bool search_equals(const path_search& a, const path_search& b) {
  ++equals_calls;
  return a.pattern == b.pattern;
}
std::string search_serialize(const path_search& s) {
  return vael_util::serialize_number(static_cast<std::int64_t>(s.pattern.size())) + s.pattern;
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos, path_search& s) {
  std::uint64_t end = pos;
  const auto size = static_cast<std::size_t>(vael_util::read_number(text, pos, &end));
  s.pattern = text.substr(static_cast<std::size_t>(end), size);
  return end + size;
}
query_t search_build_query(const vael::connection_handle& handle, const path_search& s,
                           const std::string& table) {
  query_t q(handle);
  q.sql() = "SELECT id_table.id FROM " + table +
            " AS id_table INNER JOIN media_table ON media_table.id = id_table.id WHERE "
            "media_table.full_filepath LIKE :pattern ORDER BY id_table.id";
  q.bind(":pattern", dbl::entry_data(s.pattern));
  return q;
}

const vael_util::default_tag_names names = {"-",  "Family", "Friends", "Colleagues",  "-",
                                            "-",  "Trips",  "Garden",  "Work",        "Misc",
                                            "QR", "-",      "-",       "Smart Albums"};

class CatalogUtil : public vael_test::tag_catalog {
 protected:
  static void SetUpTestSuite() {
    vael_util::register_search_implementers(7);
    vael_util::register_search_implementers(8);
    vael_util::add_search_implementer(
        path_search_type, vael_util::make_search_implementer<path_search>(path_search_type));
  }
  vael::metadata_view_t view() const { return vael::metadata_view_t(h()); }
  static values of(const std::vector<vael::metadata_item_t>& items) {
    values out;
    for (const auto& item : items) out.push_back(item.value);
    return out;
  }
  values on_media(const std::string& identifier, int id) const {
    return of(vael_util::get_media_metadata(h(), identifier, id));
  }
  values on_tag(const std::string& identifier, int id) const {
    return of(vael_util::get_tag_metadata(h(), identifier, id));
  }
  // The forest as text: a line per namespace with its tags, each as 'name', type and the flags
  // media_is_ordered, can_tag_media and can_have_children; children in brackets.
  std::string forest() const {
    std::string out;
    for (const vael::custom_tag_namespace& ns : vael::get_custom_tag_namespaces(h())) {
      out += ns.as_tag().get_name() + children(ns.as_tag(), ": ", "") + "\n";
    }
    return out;
  }
  std::string children(const vael::tag& t, const char* open, const char* close) const {
    std::string out;
    for (const vael::tag& c : t.get_children()) {
      out += (out.empty() ? open : ", ") + ("'" + c.get_name() + "' ") + c.get_type_name() + ' ' +
             (c.media_is_ordered() ? '1' : '0') + (c.can_tag_media() ? '1' : '0') +
             (c.can_have_children() ? '1' : '0') + children(c, " [", "]");
    }
    return out.empty() ? out : out + close;
  }
  vael::tag top(const char* ns, const std::string& name) {
    vael::tag found;
    EXPECT_TRUE(vael_util::find_top_level_tag(vael::get_custom_tag_namespace(h(), ns), name, found))
        << name;
    return found;
  }
};

TEST_F(CatalogUtil, CriteriaRoundTripCompareAndCopyByValueAndRefuseUnknownTypes) {
  EXPECT_EQ(vael_util::registered_search_version(), 7);
  for (const char* text : {"(15)", "(0)", "(19)"}) {
    search_criteria read(path_search{"x"}, path_search_type);
    EXPECT_EQ(vael_test::message_of<std::runtime_error>([&] { read.deserialize(text, 0); }),
              "No search_criteria implementer is defined for the search type passed in.")
        << text;
    EXPECT_EQ(read.type(), 1) << text;
    EXPECT_NO_THROW(read.get<vael_util::all_photos_search>()) << text;
  }
  EXPECT_THROW(search_criteria().deserialize("15)", 0), std::runtime_error);
  EXPECT_THROW(search_criteria().deserialize("(1", 0), std::runtime_error);

  const search_criteria a(path_search{"/p(1,2)%"}, path_search_type);
  std::string text = "prefix";
  a.serialize(text);
  EXPECT_EQ(text, "prefix(90)(8)/p(1,2)%");
  search_criteria back;
  EXPECT_EQ(back.deserialize(text + "(1)", 6), text.size());
  EXPECT_EQ(back.type(), path_search_type);
  EXPECT_TRUE(back.equals(a));

  search_criteria copy = back;
  back = search_criteria(path_search{"other"}, path_search_type);
  EXPECT_EQ(copy.get<path_search>().pattern, "/p(1,2)%");
  EXPECT_FALSE(copy.equals(back));

  equals_calls = 0;
  EXPECT_FALSE(a.equals(search_criteria()));
  EXPECT_EQ(equals_calls, 0);
  EXPECT_TRUE(search_criteria().equals(search_criteria()));
  std::string all;
  search_criteria().serialize(all);
  EXPECT_EQ(all, "(1)");
  EXPECT_THROW(search_criteria(1, path_search_type).equals(a), boost::bad_any_cast);
}

TEST_F(CatalogUtil, QueriesNarrowTheIdTableAndMetadataGoesOnlyFromTheListedMedia) {
  std::vector<int> media;
  for (const char* file : {"/a/1.jpg", "/b/2.jpg", "/a/3.jpg"}) media.push_back(new_media(file));
  dbl::temporary_id_set candidates(db());
  candidates.add({media[1], media[2]});

  EXPECT_FALSE(search_criteria().build_query(h(), candidates.table_name()).has_sql());
  EXPECT_FALSE(search_criteria(path_search{"%"}, path_search_type)
                   .build_any_query(h(), candidates.table_name())
                   .has_sql());

  const query_t in_a = search_criteria(path_search{"/a/%"}, path_search_type)
                           .build_query(h(), candidates.table_name());
  EXPECT_EQ(in_a.select_ids(), std::vector<int>{media[2]});

  query_t in_b = in_a;
  in_b.bind(":pattern", dbl::entry_data("/b/%"));
  in_b.bind(":pattern", dbl::entry_data("/%"));
  in_b.sql() += " DESC";
  EXPECT_EQ(in_b.select_ids(), (std::vector<int>{media[2], media[1]}));
  EXPECT_EQ(in_a.select_ids(), std::vector<int>{media[2]});
  const query_t shared = in_a;
  EXPECT_EQ(&in_a.sql(), &shared.sql());

  query_t positional("SELECT id FROM media_table WHERE id IN (?, ?) ORDER BY id", h());
  positional.set_positional({dbl::entry_data(media[0]), dbl::entry_data(media[2])});
  EXPECT_EQ(positional.select_ids(), (std::vector<int>{media[0], media[2]}));
  EXPECT_THROW(query_t().select_ids(), std::logic_error);

  // Removing metadata from some media leaves the other media's values.
  vael::metadata_item_t asset;
  write([&] {
    for (int m : media) vael_util::create_media(h(), md::face_data, 0, m, "face");
    asset = vael_util::create_media(h(), md::asset_id, 0, media[0], "a1");
  });
  const std::string links = "SELECT COUNT(*) FROM media_to_metadata_table";
  write([&] {
    vael_util::remove_string_metadata_of_media({media[0], media[1]}, "test:none", h());
    vael_util::remove_string_metadata_of_media({media[0], media[1]}, "it's", h());
  });
  EXPECT_EQ(count(links), 4);
  write([&] { vael_util::remove_face_data_of_media({media[0], media[1]}, h()); });
  EXPECT_EQ(count(links), 2);
  EXPECT_EQ(on_media(md::face_data, media[2]), values{"face"});
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_string_table"), 4);

  write([&] { vael_util::remove_metadata_link(media[0], asset.id, h()); });
  EXPECT_EQ(count(links), 1);
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_string_table"), 3);
}

TEST_F(CatalogUtil, DefaultListMakesEachDescriptionOnceWithItsRule) {
  write([&] { vael_util::create_default_metadata_descriptions(h()); });
  const values guid = of(vael_util::get_catalog_metadata(h(), md::catalog_guid));
  ASSERT_EQ(guid.size(), 1u);
  EXPECT_EQ(guid[0].as_string().size(), 36u);
  write([&] { vael_util::create_default_metadata_descriptions(h()); });
  EXPECT_EQ(of(vael_util::get_catalog_metadata(h(), md::catalog_guid)), guid);
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_description_table"),
            static_cast<int>(vael_util::default_metadata_descriptions().size()) - 1);
  EXPECT_FALSE(view().has_description(md::tag_color));

  // One row of each data type, association and multiplicity.
  constexpr auto text = metadata_data_type::string_type, number = metadata_data_type::integer_type;
  constexpr auto none = metadata_association_type::unassociated_association_type;
  const std::tuple<const char*, metadata_data_type, metadata_association_type, bool> expected[] = {
      {md::day_note, text, none, true},
      {md::face_detector_version, number, metadata_association_type::media_association_type, false},
      {md::is_tag_hidden, number, metadata_association_type::tag_association_type, false},
      {md::tag_icon, metadata_data_type::blob_type, none, false},
      {md::tag_date, metadata_data_type::date_time_type, none, false},
      {md::gps_latitude, metadata_data_type::decimal_type, none, false},
  };
  for (const auto& [identifier, type, association, multiple] : expected) {
    const vael::metadata_description_t d = view().get_description(identifier);
    EXPECT_EQ(d.get_data_type(), type) << identifier;
    EXPECT_EQ(d.get_association_type(), association) << identifier;
    EXPECT_EQ(d.can_have_multiple_items(), multiple) << identifier;
  }
  // Comparison is exact: one colon less is another, unlisted identifier.
  EXPECT_EQ(vael_util::metadata_rule_of("omb:FaceDectectorVersion").association_type, none);
}

TEST_F(CatalogUtil, MediaFormAddsCatalogFormsOverwriteAndOnlineValuesCanBeRemoved) {
  const int m = new_media("/1.jpg"), t = new_root_tag("t"), other = new_root_tag("other");
  write([&] {
    for (const char* v : {"f1", "f2"}) vael_util::create_media(h(), md::face_data, 0, m, v);
    for (int v : {3, 4}) vael_util::create_media(h(), md::rating, 1, m, v);
    for (const char* v : {"n1", "n2"}) vael_util::create_tag_metadata(h(), md::face_data, 0, t, v);
    for (const char* v : {"c1", "c2"}) vael_util::create_catalog_metadata(h(), "test:c", 0, v);
  });
  EXPECT_EQ(on_media(md::face_data, m), (values{"f1", "f2"}));
  EXPECT_EQ(on_media(md::rating, m), values{4});
  EXPECT_EQ(on_tag(md::face_data, t), values{"n2"});
  EXPECT_EQ(of(vael_util::get_catalog_metadata(h(), "test:c")), values{"c2"});
  // The type of an existing description wins over the one asked for.
  write([&] { vael_util::create_media(h(), md::rating, 0, m, 5); });
  EXPECT_EQ(on_media(md::rating, m), values{5});

  EXPECT_EQ(vael_util::person_id_of_tag(h(), t), "");
  write([&] {
    vael_util::create_tag_metadata(h(), md::person_id, 0, t, "p-1");
    vael_util::set_tag_sync_status(t, true, h());
    vael_util::clear_tag_hidden(t, h());
  });
  EXPECT_EQ(vael_util::person_id_of_tag(h(), t), "p-1");
  EXPECT_EQ(on_tag(md::tag_sync_status, t), values{1});
  EXPECT_EQ(on_tag(md::is_tag_hidden, t), values{0});

  // Online values go; their descriptions, and other values, stay; every sync mark is cleared.
  write([&] {
    vael_util::create_media(h(), md::asset_id, 0, m, "asset");
    vael_util::create_media(h(), md::is_asset_duplicate, 1, m, 1);
    vael_util::create_tag_metadata(h(), md::online_album_id, 0, t, "remote");
    vael_util::create_tag_metadata(h(), md::is_friend_album_group, 1, t, 1);
    vael_util::create_tag_metadata(h(), md::tag_notes, 0, t, "kept");
    vael_util::set_tag_sync_status(other, true, h());
  });
  write([&] { vael_util::remove_online_metadata(h()); });
  const std::tuple<const char*, int, bool, std::size_t> cases[] = {
      {md::asset_id, m, false, 0},
      {md::is_asset_duplicate, m, false, 1},
      {md::rating, m, false, 1},
      {md::online_album_id, t, true, 0},
      {md::is_friend_album_group, t, true, 0},
      {md::tag_notes, t, true, 1},
  };
  for (const auto& [identifier, owner, tag, left] : cases) {
    EXPECT_TRUE(view().has_description(identifier)) << identifier;
    EXPECT_EQ((tag ? on_tag(identifier, owner) : on_media(identifier, owner)).size(), left)
        << identifier;
  }
  for (int id : {t, other}) EXPECT_EQ(on_tag(md::tag_sync_status, id), values{0}) << id;
}

TEST_F(CatalogUtil, DayNotesAreFoundByDateOrYearPrefixAndRectanglesAreText) {
  EXPECT_TRUE(vael_util::find_day_note(h(), "2021").empty());
  write([&] {
    vael_util::set_day_note(h(), "2021-05-01", "first");
    vael_util::set_day_note(h(), "2021-05-01", "second");
    vael_util::set_day_note(h(), "2021-06-01", "june");
    vael_util::set_day_note(h(), "0987-01-02", "old");
  });
  EXPECT_EQ(of(vael_util::find_day_note(h(), "2021-05-01")), values{"2021-05-01-second"});
  EXPECT_EQ(vael_util::find_day_notes_of_year(h(), 2021).size(), 2u);
  EXPECT_EQ(of(vael_util::find_day_notes_of_year(h(), 987)), values{"0987-01-02-old"});
  EXPECT_TRUE(vael_util::find_day_notes_of_year(h(), 98).empty());

  EXPECT_EQ(vael_util::format_rect(1, 2.5, -3, 0), "1,2.5,-3,0");
  EXPECT_EQ(vael_util::format_face_record(-1, 2, 3, 4, 5, 0.5, 6, "name", 1.25, 7, 8.5, 9),
            "-1#2,3,4,5#0.5#6#name#1.25#7#8.5#9");
  const std::pair<const char*, std::vector<double>> cases[] = {{"1,2,3", {0, 0, 0, 0}},
                                                               {"1,2,3,4,5", {1, 2, 3, 4}},
                                                               {"0.5,-1,1e2,4", {0.5, -1, 100, 4}},
                                                               {"", {0, 0, 0, 0}}};
  for (const auto& [text, expected] : cases) {
    double a = 9, b = 9, c = 9, d = 9;
    vael_util::parse_rect(text, a, b, c, d);
    EXPECT_EQ((std::vector<double>{a, b, c, d}), expected) << text;
  }
  double a = 9, b = 9, c = 9, d = 9;
  EXPECT_THROW(vael_util::parse_rect("1,x,3,4", a, b, c, d), boost::bad_lexical_cast);
  EXPECT_EQ(a, 9);
}

TEST_F(CatalogUtil, NewCatalogGetsTheWholeDefaultForestOnce) {
  EXPECT_THROW(write([&] {
                 vael_util::initialize_catalog_defaults(h(), {"too", "short"});
               }),
               std::invalid_argument);
  EXPECT_EQ(vael_util::read_initialize_revision(h()), 0);
  write([&] { vael_util::initialize_catalog_defaults(h(), names); });
  EXPECT_EQ(forest(),
            "stack_ns\nuser_ns: 'QR' user_qr_code 010, 'Trips' user_custom 011, 'Garden' "
            "user_custom 011, 'Work' user_custom 011, 'Misc' user_misc 011\nevent_ns\n"
            "person_ns: 'Family' user_person 011, 'Friends' user_person 011, 'Colleagues' "
            "user_person 011\nplace_ns\ncollection_ns\nsmartcollect_ns\nimport_ns\n"
            "hidden_ns: 'Hidden' hidden 010\nhistory_ns\nrejected_face_ns: '' rejected_face 010\n");
  expect_forest_invariants();
  EXPECT_EQ(vael_util::get_catalog_metadata(h(), md::catalog_guid).size(), 1u);
  for (const char* name : {"QR", "Misc"}) {
    const int id = top("user_ns", name).get_id();
    EXPECT_EQ(on_tag(md::tag_longitude, id), values{0.0}) << name;
    EXPECT_EQ(on_tag(md::tag_latitude, id), values{0.0}) << name;
  }
  EXPECT_EQ(vael_util::load_hidden_tag(h()).get_name(), "Hidden");
  EXPECT_EQ(vael_util::load_rejected_face_tag(h()).get_type_name(), "rejected_face");

  // At the revision nothing is redone, even what the user removed.
  vael::tag qr = top("user_ns", "QR");
  write([&] { qr.remove(vael::tag_base::even_if_referenced); });
  const std::string after_removal = forest();
  write([&] { vael_util::initialize_catalog_defaults(h(), names); });
  EXPECT_EQ(forest(), after_removal);

  // A second hidden tag is an error, not a choice.
  write([&] {
    vael::get_custom_tag_namespace(h(), "hidden_ns").create_tag("Hidden", vael_util::hidden_type());
  });
  EXPECT_EQ(vael_test::message_of<std::runtime_error>([&] { vael_util::load_hidden_tag(h()); }),
            "vael_util::load_hidden_tag -- Expected only one hidden tag");
}

TEST_F(CatalogUtil, EarlierRevisionGetsOnlyWhatEveryCatalogNeeds) {
  write([&] { vael_util::create_catalog_metadata(h(), md::initialize_revision, 1, 19); });
  write([&] { vael_util::initialize_catalog_defaults(h(), names); });
  EXPECT_EQ(forest(), "stack_ns\n");
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_description_table"), 1);

  write([&] { vael_util::create_catalog_metadata(h(), md::initialize_revision, 1, 18); });
  write([&] { vael_util::create_or_load_ns(h(), "hidden_ns"); });
  // Not a new catalog: no names are read, so none need be given.
  write([&] { vael_util::initialize_catalog_defaults(h(), {}); });
  EXPECT_EQ(forest(),
            "stack_ns\nhidden_ns: 'Hidden' hidden 010\nuser_ns\ncollection_ns\nsmartcollect_ns\n"
            "import_ns\nhistory_ns\nrejected_face_ns: '' rejected_face 010\n");
  EXPECT_EQ(vael_util::read_initialize_revision(h()), 19);
  EXPECT_EQ(vael_util::get_catalog_metadata(h(), md::initialize_revision).size(), 1u);
  EXPECT_TRUE(vael::metadata_view_t(h()).has_description(md::tag_sort_name));
}

TEST_F(CatalogUtil, ExpansionKeepsInputOrderAndDuplicatesAndUserFacingTagsGoByFlagsAndType) {
  vael::tag a, b, c, d, sentinel, inner, smart;
  vael::custom_tag_namespace ns;
  std::vector<std::pair<vael::tag, bool>> cases;
  write([&] {
    ns = vael_util::create_or_load_ns(h(), "user_ns");
    a = ns.create_tag("A", vael_util::user_custom_type());
    b = a.create_child("B", vael_util::user_custom_type());
    c = a.create_child("C", vael_util::user_custom_type());
    d = b.create_child("D", vael_util::user_custom_type());
    sentinel = c.create_child("zzABC@11#", vael_util::user_custom_type());
    inner = sentinel.create_child("Inner", vael_util::user_custom_type());
    smart = a.create_child("smartEvent", vael_util::smart_event_type());
    const vael::tag group = ns.create_tag("group", vael_util::album_group_type());
    cases = {
        {group, false},
        {ns.create_tag("misc", vael_util::user_misc_leaf_type()), true},
        {ns.create_tag("hidden", vael_util::hidden_type()), true},
        {group.create_child("album", vael_util::album_type()), true},
        {ns.create_tag("viiv", vael_util::album_intel_viiv_type()), false},
        {ns.create_tag("qr", vael_util::user_qr_code_type()), false},
        {ns.create_tag("smart", vael_util::smart_album_type()), false},
        {ns.create_tag("face", vael_util::rejected_face_type()), false},
        {ns.create_tag("no media", {"user_custom", false, false, true}), false},
    };
  });
  EXPECT_TRUE(vael_util::expand_tag_descendants(h(), {}).empty());
  const std::vector<int> subtree = {a.get_id(), b.get_id(),        c.get_id(),    smart.get_id(),
                                    d.get_id(), sentinel.get_id(), inner.get_id()};
  std::vector<int> twice = subtree;
  twice.insert(twice.end(), subtree.begin(), subtree.end());
  EXPECT_EQ(vael_util::expand_tag_descendants(h(), {a.get_id(), a.get_id()}), twice);
  EXPECT_EQ(vael_util::expand_tag_descendants(h(), {d.get_id(), b.get_id()}),
            (std::vector<int>{d.get_id(), b.get_id(), d.get_id()}));

  EXPECT_EQ(vael_util::expand_tag_descendants_ignore_internal_tags(h(), {a.get_id()}),
            (std::vector<int>{a.get_id(), b.get_id(), c.get_id(), d.get_id(), inner.get_id()}));
  EXPECT_EQ(vael_util::expand_tag_descendants_ignore_internal_tags(h(), {sentinel.get_id()}),
            (std::vector<int>{inner.get_id()}));

  EXPECT_FALSE(vael_util::is_user_facing_tag(ns.as_tag()));
  for (const auto& [t, expected] : cases) {
    EXPECT_EQ(vael_util::is_user_facing_tag(t), expected) << t.get_name();
  }
}

TEST_F(CatalogUtil, HistoryEventsAreNewDatedChildrenOfOneCategory) {
  const boost::posix_time::ptime before =
      boost::posix_time::second_clock::universal_time() - boost::posix_time::seconds(1);
  vael::tag first, second, project;
  write([&] {
    first = vael_util::create_export_history_tag(h());
    second = vael_util::create_export_history_tag(h());
    project = vael_util::create_project_history_tag(h(), "Calendar");
  });
  EXPECT_EQ(forest(),
            "stack_ns\nhistory_ns: 'history_export_category' history_export_category 001 "
            "['history_export' history_export 010, 'history_export' history_export 010], "
            "'history_print_category' history_print_category 001 ['history_project' "
            "history_project 010]\n");
  for (const vael::tag& event : {first, second, project}) {
    const auto dates = vael_util::get_tag_metadata(h(), md::tag_date, event.get_id());
    ASSERT_EQ(dates.size(), 1u);
    EXPECT_GE(dates[0].value.as_ptime(), before);
    EXPECT_LE(dates[0].value.as_ptime(), boost::posix_time::second_clock::universal_time());
  }
  EXPECT_EQ(on_tag(md::project_name, project.get_id()), values{"Calendar"});
}

TEST_F(CatalogUtil, FindOrCreateMakesOnceAndIconWritesThreeValues) {
  int parent = 0, smart_event = 0, child = 0;
  vael::tag people;
  auto find_child = [&] {
    return vael_util::find_or_create_child_tag(people, "Kids", vael_util::user_custom_type())
        .get_id();
  };
  write([&] {
    parent = vael_util::find_or_create_smart_album_parent(h(), names);
    smart_event = vael_util::find_or_create_smart_event_tag(h()).get_id();
    people = vael_util::create_or_load_ns(h(), "user_ns")
                 .create_tag("People", vael_util::user_custom_type());
    child = find_child();
  });
  write([&] {
    EXPECT_EQ(vael_util::find_or_create_smart_album_parent(h(), names), parent);
    EXPECT_EQ(vael_util::find_or_create_smart_event_tag(h()).get_id(), smart_event);
    EXPECT_EQ(find_child(), child);
    vael_util::set_tag_icon(h(), parent, {1, 2, 3}, 42, "0,0,1,1");
  });
  EXPECT_EQ(vael::get_tag(h(), parent).get_type_name(), "smartcollect");
  EXPECT_EQ(vael::get_tag(h(), parent).get_name(), "Smart Albums");
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_table"), 8);
  EXPECT_EQ(on_tag(md::tag_icon, parent).at(0).as_blob(), (dbl::blob{1, 2, 3}));
  EXPECT_EQ(on_tag(md::tag_icon_media_id, parent), values{42});
  EXPECT_EQ(on_tag(md::tag_icon_media_crop_rect, parent), values{"0,0,1,1"});
}

TEST_F(CatalogUtil, ContentAnalysisTreeHasItsFixedShapeAndIsMadeOnce) {
  std::vector<std::string> analysis;
  for (int n = 0; n < 60; ++n) analysis.push_back("n" + std::to_string(n));
  EXPECT_THROW(write([&] { vael_util::create_content_analysis_tags(h(), {"n0"}); }),
               std::invalid_argument);
  write([&] { vael_util::create_content_analysis_tags(h(), analysis); });
  // Nodes by type; roots cannot hold media. The hidden root passes its type to its subtree.
  std::map<std::string, int> types;
  for (const char* ns : {"vdl_content_analysis_tag_ns", "vdl_content_analysis_hidden_tag_ns"}) {
    for (int id : vael::get_custom_tag_namespace(h(), ns).get_all_descendant_ids()) {
      const vael::tag t = vael::get_tag(h(), id);
      ++types[t.get_type_name() + (t.can_tag_media() ? "" : " root")];
    }
  }
  EXPECT_EQ(types, (std::map<std::string, int>{{"vdl_content_analysis_group root", 1},
                                               {"vdl_content_analysis_group", 51},
                                               {"vdl_content_analysis_hidden_group root", 1},
                                               {"vdl_content_analysis_hidden_group", 7}}));
  EXPECT_EQ(top("vdl_content_analysis_tag_ns", "n0").get_children().at(0).get_name(), "n3");

  const int before = count("SELECT COUNT(*) FROM tag_table");
  analysis[5] = "renamed";
  write([&] { vael_util::create_content_analysis_tags(h(), analysis); });
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_table"), before);
}

}  // namespace
