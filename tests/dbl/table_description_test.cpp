#include "dbl/table_description.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/dbl/dbl_test_util.h"

namespace dbl {
namespace {

std::string logic_message(const std::function<void()>& fn) {
  return dbl_test::message_of<std::logic_error>(fn);
}

TEST(TableDescription, AutoIdColumnAndPositions) {
  table_description t("media_table");
  ASSERT_EQ(t.column_count(), 1u);
  const column_description id = t.column("id");
  EXPECT_EQ(id.type(), typeid(auto_id));
  EXPECT_EQ(id.constraint(), unique);
  EXPECT_TRUE(id.is_key());
  EXPECT_FALSE(id.is_indexed());
  t.add_column(
      column_description("name", typeid(std::string), 255, not_null, not_in_primary_key, indexed));
  EXPECT_EQ(t.column_position("name"), 1);
  EXPECT_EQ(t.column_position("missing"), -1);

  table_description plain("side_table", 1);
  EXPECT_EQ(plain.column_count(), 0u);
  EXPECT_FALSE(plain.has_auto_id());

  EXPECT_EQ(logic_message([&] { t.column("missing"); }),
            "The column requested does not exist in this table description.");
  EXPECT_EQ(logic_message([&] {
              t.add_column(column_description("name", typeid(int), 0, no_constraint,
                                              not_in_primary_key, not_indexed));
            }),
            "There was an error while trying to generate the column index map.  An unexpected "
            "column was encountered.");
  EXPECT_EQ(t.column_count(), 2u);
}

TEST(TableDescription, CopiesDoNotSeeLaterChanges) {
  table_description a("t");
  table_description b = a;
  b.add_column(column_description("x", typeid(int), 0, no_constraint, 1, 1));
  b.add_clustered_index("i", {"id", "x"});
  EXPECT_EQ(a.column_count(), 1u);
  EXPECT_TRUE(a.indexes().empty());
  EXPECT_EQ(a.column_position("x"), -1);
  EXPECT_EQ(b.column_position("x"), 1);
}

TEST(TableDescription, ClusteredIndexes) {
  table_description t("tag_table");
  t.add_column(column_description("a", typeid(int), 0, no_constraint, 1, 1));
  t.add_column(column_description("b", typeid(int), 0, no_constraint, 1, 1));
  t.add_clustered_index("ix", {"a", "b"});
  t.add_clustered_index("ix", {"b"});
  ASSERT_EQ(t.indexes().size(), 1u);
  EXPECT_EQ(t.indexes().at("ix"), std::vector<std::string>{"b"});
  EXPECT_EQ(logic_message([&] {
              t.add_clustered_index("iy", {"a", "c"});
            }),
            "Cannot add c to a clustered index because no such column exists on table "
            "tag_table");
}

TEST(ColumnDescription, ConstructorsAndOptionalParts) {
  const column_description blank;
  EXPECT_EQ(blank.type(), typeid(void));
  EXPECT_EQ(blank.key_state(), 1);
  EXPECT_EQ(blank.index_state(), 1);
  EXPECT_EQ(logic_message([&] { blank.default_value(); }),
            "A default value for this column description cannot be returned because it does "
            "not have one.");
  EXPECT_EQ(logic_message([&] { blank.foreign_key(); }),
            "A foreign key description for this column description cannot be returned because "
            "it does not have one");

  const column_description with_default("flag", typeid(int), 0, entry_data(0), not_in_primary_key,
                                        not_indexed);
  EXPECT_EQ(with_default.constraint(), not_null);
  EXPECT_EQ(with_default.default_value(), entry_data(0));

  const table_description tags("tag_table");
  struct relation_case {
    std::int32_t relation;
    column_constraint expected;
  };
  for (const relation_case& c :
       {relation_case{relation_none, no_constraint}, relation_case{relation_one_to_one, unique},
        relation_case{relation_required, not_null}, relation_case{7, no_constraint}}) {
    const column_description fk("parent_id",
                                foreign_key_description(tags.name(), tags.column("id"), c.relation),
                                not_in_primary_key, indexed);
    EXPECT_EQ(fk.constraint(), c.expected) << "relation " << c.relation;
    EXPECT_EQ(fk.type(), typeid(auto_id));
    EXPECT_EQ(fk.foreign_key().table(), "tag_table");
    EXPECT_EQ(fk.foreign_key().column().name(), "id");
  }
}

}  // namespace
}  // namespace dbl
