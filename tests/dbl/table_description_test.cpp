#include "dbl/table_description.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/dbl/dbl_test_util.h"

namespace dbl {
namespace {

using dbl_test::plain_column;

std::string logic_message(const std::function<void()>& fn) {
  return dbl_test::message_of<std::logic_error>(fn);
}

// Key, rule and index of the auto id column, and copies that do not share later changes, are
// checked through the generated SQL texts.
TEST(TableDescription, ColumnsAndIndexes) {
  table_description t("tag_table");
  ASSERT_EQ(t.column_count(), 1u);
  EXPECT_EQ(t.column("id").type(), typeid(auto_id));
  t.add_column(plain_column("a", typeid(int)));
  t.add_column(plain_column("b", typeid(int)));
  EXPECT_EQ(t.column_position("b"), 2);
  EXPECT_EQ(t.column_position("missing"), -1);
  const table_description plain("side_table", 1);
  EXPECT_EQ(plain.column_count(), 0u);
  EXPECT_FALSE(plain.has_auto_id());

  EXPECT_EQ(logic_message([&] { t.column("missing"); }),
            "The column requested does not exist in this table description.");
  EXPECT_EQ(logic_message([&] { t.add_column(plain_column("a", typeid(double))); }),
            "There was an error while trying to generate the column index map.  An unexpected "
            "column was encountered.");
  EXPECT_EQ(t.column_count(), 3u);

  t.add_clustered_index("ix", {"a", "b"});
  t.add_clustered_index("ix", {"b"});
  EXPECT_EQ(t.indexes(), (table_description::index_map{{"ix", {"b"}}}));
  EXPECT_EQ(logic_message([&] {
              t.add_clustered_index("iy", {"a", "c"});
            }),
            "Cannot add c to a clustered index because no such column exists on table "
            "tag_table");
}

TEST(ColumnDescription, OptionalPartsAndRulesOfRelations) {
  const column_description blank;
  EXPECT_EQ(logic_message([&] { blank.default_value(); }),
            "A default value for this column description cannot be returned because it does "
            "not have one.");
  EXPECT_EQ(logic_message([&] { blank.foreign_key(); }),
            "A foreign key description for this column description cannot be returned because "
            "it does not have one");
  EXPECT_EQ(column_description("f", typeid(int), 0, entry_data(4), 1, 1).default_value(),
            entry_data(4));

  const table_description tags("tag_table");
  const std::pair<std::int32_t, column_constraint> relations[] = {{relation_none, no_constraint},
                                                                  {relation_one_to_one, unique},
                                                                  {relation_required, not_null},
                                                                  {7, no_constraint}};
  for (const auto& [relation, expected] : relations) {
    const column_description fk("parent_id",
                                foreign_key_description(tags.name(), tags.column("id"), relation),
                                not_in_primary_key, indexed);
    EXPECT_EQ(fk.constraint(), expected) << "relation " << relation;
    EXPECT_EQ(fk.type(), typeid(auto_id)) << "relation " << relation;
  }
}

}  // namespace
}  // namespace dbl
