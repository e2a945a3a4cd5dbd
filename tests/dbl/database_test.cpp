#include "dbl/database.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "dbl/temporary_table.h"
#include "tests/dbl/dbl_test_util.h"

namespace dbl {
namespace {

using dbl_test::message_of;

using DatabaseTest = dbl_test::tag_db_test;
using dbl_test::stored_counter;

TEST_F(DatabaseTest, TransactionsDoNotNestAndRollBackOnScopeExit) {
  EXPECT_EQ(message_of<std::logic_error>([&] { db_.save_policy(); }),
            "Attempted to get the save policy for the current transaction, but there is no "
            "transaction open.");
  {
    transaction t(db_);
    t.begin(strict_policy);
    save_tag("lost");
    EXPECT_EQ(message_of<std::logic_error>([&] { transaction(db_).begin(); }),
              "There is already a transaction opened.  Transactions cannot be nested.");
    EXPECT_TRUE(db_.in_transaction());
  }
  EXPECT_FALSE(db_.in_transaction());
  EXPECT_EQ(count(), 0);

  transaction no_undo(db_);
  no_undo.begin(merge_policy, true);
  save_tag("kept");
  EXPECT_EQ(message_of<std::logic_error>([&] { no_undo.end_with_undo(); }),
            "Cannot create an undo_object with a null implementer.");
  sqlite_database other(file_);
  EXPECT_EQ(dbl_test::scalar(other, "SELECT COUNT(*) FROM tag_table"), 1);
}

TEST_F(DatabaseTest, AutoIdsAreReadOncePerTransactionAndGivenBackByRollback) {
  EXPECT_EQ(stored_counter(db_), 0);
  write([&] {
    EXPECT_EQ(save_tag("a").id(), 1);
    // The counter is held by the connection until the end: the row is not read again.
    query(db_, "UPDATE _dbl_auto_id_table SET last_assigned_id = 100").execute();
    EXPECT_EQ(save_tag("b").id(), 2);
  });
  EXPECT_EQ(stored_counter(db_), 2);
  {
    transaction t(db_);
    t.begin();
    EXPECT_EQ(save_tag("c").id(), 3);
    t.rollback();
  }
  write([&] { EXPECT_EQ(save_tag("c").id(), 3); });

  // A second connection that registers the table finds the counter where it was.
  sqlite_database other(file_);
  other.register_table(tags_);
  transaction o(other);
  o.begin(merge_policy, true, true);
  record r(other, tags_);
  r["name"] = "d";
  r["flag"] = 0;
  r.save();
  o.end();
  EXPECT_EQ(r.id(), 4);
}

TEST_F(DatabaseTest, ClosedHandlesAndTables) {
  EXPECT_TRUE(db_.table_exists("tag_table"));
  EXPECT_FALSE(db_.table_exists("nope"));
  EXPECT_EQ(db_.unique_table_name("_dbl_temp"), "_dbl_temp1");
  EXPECT_EQ(db_.unique_table_name("_dbl_temp"), "_dbl_temp2");
  EXPECT_EQ(message_of<std::logic_error>([&] { db_.busy_callback(); }),
            "There is no busy callback method set on this database connection.");
  {
    temporary_id_set unused(db_);
    temporary_id_set set(db_);
    set.add({5, 4, 9});
    set.remove({9});
    EXPECT_EQ(set.table_name(), "_dbl_temp3");
    std::vector<int> ids = set.ids();
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<int>{4, 5}));
    EXPECT_THROW(set.add({4}), internal_database_error);
  }
  // Both the scope and the set that was never used leave no table behind.
  EXPECT_THROW(query(db_, "SELECT id FROM _dbl_temp3").execute(), internal_database_error);
  EXPECT_THROW(db_.get_table("_dbl_temp3"), std::logic_error);
  EXPECT_EQ(db_.unique_table_name("t"), "t4");

  ASSERT_EQ(db_.implementer().references_to("tag_table").size(), 1u);
  db_.drop_table("tag_table");
  EXPECT_TRUE(db_.implementer().references_to("tag_table").empty());
  EXPECT_EQ(message_of<std::logic_error>([&] { db_.get_table("tag_table"); }),
            "There is not a table with the requested name in the database.");

  database copy = db_;
  db_.close();
  EXPECT_EQ(message_of<database_connection_error>([&] { copy.table_exists("x"); }),
            "The connection to the database has already been closed.");
  EXPECT_THROW(query(copy, "SELECT 1").execute(), database_connection_error);
  EXPECT_THROW(transaction(copy).begin(), database_connection_error);
}

}  // namespace
}  // namespace dbl
