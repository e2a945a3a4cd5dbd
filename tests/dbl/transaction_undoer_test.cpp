#include "dbl/transaction_undoer.h"

#include <gtest/gtest.h>

#include "tests/dbl/dbl_test_util.h"

namespace dbl {
namespace {

using dbl_test::message_of;
using dbl_test::rows;
using dbl_test::scalar;

// Items of an album, pointing at tags: a second table, written between tag writes, so that
// replay has to keep the order across tables.
table_description item_table(const table_description& tags) {
  table_description t("item_table");
  t.add_column(column_description(
      "tag_id", foreign_key_description("tag_table", tags.column("id"), relation_required),
      not_in_primary_key, not_indexed));
  t.add_column(dbl_test::plain_column("position", typeid(int)));
  return t;
}

class UndoTest : public dbl_test::tag_db_test {
 protected:
  UndoTest() { db_.create_table(items_); }

  record item(int tag_id, int position) {
    record r(db_, items_);
    r["tag_id"] = tag_id;
    r["position"] = position;
    r.save();
    return r;
  }
  rows all(const table_description& table) { return dbl_test::all_rows(db_, table); }
  std::pair<rows, rows> snapshot() { return {all(tags_), all(items_)}; }
  // The undo rows as "<undo id> <type> <id> <name> <flag>".
  std::vector<std::string> undo_rows() {
    return dbl_test::texts(db_,
                           "SELECT _dbl_undo_id || ' ' || _dbl_undo_type || ' ' || id || ' ' || "
                           "name || ' ' || flag FROM _dbl_temp_undo1 ORDER BY _dbl_undo_id");
  }

  table_description items_ = item_table(tags_);
};

TEST_F(UndoTest, UndoTableRowsAndUpdateThenDeleteOfOneRow) {
  write([&] { save_tag("a"); });
  record r(db_, tags_, 1);
  sqlite_database other(file_);
  query(other, "UPDATE tag_table SET name = 'b', flag = 9").execute();
  const rows before = all(tags_);

  transaction t(db_);
  t.begin(merge_policy);
  r["flag"] = 1;
  r.save();
  r.remove();
  save_tag("c");
  record quiet(db_, tags_);
  quiet["name"] = "not recorded";
  quiet["flag"] = 0;
  quiet.save(true);
  jtb::undo_object undo = t.end_with_undo();
  const rows after = all(tags_);
  ASSERT_EQ(after.size(), 2u);
  rows undone = before;
  undone.push_back(quiet.values());

  // Update: the new values, then the original ones, refreshed from the other writer under
  // merge. Delete: the row as it stood. Ids are kept in the 64-bit kind; NULL stays NULL.
  EXPECT_EQ(undo_rows(), (std::vector<std::string>{"1 update 1 a 1", "2 update 1 a 9",
                                                   "3 delete 1 b 1", "4 insert 2 c 0"}));
  EXPECT_EQ(scalar(db_,
                   "SELECT COUNT(*) FROM _dbl_temp_undo1 WHERE data IS NULL AND when_done IS NULL "
                   "AND typeof(id) = 'integer'"),
            4);

  undo.undo();
  EXPECT_EQ(all(tags_), undone);
  undo.redo();
  EXPECT_EQ(all(tags_), after);

  // The undo tables go with the last owner of the undoer.
  undo = jtb::undo_object(std::make_shared<transaction_undoer>(db_));
  EXPECT_FALSE(db_.table_exists("_dbl_temp_undo1"));
}

TEST_F(UndoTest, UndoAndRedoAcrossTablesRestoreRowsAndIds) {
  record kept(db_, tags_), first_item(db_, items_);
  write([&] {
    kept = save_tag("kept");
    first_item = item(kept.id(), 1);
  });
  const auto before = snapshot();

  transaction t(db_);
  t.begin(strict_policy);
  const record parent = save_tag("parent", entry_data(kept.id()));
  const record child = save_tag("child", entry_data(parent.id()));
  item(child.id(), 2);
  first_item.remove();
  kept["when_done"] = entry_data(boost::posix_time::ptime(boost::gregorian::date(2009, 5, 1)));
  kept["data"] = entry_data(blob{1, 2, 3});
  kept.save();
  record(db_, tags_, parent.id())
      .remove(record::cascade_references);  // cascades to the child and its item
  save_tag("late");
  jtb::undo_object undo = t.end_with_undo();
  const auto after = snapshot();

  undo.undo();
  EXPECT_EQ(snapshot(), before);
  undo.redo();
  EXPECT_EQ(snapshot(), after);
  undo.undo();
  undo.redo();
  EXPECT_EQ(snapshot(), after);
  EXPECT_FALSE(db_.in_transaction());
}

TEST_F(UndoTest, TransactionWithoutWritesHasNothingToReplay) {
  transaction t(db_);
  t.begin();
  jtb::undo_object undo = t.end_with_undo();
  undo.undo();
  undo.redo();
  EXPECT_FALSE(db_.table_exists("_dbl_temp_undo1"));
  EXPECT_EQ(db_.unique_table_name("x"), "x1");

  // A rolled back transaction takes its undo table with it.
  transaction rolled(db_);
  rolled.begin();
  save_tag("gone");
  rolled.rollback();
  EXPECT_FALSE(db_.table_exists("_dbl_temp_undo2"));
}

TEST_F(UndoTest, FailedReplayLeavesDataAndUndoTablesAsTheyWere) {
  write([&] { save_tag("y"); });
  transaction t(db_);
  t.begin();
  save_tag("x");
  record y(db_, tags_, 1);
  y["flag"] = 5;
  y.save();
  jtb::undo_object undo = t.end_with_undo();
  const rows done = all(tags_);

  // The update of y is undone first, then the delete of x fails: x changed meanwhile.
  sqlite_database other(file_);
  query(other, "UPDATE tag_table SET name = 'z' WHERE name = 'x'").execute();
  EXPECT_THROW(undo.undo(), record_changed_error);
  EXPECT_FALSE(db_.in_transaction());
  EXPECT_EQ(record(db_, tags_, 1).get("flag"), entry_data(5));
  EXPECT_EQ(scalar(db_, "SELECT COUNT(*) FROM _dbl_temp_undo1"), 3);

  query(db_, "UPDATE _dbl_temp_undo1 SET _dbl_undo_type = 'rename' WHERE _dbl_undo_id = 1")
      .execute();
  query(other, "UPDATE tag_table SET name = 'x' WHERE name = 'z'").execute();
  EXPECT_EQ(message_of<std::logic_error>([&] { undo.undo(); }), "Unexpected undo type encountered");
  EXPECT_EQ(all(tags_), done);

  query(db_, "UPDATE _dbl_temp_undo1 SET _dbl_undo_type = 'insert' WHERE _dbl_undo_id = 1")
      .execute();
  undo.undo();
  EXPECT_EQ(all(tags_).size(), 1u);
  EXPECT_EQ(record(db_, tags_, 1).get("flag"), entry_data(0));
}

}  // namespace
}  // namespace dbl
