#include "catalog/tag.h"

#include <algorithm>
#include <map>

#include "catalog/hierarchy_change.h"
#include "catalog/metadata_view.h"
#include "catalog/tag_base.h"
#include "catalog/tag_queries.h"
#include "dbl/exceptions.h"
#include "tests/catalog/tag_test_support.h"

namespace {

namespace pt = boost::posix_time;
using ids = std::vector<int>;
using vael::metadata_association_type;
using vael::metadata_data_type;
using vael::metadata_description_t;
using vael::metadata_item_t;
using vael_test::message_of;
using vael_test::misc_leaf_type;
using vael_test::person_type;

const auto logic_error_of = message_of<std::logic_error>;
constexpr auto media_assoc = metadata_association_type::media_association_type;

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
      anna = people.create_tag("Anna", person_type());
      ben = people.create_tag("Ben", person_type());
      kids = anna.create_child("Kids", person_type());
      carl = kids.create_child("Carl", misc_leaf_type());
      u = user.create_tag("U", person_type());
      trips = albums.create_tag("Trips", vael_test::album_group_type());
      rome = trips.create_child("Rome", vael_test::album_type());
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
  int parent_of(const vael::tag& t) const {
    return vael::get_tag(h(), t.get_id()).get_parent().get_id();
  }

  vael::custom_tag_namespace people, user;
  vael::tag anna, ben, kids, carl, u, trips, rome;
  ids m;
};

TEST_F(Tags, ForestOfSeveralLevelsKeepsOrderFlagsAndNamespacesAndRefusesMisuse) {
  expect_forest_invariants();
  EXPECT_EQ(column("sibling_index", anna.get_id()), 1);
  EXPECT_EQ(column("sibling_index", ben.get_id()), 2);
  EXPECT_EQ(column("sibling_index", kids.get_id()), 1);
  // A group cannot hold media, so its ordered flag is dropped; the album keeps its own.
  EXPECT_EQ(column("media_is_ordered", trips.get_id()), 0);
  EXPECT_EQ(column("can_tag_media", trips.get_id()), 0);
  EXPECT_EQ(column("media_is_ordered", rome.get_id()), 1);
  EXPECT_EQ(column("change_id", carl.get_id()), current());

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

  // Misuse, and hierarchy changes outside a hierarchy change, are refused with their own text.
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
  for (const refused& c : cases)
    EXPECT_EQ(logic_error_of([&] { write(c.call); }), c.message) << c.name;
  EXPECT_EQ(
      message_of<std::runtime_error>([&] { vael::get_custom_tag_namespace(h(), "PERSON_NS"); }),
      "The custom tag namespace 'PERSON_NS' does not exist.");
  EXPECT_EQ(vael::get_tag_in_namespace(h(), anna.get_id()).get_name(), "Anna");
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_to_media_table"), 0);
  EXPECT_EQ(forest(), before);
  EXPECT_FALSE(vael::is_in_tag_hierarchy_change(h()));
  EXPECT_FALSE(vael::get_hierarchy_change_namespace(h()).is_valid());
}

TEST_F(Tags, ASavepointTakesBackCommittedTagsAlsoFromTheCacheAndTheSeenCounter) {
  const int before = current();
  int made = 0;
  {
    const vael::savepoint s(h());
    made = new_root_tag("gone");
    EXPECT_EQ(vael::get_tag(h(), made).get_name(), "gone");
    EXPECT_EQ(current(), before + 1);
  }
  EXPECT_EQ(current(), before);
  EXPECT_THROW(vael::get_tag(h(), made), std::logic_error);
  EXPECT_EQ(new_root_tag("again"), made);
  EXPECT_FALSE(c_.get().change_tracker().db_changed());
}

TEST_F(Tags, TaggingAndRemovalStampExactlyTheMediaAndTagsThatChangedAndRenumberSurvivors) {
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

  // Removal renumbers the survivors and refuses what still hangs on it.
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
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_to_media_table WHERE tag_id = " +
                  std::to_string(ben.get_id())),
            0);
  EXPECT_GT(media_change(m[0]), media_before);
  EXPECT_THROW(write([&] { vael::remove_custom_tag_namespace(h(), "collection_ns"); }),
               std::logic_error);
  write([&] { vael::remove_custom_tag_namespace(h(), "person_ns"); });
  expect_forest_invariants();
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

TEST_F(Tags, HierarchyChangesMoveSubtreesWithinAndBetweenNamespacesOrLeaveRowsAndCachesAsBefore) {
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
      {"create", [&] { people.create_tag("New", person_type()); },
       "Cannot create tags while in a tag hierarchy change."},
      {"create child", [&] { anna.create_child("New", person_type()); },
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
  for (const refused& c : cases)
    EXPECT_EQ(logic_error_of([&] { write(c.call); }), c.message) << c.name;
  EXPECT_EQ(forest(), before);
  write([&] { vael::create_custom_tag_namespace(h(), "event_ns"); });
  vael::finish_tag_hierarchy_change(h());
  EXPECT_FALSE(vael::is_in_tag_hierarchy_change(h()));

  // A change that succeeds moves subtrees within and between namespaces.
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

class MetadataView : public vael_test::tag_catalog {
 protected:
  vael::metadata_view_t view() const { return vael::metadata_view_t(h()); }
  metadata_description_t describe(const std::string& identifier, metadata_data_type type,
                                  bool multiple = false) {
    metadata_description_t d;
    write([&] { d = view().create_description(identifier, type, media_assoc, multiple); });
    return d;
  }
  metadata_item_t on_media(int media_id, const metadata_description_t& d,
                           const dbl::entry_data& value) {
    metadata_item_t item{value, d, 0};
    write([&] { view().create_media(media_id, item); });
    return item;
  }
};

TEST_F(MetadataView,
       EveryValueTypeIsWrittenReadBackInTypeOrderAndOverwrittenAndDescriptionsReadBack) {
  const pt::ptime noon = pt::time_from_string("2021-05-01 12:00:00.250");
  const struct row {
    metadata_data_type type;
    dbl::entry_data first, second;
  } rows[] = {
      {metadata_data_type::string_type, "caf\xC3\xA9", std::string(3000, 'x')},
      {metadata_data_type::integer_type, 5, std::int64_t{1} << 40},
      {metadata_data_type::decimal_type, 2.5, -0.125},
      {metadata_data_type::date_time_type, noon, noon + pt::hours(30)},
      {metadata_data_type::blob_type, dbl::blob{0, 1, 255}, dbl::blob{}},
  };
  const int m = new_media("/a.jpg"), t = new_root_tag("t");
  // Made from the last type to the first: an owner's items still come in data type order.
  std::vector<metadata_item_t> on_m(5), on_t(5);
  for (std::size_t n = 5; n-- > 0;) {
    const metadata_description_t d = describe("test:" + std::to_string(n), rows[n].type);
    on_m[n] = on_media(m, d, rows[n].first);
    on_t[n] = metadata_item_t{rows[n].first, d, 0};
    write([&] { view().create_tag(t, on_t[n]); });
  }
  const std::vector<metadata_item_t> all = view().get_all_on_media(m);
  ASSERT_EQ(all.size(), 5u);
  for (std::size_t n = 0; n < 5; ++n) {
    SCOPED_TRACE(n);
    const metadata_description_t& d = on_m[n].description;
    EXPECT_EQ(all[n].description.get_identifier(), "test:" + std::to_string(n));
    EXPECT_EQ(all[n].value, rows[n].first);
    write([&] { view().set_value(on_m[n], rows[n].second); });
    EXPECT_EQ(on_m[n].value, rows[n].second);
    ASSERT_EQ(view().get_media(d, m).size(), 1u);
    EXPECT_EQ(view().get_media(d, m)[0].value, rows[n].second);
    EXPECT_EQ(view().get_tag(d, t)[0].value, rows[n].first);
    EXPECT_EQ(sorted(view().get_item_ids(d)), sorted({on_m[n].id, on_t[n].id}));
  }
  EXPECT_TRUE(view().get_all_on_media(new_media("/2.jpg")).empty());
  // A value that does not convert to the column's kind writes nothing.
  metadata_item_t bad{"five", on_m[1].description, 0};
  const int other = new_media("/b.jpg");
  EXPECT_THROW(write([&] { view().create_media(other, bad); }), std::bad_cast);
  EXPECT_EQ(view().get_all_items(bad.description).size(), 2u);
  EXPECT_TRUE(view().get_media(bad.description, other).empty());

  // Descriptions read back, refuse unknown stored types and go with a rolled back step.
  const metadata_description_t d = describe("test:d", metadata_data_type::string_type, true);
  EXPECT_EQ(view().get_description(d.get_id()), d);
  EXPECT_TRUE(view().has_description("test:d"));
  EXPECT_FALSE(view().has_description(d.get_id() + 1));
  vael_test::run(db(),
                 "INSERT INTO metadata_description_table (id, identifier, data_type, "
                 "association_type, can_have_multiple_items) VALUES (900, 'bad:type', 'text', "
                 "'media_association_type', 0), (901, 'bad:assoc', 'string_type', 'media', 0)");
  EXPECT_EQ(logic_error_of([&] { view().get_description("bad:type"); }),
            "An unrecognized metadata type string was encountered.");
  EXPECT_EQ(logic_error_of([&] { view().get_description(901); }),
            "An unrecognized metadata association type string was encountered.");
  EXPECT_THROW(view().get_description("test:none"), std::logic_error);

  // A description made in a step that rolls back is forgotten with it.
  EXPECT_EQ(refusal([&] {
              view().create_description("test:undone", metadata_data_type::string_type, media_assoc,
                                        false);
              view().get_description("test:undone");
              throw std::runtime_error("rolled back");
            }),
            "rolled back");
  EXPECT_FALSE(view().has_description("test:undone"));

  // Owner queries leave the description id out of the index choice; what they read is checked
  // through the values above.
  const metadata_description_t d3(3, "x", metadata_data_type::decimal_type, media_assoc, false);
  for (const bool values : {true, false}) {
    EXPECT_NE(vael::metadata_view_t::get_items_sql(values, d3, "tag_to_metadata_table", "tag_id")
                  .find("\nWHERE +metadata_decimal_table.description_id = :md_desc_id"),
              std::string::npos);
  }
  // A written copy leaves the original as it was.
  metadata_description_t copy = d3;
  copy.set_can_have_multiple_items(true);
  EXPECT_FALSE(d3.can_have_multiple_items());
}

TEST_F(MetadataView,
       SingleValuedDescriptionsRefuseASecondValuePerOwnerAndOnlyTagMetadataStampsTheTag) {
  const metadata_description_t single = describe("test:single", metadata_data_type::string_type);
  const metadata_description_t multi =
      describe("test:multi", metadata_data_type::string_type, true);
  const int m1 = new_media("/1.jpg"), m2 = new_media("/2.jpg"), t = new_root_tag("t");
  on_media(m1, single, "a");
  on_media(m2, single, "b");
  on_media(m1, multi, "a");
  on_media(m1, multi, "b");
  EXPECT_EQ(view().get_media(multi, m1).size(), 2u);
  metadata_item_t item{"x", single, 0};
  write([&] { view().create_tag(t, item); });
  const std::string already = "There is already a metadata item for this description on this ";
  const auto make = [&](const char* identifier, metadata_data_type type,
                        metadata_association_type association) {
    view().create_description(identifier, type, association, false);
  };
  const auto bad_assoc = static_cast<metadata_association_type>(-1);
  const struct {
    std::function<void()> step;
    std::string text;
  } cases[] = {
      {[&] { view().create_media(m1, item); }, already + "media."},
      {[&] { view().create_tag(t, item); }, already + "tag."},
      {[&] { view().create_stack(t, item); }, already + "stack."},
      {[&] { view().create_unassociated(item); }, already + "media."},
      {[&] { make("test:single", metadata_data_type::integer_type, media_assoc); },
       "Could not create the metadata description, because 'test:single' is already a metadata "
       "description."},
      {[&] { make("test:new", static_cast<metadata_data_type>(5), media_assoc); },
       "An unrecognized metadata type was encounted."},
      {[&] { make("test:new", metadata_data_type::string_type, bad_assoc); },
       "An unrecognized metadata association type was encounted."},
      {[] { vael::value_table_of(static_cast<metadata_data_type>(5)); },
       "An unrecognized metadata type was encountered."},
      {[] { vael::value_kind_of(static_cast<metadata_data_type>(5)); },
       "An unknown metadata type was encountered."},
  };
  for (const auto& c : cases) EXPECT_EQ(logic_error_of([&] { write(c.step); }), c.text);
  EXPECT_FALSE(view().has_description("test:new"));
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_string_table"), 5);

  const metadata_description_t d = describe("test:d", metadata_data_type::integer_type, true);
  const int u = new_root_tag("u"), m = new_media("/3.jpg");
  const int tag_before = column("change_id", u);
  const int media_before = vael_test::media_change_id(db(), m);
  metadata_item_t on_stack{1, d, 0}, on_tag{2, d, 0}, on_media{3, d, 0};
  write([&] { view().create_stack(u, on_stack); });
  EXPECT_EQ(column("change_id", u), tag_before);
  write([&] { view().create_tag(u, on_tag); });
  const int tag_after = column("change_id", u);
  EXPECT_GT(tag_after, tag_before);
  write([&] { view().create_media(m, on_media); });
  const int media_after = vael_test::media_change_id(db(), m);
  EXPECT_GT(media_after, media_before);
  EXPECT_EQ(view().get_media_of_item(on_media.id), std::vector<int>{m});
  EXPECT_TRUE(view().get_tags_of_item(on_media.id).empty());
  EXPECT_EQ(view().get_tags_of_item(on_tag.id), std::vector<int>{u});

  // Writing or removing a value stamps the owners it is linked to.
  write([&] { view().set_value(on_media, 7); });
  EXPECT_GT(vael_test::media_change_id(db(), m), media_after);
  EXPECT_EQ(column("change_id", u), tag_after);
  write([&] { view().remove_item(on_tag); });
  EXPECT_GT(column("change_id", u), tag_after);
  const std::vector<metadata_item_t> left = view().get_tag(d, u);
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0].id, on_stack.id);
  EXPECT_EQ(view().get_all_on_tag(u).size(), 1u);

  // Two tags with one value: the later row wins.
  const int t2 = new_root_tag("t2");
  const metadata_description_t names =
      describe("test:names", metadata_data_type::string_type, true);
  for (const auto& [owner, value] :
       std::vector<std::pair<int, std::string>>{{u, "x"}, {t2, "x"}, {u, "y"}}) {
    metadata_item_t named{value, names, 0};
    write([&, owner = owner] { view().create_stack(owner, named); });
  }
  EXPECT_EQ(view().get_value_to_tag_map(names), (std::map<std::string, int>{{"x", t2}, {"y", u}}));
}

}  // namespace
