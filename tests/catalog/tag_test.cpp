#include "catalog/tag.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/custom_tag_namespace.h"
#include "catalog/internal_connection.h"
#include "catalog/tag_queries.h"
#include "dbl/exceptions.h"
#include "tests/catalog/tag_test_support.h"

namespace {

using vael_test::message_of;

using vael_test::album_group_type;
using vael_test::album_type;
using vael_test::misc_leaf_type;
using vael_test::person_type;

std::vector<int> sorted(std::vector<int> ids) {
  std::sort(ids.begin(), ids.end());
  return ids;
}

class Tags : public vael_test::tag_catalog {
 protected:
  std::vector<int> add_media(int n) {
    std::vector<int> ids;
    write([&] {
      for (int i = 0; i < n; ++i) {
        ids.push_back(vael_test::add_media(c_.get(), "m" + std::to_string(i) + ".jpg"));
      }
    });
    return ids;
  }
  int media_change(int id) const { return vael_test::media_change_id(db(), id); }
  int current() const { return c_.get().change_tracker().current_change_id(); }
};

TEST_F(Tags, ForestOfSeveralLevelsKeepsOrderFlagsAndNamespaces) {
  vael::custom_tag_namespace people;
  vael::tag anna, ben, kids, carl, trips, rome;
  write([&] {
    people = vael::create_custom_tag_namespace(h(), "person_ns");
    const vael::custom_tag_namespace albums =
        vael::create_custom_tag_namespace(h(), "collection_ns");
    anna = people.create_tag("Anna", person_type());
    ben = people.create_tag("Ben", person_type());
    kids = anna.create_child("Kids", person_type());
    carl = kids.create_child("Carl", misc_leaf_type());
    trips = albums.create_tag("Trips", album_group_type());
    rome = trips.create_child("Rome", album_type());
  });
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
  EXPECT_EQ(names, (std::vector<std::string>{"stack_ns", "person_ns", "collection_ns"}));

  const vael::tag loaded = vael::get_tag(h(), carl.get_id());
  EXPECT_EQ(loaded.get_name(), "Carl");
  EXPECT_EQ(loaded.get_type_name(), "user_misc");
  EXPECT_EQ(loaded.get_parent().get_id(), kids.get_id());
  EXPECT_EQ(loaded.get_namespace_id(), people.get_id());
  EXPECT_EQ(loaded.get_namespace()->get_name(), "person_ns");
  EXPECT_TRUE(loaded.has_parent_tag());
  EXPECT_FALSE(anna.has_parent_tag());
  EXPECT_EQ(people.as_tag().get_namespace_id(), 0);
  EXPECT_THROW(people.as_tag().get_namespace(), vael::database_state_invalid_error);

  EXPECT_EQ(people.get_all_descendant_ids(),
            (std::vector<int>{anna.get_id(), ben.get_id(), kids.get_id(), carl.get_id()}));
  EXPECT_EQ(people.as_tag().get_descendant_ids(), people.get_all_descendant_ids());
  EXPECT_EQ(people.as_tag().get_descendant_container_ids(),
            (std::vector<int>{anna.get_id(), ben.get_id(), kids.get_id()}));
  EXPECT_TRUE(carl.get_children().empty());
  EXPECT_TRUE(anna.has_children());
}

TEST_F(Tags, RemovalRenumbersSurvivorsAndRefusesWhatStillHangsOnIt) {
  const std::vector<int> media = add_media(1);
  vael::custom_tag_namespace people;
  vael::tag first, second, parent, child;
  write([&] {
    people = vael::create_custom_tag_namespace(h(), "person_ns");
    first = people.create_tag("First", person_type());
    second = people.create_tag("Second", person_type());
    parent = people.create_tag("Parent", person_type());
    child = parent.create_child("Child", person_type());
    second.tag_media(media[0]);
    vael::create_custom_tag_namespace(h(), "event_ns");
  });
  const int tags_before = count("SELECT COUNT(*) FROM tag_table");

  EXPECT_THROW(write([&] { parent.remove(vael::tag_base::unless_referenced); }), std::logic_error);
  EXPECT_THROW(write([&] { second.remove(vael::tag_base::unless_referenced); }),
               dbl::record_has_foreign_references_error);
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_table"), tags_before);
  EXPECT_EQ(vael::get_tag(h(), child.get_id()).get_parent().get_id(), parent.get_id());

  const int media_before = media_change(media[0]);
  write([&] { first.remove(vael::tag_base::unless_referenced); });
  write([&] { second.remove(vael::tag_base::even_if_referenced); });
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_to_media_table"), 0);
  EXPECT_GT(media_change(media[0]), media_before);
  // Renumbered families count from 0.
  EXPECT_EQ(column("sibling_index", parent.get_id()), 0);
  write([&] { vael::remove_custom_tag_namespace(h(), "event_ns"); });
  EXPECT_THROW(write([&] { vael::remove_custom_tag_namespace(h(), "person_ns"); }),
               std::logic_error);
  expect_forest_invariants();
}

TEST_F(Tags, TaggingStampsExactlyTheMediaAndTagsThatChanged) {
  const std::vector<int> m = add_media(3);
  vael::tag anna, ben, rome;
  write([&] {
    const auto people = vael::create_custom_tag_namespace(h(), "person_ns");
    anna = people.create_tag("Anna", person_type());
    ben = people.create_tag("Ben", person_type());
    rome = vael::create_custom_tag_namespace(h(), "collection_ns").create_tag("Rome", album_type());
  });
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
  EXPECT_EQ(rome.get_ordered_media_ids(), (std::vector<int>{m[2], m[0], m[1]}));
  EXPECT_EQ(count("SELECT media_index FROM tag_to_media_table WHERE tag_id = " +
                  std::to_string(rome.get_id()) + " AND media_id = " + std::to_string(m[1])),
            2);
  // A pure permutation moves the album only.
  for (int id : m) EXPECT_EQ(media_change(id), ordered_at) << id;
  EXPECT_EQ(column("change_id", rome.get_id()), current());
  write([&] { rome.set_media_order({m[2], m[0]}); });
  EXPECT_EQ(media_change(m[1]), current());
  EXPECT_EQ(media_change(m[0]), ordered_at);

  write([&] { anna.untag_media(m[0]); });
  EXPECT_FALSE(anna.is_media_tagged(m[0]));
  EXPECT_EQ(media_change(m[0]), current());
  expect_forest_invariants();
}

TEST_F(Tags, MisuseIsRefusedWithItsOwnText) {
  const std::vector<int> m = add_media(1);
  vael::tag anna, rome, trips;
  vael::custom_tag_namespace people;
  write([&] {
    people = vael::create_custom_tag_namespace(h(), "person_ns");
    anna = people.create_tag("Anna", person_type());
    anna.create_child("Kids", person_type());
    const auto albums = vael::create_custom_tag_namespace(h(), "collection_ns");
    trips = albums.create_tag("Trips", album_group_type());
    rome = albums.create_tag("Rome", album_type());
  });
  struct misuse {
    const char* name;
    std::function<void()> call;
    const char* message;
  };
  const misuse cases[] = {
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
      {"unknown namespace", [&] { vael::get_custom_tag_namespace(h(), "PERSON_NS"); },
       "The custom tag namespace 'PERSON_NS' does not exist."},
      {"empty tag", [] { vael::tag().get_id(); },
       "The connection to vael has already been closed."},
  };
  for (const misuse& c : cases) {
    EXPECT_EQ(message_of([&] { write(c.call); }), c.message) << c.name;
  }
  EXPECT_EQ(vael::get_tag_in_namespace(h(), anna.get_id()).get_name(), "Anna");
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_to_media_table"), 0);
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_table WHERE name = 'person_ns'"), 1);
}

TEST_F(Tags, QueriesOverManyMediaKeepToTheirNamespace) {
  const std::vector<int> m = add_media(5);
  vael::custom_tag_namespace people;
  vael::tag a, b, other;
  write([&] {
    people = vael::create_custom_tag_namespace(h(), "person_ns");
    a = people.create_tag("A", person_type());
    b = a.create_child("B", misc_leaf_type());
    other = vael::create_custom_tag_namespace(h(), "user_ns").create_tag("U", person_type());
    for (int i = 0; i < 5; ++i) other.tag_media(m[static_cast<std::size_t>(i)]);
    for (int i = 0; i < 4; ++i) a.tag_media(m[static_cast<std::size_t>(i)]);
    for (int i = 0; i < 3; ++i) b.tag_media(m[static_cast<std::size_t>(i)]);
  });
  const vael::tag ns = people.as_tag();
  EXPECT_EQ(sorted(ns.get_tags_on_media(m[0])), sorted({a.get_id(), b.get_id()}));
  EXPECT_EQ(vael::get_all_tags_on_media(h(), m[4]), std::vector<int>{other.get_id()});
  EXPECT_EQ(sorted(ns.get_tags_on_all_media({m[0], m[1], m[2]})), sorted({a.get_id(), b.get_id()}));
  EXPECT_EQ(ns.get_tags_on_all_media({m[0], m[3]}), std::vector<int>{a.get_id()});
  EXPECT_EQ(sorted(ns.get_tags_on_any_media({m[2], m[2], m[4]}, false)),
            sorted({a.get_id(), b.get_id()}));
  EXPECT_EQ(ns.get_tags_on_any_media({m[2], m[4]}, true), std::vector<int>{b.get_id()});
  EXPECT_TRUE(ns.get_tags_on_any_media({}, false).empty());

  using freq = std::vector<std::pair<int, int>>;
  EXPECT_EQ(ns.get_tag_frequencies(m, false, 0, 0), (freq{{a.get_id(), 4}}));
  EXPECT_EQ(ns.get_tag_frequencies(m, false, 1, 0), (freq{{a.get_id(), 4}, {b.get_id(), 3}}));
  EXPECT_EQ(ns.get_tag_frequencies(m, true, 1, 0), (freq{{b.get_id(), 3}}));

  EXPECT_TRUE(ns.has_other_named_tag({m[0]}, false, "A"));
  EXPECT_FALSE(ns.has_other_named_tag({m[3], m[4]}, false, "A"));
  EXPECT_FALSE(ns.has_other_named_tag({m[0]}, true, "B"));

  // The face score is metadata on the tag; rows written here as the metadata code writes them.
  vael_test::run(db(),
                 "INSERT INTO metadata_description_table VALUES (900, "
                 "'omb:faceStackComplianceScore', 'integer', 'tag', 0)");
  vael_test::run(db(), "INSERT INTO metadata_integer_table VALUES (901, 900, 7)");
  vael_test::run(
      db(), "INSERT INTO tag_to_metadata_table VALUES (" + std::to_string(a.get_id()) + ", 901)");
  EXPECT_EQ(ns.get_tag_frequencies(m, false, 1, 7), (freq{{a.get_id(), 4}}));
  EXPECT_TRUE(ns.get_tag_frequencies(m, false, 1, 8).empty());
}

TEST(TagQueryText, AllMediaJoinsOncePerMedia) {
  const struct {
    std::size_t count;
    const char* sql;
  } cases[] = {
      {1,
       "SELECT DISTINCT(ttm.tag_id) FROM tag_to_media_table AS ttm\n"
       "INNER JOIN tag_to_media_table AS ttm0\n"
       "\tON ttm.tag_id = ttm0.tag_id AND ttm0.media_id = ?"},
      {2,
       "SELECT DISTINCT(ttm.tag_id) FROM tag_to_media_table AS ttm\n"
       "INNER JOIN tag_to_media_table AS ttm0\n"
       "\tON ttm.tag_id = ttm0.tag_id AND ttm0.media_id = ?"
       "INNER JOIN tag_to_media_table AS ttm1\n"
       "\tON ttm.tag_id = ttm1.tag_id AND ttm1.media_id = ?"},
  };
  for (const auto& c : cases) EXPECT_EQ(vael::tags_on_all_media_sql(c.count), c.sql) << c.count;
}

}  // namespace
