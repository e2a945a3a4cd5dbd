#include "catalog_util/well_known_tags.h"

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/metadata_view.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "tests/catalog/tag_test_support.h"

namespace {

namespace md = vael_util::metadata_identifier;

const vael_util::default_tag_names names = {"-",  "Family", "Friends", "Colleagues",  "-",
                                            "-",  "Trips",  "Garden",  "Work",        "Misc",
                                            "QR", "-",      "-",       "Smart Albums"};

class WellKnownTags : public vael_test::tag_catalog {
 protected:
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
  void set_revision(int revision) {
    write([&] {
      vael_util::create_catalog_metadata(h(), md::initialize_revision, 1,
                                         dbl::entry_data(revision));
    });
  }
  vael::tag top(const char* ns, const std::string& name) {
    vael::tag found;
    EXPECT_TRUE(vael_util::find_top_level_tag(vael::get_custom_tag_namespace(h(), ns), name, found))
        << name;
    return found;
  }
};

const char always_made[] =
    "collection_ns\nsmartcollect_ns\nimport_ns\nhidden_ns: 'Hidden' hidden 010\nhistory_ns\n"
    "rejected_face_ns: '' rejected_face 010\n";

TEST_F(WellKnownTags, NewCatalogGetsTheWholeDefaultForestOnce) {
  EXPECT_THROW(write([&] {
                 vael_util::initialize_catalog_defaults(h(), {"too", "short"});
               }),
               std::invalid_argument);
  EXPECT_EQ(vael_util::read_initialize_revision(h()), 0);
  write([&] { vael_util::initialize_catalog_defaults(h(), names); });
  const std::string expected =
      "stack_ns\n"
      "user_ns: 'QR' user_qr_code 010, 'Trips' user_custom 011, 'Garden' user_custom 011, "
      "'Work' user_custom 011, 'Misc' user_misc 011\n"
      "event_ns\n"
      "person_ns: 'Family' user_person 011, 'Friends' user_person 011, 'Colleagues' user_person "
      "011\nplace_ns\n" +
      std::string(always_made);
  EXPECT_EQ(forest(), expected);
  expect_forest_invariants();
  EXPECT_EQ(vael_util::get_catalog_metadata(h(), md::catalog_guid).size(), 1u);
  for (const char* name : {"QR", "Misc"}) {
    const int id = top("user_ns", name).get_id();
    EXPECT_EQ(vael_util::get_tag_metadata(h(), md::tag_longitude, id).at(0).value.as_double(), 0.0);
    EXPECT_EQ(vael_util::get_tag_metadata(h(), md::tag_latitude, id).at(0).value.as_double(), 0.0);
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

TEST_F(WellKnownTags, EarlierRevisionGetsOnlyWhatEveryCatalogNeeds) {
  set_revision(19);
  write([&] { vael_util::initialize_catalog_defaults(h(), names); });
  EXPECT_EQ(forest(), "stack_ns\n");
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_description_table"), 1);

  set_revision(18);
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

TEST_F(WellKnownTags, ExpansionKeepsInputOrderDuplicatesAndSkipsOnlyInternalNames) {
  vael::tag a, b, c, d, sentinel, inner, smart;
  write([&] {
    const vael::custom_tag_namespace ns = vael_util::create_or_load_ns(h(), "user_ns");
    a = ns.create_tag("A", vael_util::user_custom_type());
    b = a.create_child("B", vael_util::user_custom_type());
    c = a.create_child("C", vael_util::user_custom_type());
    d = b.create_child("D", vael_util::user_custom_type());
    sentinel = c.create_child("zzABC@11#", vael_util::user_custom_type());
    inner = sentinel.create_child("Inner", vael_util::user_custom_type());
    smart = a.create_child("smartEvent", vael_util::smart_event_type());
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
}

TEST_F(WellKnownTags, UserFacingTagsByFlagsAndType) {
  vael::custom_tag_namespace ns;
  std::vector<std::pair<vael::tag, bool>> cases;
  write([&] {
    ns = vael_util::create_or_load_ns(h(), "user_ns");
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
  EXPECT_FALSE(vael_util::is_user_facing_tag(ns.as_tag()));
  for (const auto& [t, expected] : cases) {
    EXPECT_EQ(vael_util::is_user_facing_tag(t), expected) << t.get_name();
  }
}

TEST_F(WellKnownTags, HistoryEventsAreNewDatedChildrenOfOneCategory) {
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
  EXPECT_EQ(
      vael_util::get_tag_metadata(h(), md::project_name, project.get_id()).at(0).value.as_string(),
      "Calendar");
}

TEST_F(WellKnownTags, FindOrCreateMakesOnceAndIconWritesThreeValues) {
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
  EXPECT_EQ(vael_util::get_tag_metadata(h(), md::tag_icon, parent).at(0).value.as_blob(),
            (dbl::blob{1, 2, 3}));
  EXPECT_EQ(vael_util::get_tag_metadata(h(), md::tag_icon_media_id, parent).at(0).value.as_int(),
            42);
  EXPECT_EQ(vael_util::get_tag_metadata(h(), md::tag_icon_media_crop_rect, parent)
                .at(0)
                .value.as_string(),
            "0,0,1,1");
}

TEST_F(WellKnownTags, ContentAnalysisTreeHasItsFixedShapeAndIsMadeOnce) {
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
