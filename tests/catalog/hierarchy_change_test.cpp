#include "catalog/hierarchy_change.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "catalog/internal_connection.h"
#include "catalog/tag_base.h"
#include "dbl/query.h"
#include "tests/catalog/tag_test_support.h"

namespace {

using vael_test::misc_leaf_type;
using vael_test::person_type;

class HierarchyChange : public vael_test::tag_catalog {
 protected:
  // person_ns: Anna { Kids { Carl } }, Ben; user_ns: U.
  HierarchyChange() {
    write([&] {
      people = vael::create_custom_tag_namespace(h(), "person_ns");
      user = vael::create_custom_tag_namespace(h(), "user_ns");
      anna = people.create_tag("Anna", person_type());
      ben = people.create_tag("Ben", person_type());
      kids = anna.create_child("Kids", person_type());
      carl = kids.create_child("Carl", misc_leaf_type());
      u = user.create_tag("U", person_type());
    });
  }

  // Every row's place in the forest.
  std::string forest() const {
    return vael_test::text(db(),
                           "SELECT group_concat(id || ':' || parent_id || ':' || sibling_index, "
                           "' ') FROM (SELECT * FROM tag_table ORDER BY id)");
  }
  struct refused {
    const char* name;
    std::function<void()> call;
    const char* message;
  };
  template <std::size_t N>
  void expect_refused(const refused (&cases)[N]) {
    for (const refused& c : cases) {
      EXPECT_EQ(vael_test::message_of<std::logic_error>([&] { write(c.call); }), c.message)
          << c.name;
    }
  }
  int parent_of(const vael::tag& t) const {
    return vael::get_tag(h(), t.get_id()).get_parent().get_id();
  }

  vael::custom_tag_namespace people, user;
  vael::tag anna, ben, kids, carl, u;
};

TEST_F(HierarchyChange, MovesSubtreesWithinAndBetweenNamespaces) {
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
  EXPECT_EQ(column("change_id", kids.get_id()), c_.get().change_tracker().current_change_id());

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

TEST_F(HierarchyChange, FailedChangeLeavesRowsAndCachesAsBefore) {
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
  expect_refused(cases);
  EXPECT_EQ(forest(), before);
  write([&] { vael::create_custom_tag_namespace(h(), "event_ns"); });
  vael::finish_tag_hierarchy_change(h());
  EXPECT_FALSE(vael::is_in_tag_hierarchy_change(h()));
}

// The count a change is checked against: leaves under a tag that cannot have children do not
// count, and rows damaged into a cycle through the namespace still give an answer.
TEST_F(HierarchyChange, CountsTheNamespaceOnceEvenThroughDamagedRows) {
  const auto counted = [&] {
    std::size_t n = 0;
    write([&] {
      vael::start_tag_hierarchy_change(h(), people);
      n = vael::get_connection(h()).hierarchy_tag_count;
      vael::finish_tag_hierarchy_change(h());
    });
    return n;
  };
  EXPECT_EQ(counted(), 4U);
  const std::string stray = "UPDATE tag_table SET parent_id = " + std::to_string(carl.get_id()) +
                            " WHERE id = " + std::to_string(u.get_id());
  vael_test::run(db(), stray);
  EXPECT_EQ(counted(), 4U) << "a row under a leaf type counts";
  vael_test::run(db(), "UPDATE tag_table SET parent_id = " + std::to_string(kids.get_id()) +
                           " WHERE id = " + std::to_string(people.base().get_id()));
  EXPECT_EQ(counted(), 5U) << "the cycle back to the namespace counts it once, and ends";
}

TEST_F(HierarchyChange, RefusesChangesNotStartedOrOnNothing) {
  const refused cases[] = {
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
  EXPECT_EQ(forest(), before);
  EXPECT_FALSE(vael::is_in_tag_hierarchy_change(h()));
  EXPECT_FALSE(vael::get_hierarchy_change_namespace(h()).is_valid());
}

}  // namespace
