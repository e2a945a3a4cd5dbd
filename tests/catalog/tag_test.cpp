#include "catalog/tag.h"

#include <algorithm>

#include "catalog/hierarchy_change.h"
#include "catalog/tag_base.h"
#include "catalog/tag_queries.h"
#include "dbl/exceptions.h"
#include "tests/catalog/tag_test_support.h"

namespace {

using ids = std::vector<int>;
using vael_test::message_of;
using vael_util::user_misc_leaf_type;
using vael_util::user_person_type;

ids sorted(ids v) {
  std::sort(v.begin(), v.end());
  return v;
}

struct refused {
  const char* name;
  std::function<void()> call;
  const char* message;
};

// person_ns: Anna { Kids { Carl } }, Ben; user_ns: U; collection_ns: Trips (a group) { Rome };
// and five media.
class Tags : public vael_test::tag_catalog {
 protected:
  Tags() {
    write([&] {
      people = vael::create_custom_tag_namespace(h(), "person_ns");
      user = vael::create_custom_tag_namespace(h(), "user_ns");
      const auto albums = vael::create_custom_tag_namespace(h(), "collection_ns");
      anna = people.create_tag("Anna", user_person_type());
      ben = people.create_tag("Ben", user_person_type());
      kids = anna.create_child("Kids", user_person_type());
      carl = kids.create_child("Carl", user_misc_leaf_type());
      u = user.create_tag("U", user_person_type());
      trips = albums.create_tag("Trips", vael_test::album_group_type());
      rome = trips.create_child("Rome", vael_util::album_type());
      for (int i = 0; i < 5; ++i) m.push_back(vael_test::add_media(c_.get(), std::to_string(i)));
    });
  }
  int media_change(int id) const { return vael_test::media_change_id(db(), id); }
  int current() const { return c_.get().change_tracker().current_change_id(); }
  // Every row's place in the forest.
  std::string forest() const {
    return vael_test::text(db(),
                           "SELECT group_concat(id || ':' || parent_id || ':' || sibling_index, "
                           "' ') FROM (SELECT * FROM tag_table ORDER BY id)");
  }
  template <std::size_t N>
  void expect_refused(const refused (&cases)[N]) {
    for (const refused& c : cases) {
      EXPECT_EQ(message_of<std::logic_error>([&] { write(c.call); }), c.message) << c.name;
    }
  }
  int parent_of(const vael::tag& t) const {
    return vael::get_tag(h(), t.get_id()).get_parent().get_id();
  }

  vael::custom_tag_namespace people, user;
  vael::tag anna, ben, kids, carl, u, trips, rome;
  ids m;
};

TEST_F(Tags, ForestOfSeveralLevelsKeepsOrderFlagsAndNamespaces) {
  expect_forest_invariants();
  EXPECT_EQ(column("sibling_index", anna.get_id()), 1);
  EXPECT_EQ(column("sibling_index", ben.get_id()), 2);
  EXPECT_EQ(column("sibling_index", kids.get_id()), 1);
  // A group cannot hold media, so its ordered flag is dropped; the album keeps its own.
  EXPECT_EQ(column("media_is_ordered", trips.get_id()), 0);
  EXPECT_EQ(column("can_tag_media", trips.get_id()), 0);
  EXPECT_EQ(column("media_is_ordered", rome.get_id()), 1);
  EXPECT_EQ(column("change_id", carl.get_id()), current());

  std::vector<std::string> names;
  for (const auto& ns : vael::get_custom_tag_namespaces(h())) names.push_back(ns.get_name());
  EXPECT_EQ(names, (std::vector<std::string>{"stack_ns", "person_ns", "user_ns", "collection_ns"}));

  const vael::tag loaded = vael::get_tag(h(), carl.get_id());
  EXPECT_EQ(loaded.get_type_name(), "user_misc");
  EXPECT_EQ(loaded.get_parent().get_id(), kids.get_id());
  EXPECT_EQ(loaded.get_namespace_id(), people.get_id());
  EXPECT_EQ(loaded.get_namespace()->get_name(), "person_ns");
  EXPECT_TRUE(loaded.has_parent_tag() && !anna.has_parent_tag());
  EXPECT_EQ(people.as_tag().get_namespace_id(), 0);
  EXPECT_THROW(people.as_tag().get_namespace(), vael::database_state_invalid_error);

  EXPECT_EQ(people.get_all_descendant_ids(),
            (ids{anna.get_id(), ben.get_id(), kids.get_id(), carl.get_id()}));
  EXPECT_EQ(people.as_tag().get_descendant_container_ids(),
            (ids{anna.get_id(), ben.get_id(), kids.get_id()}));
}

TEST_F(Tags, RemovalRenumbersSurvivorsAndRefusesWhatStillHangsOnIt) {
  write([&] { ben.tag_media(m[0]); });
  const std::string before = forest();
  EXPECT_THROW(write([&] { anna.remove(vael::tag_base::unless_referenced); }), std::logic_error);
  EXPECT_THROW(write([&] { ben.remove(vael::tag_base::unless_referenced); }),
               dbl::record_has_foreign_references_error);
  EXPECT_EQ(forest(), before);

  write([&] {
    for (vael::tag* t : {&carl, &kids, &anna}) t->remove(vael::tag_base::unless_referenced);
  });
  EXPECT_EQ(column("sibling_index", ben.get_id()), 0) << "renumbered families count from 0";
  const int media_before = media_change(m[0]);
  write([&] { ben.remove(vael::tag_base::even_if_referenced); });
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_to_media_table"), 0);
  EXPECT_GT(media_change(m[0]), media_before);
  EXPECT_THROW(write([&] { vael::remove_custom_tag_namespace(h(), "collection_ns"); }),
               std::logic_error);
  write([&] { vael::remove_custom_tag_namespace(h(), "person_ns"); });
  expect_forest_invariants();
}

TEST_F(Tags, TaggingStampsExactlyTheMediaAndTagsThatChanged) {
  write([&] {
    anna.tag_media(m[0]);
    anna.tag_media(m[0]);
    ben.untag_media(m[1]);
  });
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_to_media_table"), 1);
  EXPECT_TRUE(anna.is_media_tagged(m[0]));
  EXPECT_EQ(media_change(m[0]), current());
  EXPECT_EQ(column("change_id", anna.get_id()), current());
  EXPECT_LT(media_change(m[1]), current());
  EXPECT_LT(column("change_id", ben.get_id()), current());

  write([&] { rome.set_media_order({m[0], m[1], m[2]}); });
  const int ordered_at = current();
  write([&] { rome.set_media_order({m[2], m[0], m[1]}); });
  EXPECT_EQ(rome.get_ordered_media_ids(), (ids{m[2], m[0], m[1]}));
  EXPECT_EQ(count("SELECT media_index FROM tag_to_media_table WHERE tag_id = " +
                  std::to_string(rome.get_id()) + " AND media_id = " + std::to_string(m[1])),
            2);
  // A pure permutation moves the album only.
  for (int id : {m[0], m[1], m[2]}) EXPECT_EQ(media_change(id), ordered_at) << id;
  EXPECT_EQ(column("change_id", rome.get_id()), current());
  write([&] { rome.set_media_order({m[2], m[0]}); });
  EXPECT_EQ(media_change(m[1]), current());
  EXPECT_EQ(media_change(m[0]), ordered_at);

  write([&] { anna.untag_media(m[0]); });
  EXPECT_FALSE(anna.is_media_tagged(m[0]));
  EXPECT_EQ(media_change(m[0]), current());
  expect_forest_invariants();
}

TEST_F(Tags, MisuseAndChangesOutsideAHierarchyChangeAreRefusedWithTheirOwnText) {
  const refused cases[] = {
      {"tag ordered", [&] { rome.tag_media(m[0]); },
       "Attempted to tag media without ordering it on an ordered tag."},
      {"tag without media", [&] { trips.tag_media(m[0]); }, "Cannot tag media with this tag."},
      {"untag ordered", [&] { rome.untag_media(m[0]); },
       "Attempted to untag media on an ordered tag.  Use set_media_order instead."},
      {"order unordered", [&] { anna.set_media_order({m[0]}); },
       "Attempted to order media in an unordered tag."},
      {"ordered of unordered", [&] { anna.get_ordered_media_ids(); },
       "Cannot get ordered media from an unordered tag."},
      {"parent of root", [&] { people.as_tag().get_parent(); },
       "Attempted to get the parent tag for a top level tag."},
      {"no children", [&] { anna.set_can_have_children(false); },
       "If a tag has child tags, you cannot set it to not have children"},
      {"remove with child", [&] { anna.remove(vael::tag_base::unless_referenced); },
       "Cannot delete a tag with children.  All child tags should be either moved or removed "
       "before deleting a tag."},
      {"namespace by id", [&] { vael::get_tag_in_namespace(h(), people.get_id()); },
       "The tag id specified reference a custom tag.  It referenced a custom tag namespace"},
      {"second namespace", [&] { vael::create_custom_tag_namespace(h(), "person_ns"); },
       "There is already a custom tag namespace named person_ns"},
      {"empty tag", [] { vael::tag().get_id(); },
       "The connection to vael has already been closed."},
      {"finish", [&] { vael::finish_tag_hierarchy_change(h()); },
       "Attempted to finish a tag hierarchy change without starting it."},
      {"finish two", [&] { vael::finish_two_namespace_hierarchy_change(h()); },
       "Attempted to finish a tag hierarchy change without starting it."},
      {"tag children", [&] { ben.set_children({kids}); },
       "You must be in a tag hierarchy change to set tag children."},
      {"namespace children", [&] { people.set_children({}); },
       "The tag namespace doesn't match the namespace for the current tag hierarchy change."},
      {"invalid namespace",
       [&] { vael::start_tag_hierarchy_change(h(), vael::custom_tag_namespace()); },
       "Can't change the tag hierarchy on an invalid namespace"},
  };
  const std::string before = forest();
  expect_refused(cases);
  EXPECT_EQ(
      message_of<std::runtime_error>([&] { vael::get_custom_tag_namespace(h(), "PERSON_NS"); }),
      "The custom tag namespace 'PERSON_NS' does not exist.");
  EXPECT_EQ(vael::get_tag_in_namespace(h(), anna.get_id()).get_name(), "Anna");
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_to_media_table"), 0);
  EXPECT_EQ(forest(), before);
  EXPECT_FALSE(vael::is_in_tag_hierarchy_change(h()));
  EXPECT_FALSE(vael::get_hierarchy_change_namespace(h()).is_valid());
}

TEST_F(Tags, QueriesOverManyMediaKeepToTheirNamespace) {
  // Kids can have children, Carl is a leaf; U is of another namespace.
  write([&] {
    for (std::size_t i = 0; i < 5; ++i) u.tag_media(m[i]);
    for (std::size_t i = 0; i < 4; ++i) kids.tag_media(m[i]);
    for (std::size_t i = 0; i < 3; ++i) carl.tag_media(m[i]);
  });
  const int a = kids.get_id(), b = carl.get_id();
  const vael::tag ns = people.as_tag();
  EXPECT_EQ(sorted(ns.get_tags_on_media(m[0])), sorted({a, b}));
  EXPECT_EQ(vael::get_all_tags_on_media(h(), m[4]), ids{u.get_id()});
  EXPECT_EQ(sorted(ns.get_tags_on_all_media({m[0], m[1], m[2]})), sorted({a, b}));
  EXPECT_EQ(ns.get_tags_on_all_media({m[0], m[3]}), ids{a});
  EXPECT_EQ(sorted(ns.get_tags_on_any_media({m[2], m[2], m[4]}, false)), sorted({a, b}));
  EXPECT_EQ(ns.get_tags_on_any_media({m[2], m[4]}, true), ids{b});
  EXPECT_TRUE(ns.get_tags_on_any_media({}, false).empty());

  using freq = std::vector<std::pair<int, int>>;
  EXPECT_EQ(ns.get_tag_frequencies(m, false, 0, 0), (freq{{a, 4}}));
  EXPECT_EQ(ns.get_tag_frequencies(m, false, 1, 0), (freq{{a, 4}, {b, 3}}));
  EXPECT_EQ(ns.get_tag_frequencies(m, true, 1, 0), (freq{{b, 3}}));
  EXPECT_TRUE(ns.has_other_named_tag({m[0]}, false, "Kids"));
  EXPECT_FALSE(ns.has_other_named_tag({m[3], m[4]}, false, "Kids"));
  EXPECT_FALSE(ns.has_other_named_tag({m[0]}, true, "Carl"));

  // The face score is metadata on the tag; rows written here as the metadata code writes them.
  vael_test::run(db(),
                 "INSERT INTO metadata_description_table VALUES (900, "
                 "'omb:faceStackComplianceScore', 'integer', 'tag', 0)");
  vael_test::run(db(), "INSERT INTO metadata_integer_table VALUES (901, 900, 7)");
  vael_test::run(db(), "INSERT INTO tag_to_metadata_table VALUES (" + std::to_string(a) + ", 901)");
  EXPECT_EQ(ns.get_tag_frequencies(m, false, 1, 7), (freq{{a, 4}}));
  EXPECT_TRUE(ns.get_tag_frequencies(m, false, 1, 8).empty());
}

TEST(TagQueryText, AllMediaJoinsOncePerMedia) {
  const std::string join =
      "INNER JOIN tag_to_media_table AS ttm0\n\tON ttm.tag_id = ttm0.tag_id "
      "AND ttm0.media_id = ?";
  const std::string head = "SELECT DISTINCT(ttm.tag_id) FROM tag_to_media_table AS ttm\n" + join;
  EXPECT_EQ(vael::tags_on_all_media_sql(1), head);
  EXPECT_EQ(vael::tags_on_all_media_sql(2),
            head +
                "INNER JOIN tag_to_media_table AS ttm1\n\tON ttm.tag_id = ttm1.tag_id AND "
                "ttm1.media_id = ?");
}

TEST_F(Tags, HierarchyChangeMovesSubtreesWithinAndBetweenNamespaces) {
  write([&] {
    vael::start_tag_hierarchy_change(h(), people);
    EXPECT_TRUE(vael::is_in_tag_hierarchy_change(h()));
    EXPECT_EQ(vael::get_hierarchy_change_namespace(h()).get_id(), people.get_id());
    anna.set_children({});
    ben.set_children({kids});
    people.set_children({ben, anna});
    vael::finish_tag_hierarchy_change(h());
  });
  EXPECT_FALSE(vael::is_in_tag_hierarchy_change(h()));
  EXPECT_EQ(parent_of(kids), ben.get_id());
  EXPECT_EQ(parent_of(carl), kids.get_id());
  EXPECT_EQ(column("sibling_index", ben.get_id()), 0);
  EXPECT_EQ(column("sibling_index", anna.get_id()), 1);
  EXPECT_EQ(column("change_id", kids.get_id()), current());

  write([&] {
    vael::start_tag_hierarchy_change(h(), people, user);
    // Tags of the second namespace are assigned from the first only.
    EXPECT_THROW(vael::get_tag(h(), u.get_id()).set_children({}), std::logic_error);
    ben.set_children({kids, u});
    vael::finish_two_namespace_hierarchy_change(h());
  });
  EXPECT_EQ(vael::get_tag(h(), u.get_id()).get_namespace()->get_name(), "person_ns");
  EXPECT_TRUE(user.get_children().empty());
  expect_forest_invariants();
}

TEST_F(Tags, FailedHierarchyChangeLeavesRowsAndCachesAsBefore) {
  const std::string before = forest();
  for (const vael::tag& t : {anna, ben, kids, carl}) vael::get_tag(h(), t.get_id());
  {
    vael::transaction t(h());
    t.begin(vael::without_undo, vael::lock_now);
    vael::start_tag_hierarchy_change(h(), people);
    ben.set_children({carl});
    anna.set_children({});              // Kids is dropped from every list
    vael::get_tag(h(), kids.get_id());  // caches the half-moved row
    EXPECT_THROW(vael::finish_tag_hierarchy_change(h()), std::logic_error);
    EXPECT_TRUE(vael::is_in_tag_hierarchy_change(h()));
  }
  EXPECT_EQ(forest(), before);
  EXPECT_EQ(parent_of(kids), anna.get_id());
  EXPECT_EQ(parent_of(carl), kids.get_id());
  EXPECT_TRUE(vael::get_tag(h(), anna.get_id()).has_children());

  // The change stays open until a finish succeeds, and meanwhile guards the forest.
  const refused cases[] = {
      {"create", [&] { people.create_tag("New", user_person_type()); },
       "Cannot create tags while in a tag hierarchy change."},
      {"create child", [&] { anna.create_child("New", user_person_type()); },
       "Cannot create tags while in a tag hierarchy change."},
      {"remove", [&] { carl.remove(vael::tag_base::even_if_referenced); },
       "Cannot remove tags while in a tag hierarchy change."},
      {"remove namespace", [&] { vael::remove_custom_tag_namespace(h(), "user_ns"); },
       "Cannot remove a tag namespace while in a tag hierarchy change."},
      {"other namespace", [&] { u.set_children({}); },
       "The tag namespace doesn't match the namespace for the current tag hierarchy change."},
      {"under itself", [&] { kids.set_children({anna}); },
       "A tag cannot become a child of itself or of its descendants."},
  };
  expect_refused(cases);
  EXPECT_EQ(forest(), before);
  write([&] { vael::create_custom_tag_namespace(h(), "event_ns"); });
  vael::finish_tag_hierarchy_change(h());
  EXPECT_FALSE(vael::is_in_tag_hierarchy_change(h()));
}

// The count a change is checked against: leaves under a tag that cannot have children do not
// count, and rows damaged into a cycle through the namespace still give an answer.
TEST_F(Tags, HierarchyChangeCountsTheNamespaceOnceEvenThroughDamagedRows) {
  const auto counted = [&] {
    std::size_t n = 0;
    write([&] {
      vael::start_tag_hierarchy_change(h(), people);
      n = vael::get_connection(h()).hierarchy_tag_count;
      vael::finish_tag_hierarchy_change(h());
    });
    return n;
  };
  const auto move = [&](int id, int parent) {
    vael_test::run(db(), "UPDATE tag_table SET parent_id = " + std::to_string(parent) +
                             " WHERE id = " + std::to_string(id));
  };
  EXPECT_EQ(counted(), 4U);
  move(u.get_id(), carl.get_id());
  EXPECT_EQ(counted(), 4U) << "a row under a leaf type counts";
  move(people.base().get_id(), kids.get_id());
  EXPECT_EQ(counted(), 5U) << "the cycle back to the namespace counts it once, and ends";
}

}  // namespace
