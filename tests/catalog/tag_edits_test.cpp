// The multi-step edits and lookups that hosts and the CLI share.
#include "catalog/tag_edits.h"

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <string>
#include <vector>

#include "catalog/catalog_lookup.h"
#include "catalog/hierarchy_change.h"
#include "catalog/media.h"
#include "catalog/media_stack.h"
#include "catalog/stack_edits.h"
#include "catalog/version_stack.h"
#include "catalog/volume_manager.h"
#include "tests/catalog/tag_test_support.h"

namespace {

using ids = std::vector<int>;
using vael_test::message_of;

class TagEdits : public vael_test::tag_catalog {
 protected:
  TagEdits() {
    write([&] {
      people_ = vael::create_custom_tag_namespace(h(), "people_ns");
      trips_ = vael::create_custom_tag_namespace(h(), "trips_ns");
      anna_ = people_.create_tag("Anna", vael_test::person_type());
      ben_ = people_.create_tag("Ben", vael_test::person_type());
      kids_ = anna_.create_child("Kids", vael_test::person_type());
      rome_ = trips_.create_tag("Rome", vael_test::album_type());
    });
  }
  static ids ids_of(const std::vector<vael::tag>& tags) {
    ids out;
    for (const vael::tag& t : tags) out.push_back(t.get_id());
    return out;
  }

  vael::custom_tag_namespace people_, trips_;
  vael::tag anna_, ben_, kids_, rome_;
};

TEST_F(TagEdits, MovesSpliceAtTheIndexWithinAndAcrossNamespaces) {
  std::size_t at = 9;
  write([&] { at = vael::move_tag(h(), kids_, ben_); });
  EXPECT_EQ(at, 0u);
  EXPECT_EQ(ids_of(ben_.get_children()), ids{kids_.get_id()});
  EXPECT_FALSE(anna_.has_children());
  write([&] { at = vael::move_tag(h(), kids_, people_, 1); });
  EXPECT_EQ(at, 1u);
  EXPECT_EQ(ids_of(people_.get_children()), (ids{anna_.get_id(), kids_.get_id(), ben_.get_id()}));
  write([&] { at = vael::move_tag(h(), ben_, trips_, 99); });
  EXPECT_EQ(at, 1u) << "an index past the end means the end";
  EXPECT_EQ(ids_of(trips_.get_children()), (ids{rome_.get_id(), ben_.get_id()}));
  EXPECT_EQ(vael::get_tag(h(), ben_.get_id()).get_namespace_id(), trips_.get_id());
  EXPECT_FALSE(vael::is_in_tag_hierarchy_change(h())) << "each move finishes its change";
  expect_forest_invariants();

  write([&] { vael::move_tag(h(), kids_, anna_); });
  EXPECT_EQ(message_of([&] { write([&] { vael::move_tag(h(), anna_, kids_); }); }),
            "A tag cannot become a child of itself or of its descendants.");
  EXPECT_EQ(ids_of(anna_.get_children()), ids{kids_.get_id()});
  expect_forest_invariants();
}

TEST_F(TagEdits, OrderedTagsAppendAndKeepTheirOrderUnorderedOnesSortById) {
  const int a = new_media("a.jpg"), b = new_media("b.jpg"), c = new_media("c.jpg");
  write([&] {
    vael::add_media_to_tag(rome_, {c, a});
    vael::add_media_to_tag(rome_, {a, b});
    vael::add_media_to_tag(anna_, {c, a});
  });
  EXPECT_EQ(vael::media_of_tag(rome_), (ids{c, a, b})) << "a held media keeps its place";
  EXPECT_EQ(vael::media_of_tag(anna_), (ids{a, c}));
  write([&] {
    vael::remove_media_from_tag(rome_, {a});
    vael::remove_media_from_tag(anna_, {c});
  });
  EXPECT_EQ(vael::media_of_tag(rome_), (ids{c, b}));
  EXPECT_EQ(vael::media_of_tag(anna_), ids{a});
  expect_forest_invariants();
}

TEST_F(TagEdits, LookupsAnswerFromTheRows) {
  const int a = new_media("a.jpg");
  EXPECT_TRUE(vael::media_exists(h(), a));
  EXPECT_FALSE(vael::media_exists(h(), a + 1));
  EXPECT_TRUE(vael::tag_exists(h(), people_.get_id()));
  EXPECT_FALSE(vael::tag_exists(h(), 0));
  EXPECT_EQ(message_of([&] { vael::require_media(h(), a + 1); }),
            "there is no media " + std::to_string(a + 1));
  const int b = new_media("b.jpg");
  EXPECT_EQ(vael::all_media_ids(h()), (ids{a, b}));
  int pile = 0;
  write([&] { pile = vael::media_stack::create(h(), {a, b}).get_id(); });
  EXPECT_TRUE(vael::media_stack_exists(h(), pile));
  EXPECT_FALSE(vael::media_stack_exists(h(), rome_.get_id()));
  const vael::catalog_counts counts = vael::count_catalog_rows(h());
  EXPECT_EQ(counts.media, 2);
  EXPECT_EQ(counts.tags, count("SELECT COUNT(*) FROM tag_table"));
  EXPECT_EQ(vael::catalog_path(h()), path_);
  EXPECT_EQ(vael::integrity_problems(db()), std::vector<std::string>{}) << "not even \"ok\"";
}

TEST_F(TagEdits, AVersionLeavesItsStackOnlyWhenTheMediaStackStaysWhole) {
  const int p = new_media("p.jpg"), c = new_media("c.jpg"), d = new_media("d.jpg");
  const int loose = new_media("x.jpg");
  write([&] {
    vael::version_stack::create_version(h(), c, p);
    vael::version_stack::create_version(h(), d, c);
    vael::media_stack::create(h(), {loose, d, c, p});
  });
  EXPECT_EQ(message_of([&] { write([&] { vael::remove_from_version_stack(h(), c); }); }),
            "If media in a version_stack is stacked, it must all be added to the stack");
  EXPECT_EQ(vael::version_stack::get_for_media(h(), p).get_media_ids(), (ids{d, c, p}));
  EXPECT_EQ(message_of([&] { write([&] { vael::remove_from_version_stack(h(), loose); }); }),
            "not in a version stack");
  write([&] { vael::media_stack::get_for_media(h(), p).dissolve(); });
  write([&] { vael::remove_from_version_stack(h(), c); });
  EXPECT_EQ(vael::version_stack::get_for_media(h(), p).get_media_ids(), (ids{d, p}));
  EXPECT_EQ(vael::version_stack::get_parent_id(h(), d), p) << "d is made from c's parent now";
}

}  // namespace
