#include "dbl/database.h"

#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "dbl/database_copy.h"
#include "dbl/temporary_table.h"
#include "dbl/transaction_undoer.h"
#include "diagnostics/timer.h"
#include "tests/dbl/dbl_test_util.h"

namespace dbl::test {
namespace {

TEST_F(tag_db_test, TransactionsDoNotNestAndRollBackGivingTheirAutoIdsBack) {
  EXPECT_EQ(message_of([&] { db_.save_policy(); }),
            "Attempted to get the save policy for the current transaction, but there is no "
            "transaction open.");
  EXPECT_EQ(stored_counter(db_), 0);
  {
    transaction t(db_);
    t.begin(strict_policy);
    EXPECT_EQ(save_tag("lost").id(), 1);
    EXPECT_EQ(message_of([&] { transaction(db_).begin(); }),
              "There is already a transaction opened.  Transactions cannot be nested.");
    EXPECT_TRUE(db_.in_transaction());
  }
  EXPECT_EQ(count(), 0);
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
  EXPECT_EQ(new_tag(other, tags_, "d").id(), 4);
  o.end();

  transaction no_undo(db_);
  no_undo.begin(merge_policy, true);
  save_tag("kept");
  EXPECT_EQ(message_of([&] { no_undo.end_with_undo(); }),
            "Cannot create an undo_object with a null implementer.");
  EXPECT_EQ(scalar(other, "SELECT COUNT(*) FROM tag_table"), 5);
}

TEST_F(tag_db_test, TransactionsNestInASavepointWhoseRollbackTakesBackTheirCommits) {
  add_tag("before");
  {
    savepoint s(db_);
    EXPECT_EQ(message_of([&] { savepoint again(db_); }),
              "A savepoint opens only where no transaction or savepoint is open.");
    EXPECT_EQ(add_tag("committed"), 2);
    {
      transaction t(db_);
      t.begin();
      save_tag("rolled back");
    }
    EXPECT_EQ(texts(db_, "SELECT name FROM tag_table"),
              (std::vector<std::string>{"before", "committed"}));
    transaction open(db_);
    open.begin();
    save_tag("open");
    s.rollback();
    EXPECT_FALSE(db_.in_transaction());
  }
  EXPECT_EQ(texts(db_, "SELECT name FROM tag_table"), (std::vector<std::string>{"before"}));
  EXPECT_EQ(add_tag("after"), 2);
}

TEST_F(tag_db_test, ClosedHandlesAndTables) {
  EXPECT_TRUE(db_.table_exists("tag_table"));
  EXPECT_FALSE(db_.table_exists("nope"));
  EXPECT_EQ(db_.unique_table_name("_dbl_temp"), "_dbl_temp1");
  EXPECT_EQ(message_of([&] { db_.busy_callback(); }),
            "There is no busy callback method set on this database connection.");
  {
    temporary_id_set unused(db_);
    temporary_id_set set(db_);
    set.add({5, 4, 9});
    set.remove({9});
    EXPECT_EQ(set.table_name(), "_dbl_temp2");
    const std::vector<int> ids = set.ids();
    EXPECT_EQ(std::multiset<int>(ids.begin(), ids.end()), (std::multiset<int>{4, 5}));
    EXPECT_THROW(set.add({4}), internal_database_error);
  }
  // The table stays for the next set, empty, also when a rollback brings back rows that were
  // deleted when a set went; a table made in a transaction that rolls back is not handed out.
  {
    std::optional<temporary_id_set> filled(std::in_place, db_);
    filled->add({7});
    transaction t(db_);
    t.begin();
    filled.reset();
    {
      temporary_id_set held(db_), made(db_);
      EXPECT_EQ(held.table_name(), "_dbl_temp2");
      EXPECT_EQ(made.table_name(), "_dbl_temp3");
    }
    t.rollback();
  }
  temporary_id_set again(db_), fresh(db_);
  EXPECT_EQ(again.table_name(), "_dbl_temp2");
  EXPECT_TRUE(again.ids().empty());
  EXPECT_EQ(fresh.table_name(), "_dbl_temp4");
  EXPECT_THROW(db_.get_table("_dbl_temp3"), std::logic_error);
  EXPECT_EQ(db_.unique_table_name("t"), "t5");

  ASSERT_EQ(db_.implementer().references_to("tag_table").size(), 1u);
  db_.drop_table("tag_table");
  EXPECT_TRUE(db_.implementer().references_to("tag_table").empty());
  EXPECT_EQ(message_of([&] { db_.get_table("tag_table"); }),
            "There is not a table with the requested name in the database.");

  database copy = db_;
  db_.close();
  EXPECT_EQ(message_of<database_connection_error>([&] { copy.table_exists("x"); }),
            "The connection to the database has already been closed.");
  EXPECT_THROW(query(copy, "SELECT 1").execute(), database_connection_error);
  EXPECT_THROW(transaction(copy).begin(), database_connection_error);
}

TEST_F(tag_db_test, WritesAreTimedUnderTheirLabelsAndRemoveChecksReferencesOrCascades) {
  const bool was_enabled = lil::timers_enabled();
  lil::set_timers_enabled(true);
  lil::reset_thread_tables();
  write([&] {
    record r = save_tag("first");
    EXPECT_EQ(r.id(), 1);
    r["name"] = "renamed";
    r.save();
  });
  const record loaded(db_, tags_, 1);
  EXPECT_EQ(loaded.values(),
            (entry_data_vector{1, "renamed", entry_data(), 0, entry_data(), entry_data()}));
  write([&] { record(loaded).remove(); });
  std::ostringstream report;
  lil::report(report);
  lil::set_timers_enabled(was_enabled);
  lil::reset_thread_tables();
  for (const char* label :
       {"  dbl::insert into tag_table\n", "  dbl::update tag_table\n", "  dbl::delete tag_table\n",
        "  dbl::transaction::end()\n", "  dbl::sqlite_implementer::do_end_transaction\n"}) {
    EXPECT_NE(report.str().find(label), std::string::npos) << label << report.str();
  }

  EXPECT_EQ(message_of([&] { record(db_, tags_, 1); }),
            "There were no results for the query:\nSELECT * FROM tag_table WHERE id = :auto_id "
            "LIMIT 1");
  EXPECT_EQ(message_of([&] { loaded.get("nope"); }),
            "The column requested is not valid for this record.");
  EXPECT_EQ(message_of([&] { record(db_, tags_, entry_data_vector(2), true); }),
            "Could not create the record because the default data did not have the right "
            "number of entries.");

  const int root = add_tag("root");
  const int child = add_tag("child", root);
  add_tag("grandchild", child);
  const int other = add_tag("other");
  transaction t(db_);
  t.begin();
  record r(db_, tags_, root);
  EXPECT_EQ(message_of<record_has_foreign_references_error>(
                [&] { r.remove(record::refuse_if_referenced); }),
            "The record could not be removed.  There were existing references to the record in "
            "the database.");
  EXPECT_EQ(count(), 4);
  r.remove(record::cascade_references);
  t.end();
  EXPECT_EQ(count(), 1);
  EXPECT_EQ(record(db_, tags_, other).get("name"), entry_data("other"));

  // A stale record of a row that is gone.
  transaction again(db_);
  again.begin(strict_policy);
  EXPECT_EQ(message_of<record_changed_error>([&] { r.remove(); }),
            "The record has changed or has already been removed from the database since it was "
            "created, and could not be removed.");
}

TEST_F(tag_db_test, SaveNeedsATransactionAndWritesOnlyChanges) {
  const int id = add_tag("a");
  record r(db_, tags_, id);
  EXPECT_EQ(message_of([&] { r.save(); }), "Can't save a record when not in a transaction");
  EXPECT_EQ(message_of([&] { r.remove(); }), "Can't save a record when not in a transaction");

  // Another writer renames the tag. An unchanged save issues no statement, so even the
  // strict policy does not notice.
  sqlite_database other(file_);
  query(other, "UPDATE tag_table SET name = 'x'").execute();
  transaction t(db_);
  t.begin(strict_policy);
  r.save();
  r["name"] = "b";
  EXPECT_THROW(r.save(), record_changed_error);
  EXPECT_EQ(r.original_values()[1], entry_data("a"));
  t.rollback();

  // Under merge only the columns this save changed are written; the other writer's name
  // stays.
  r["name"] = "a";
  r["flag"] = 5;
  write([&] { r.save(); });
  EXPECT_EQ(record(db_, tags_, id).values(),
            (entry_data_vector{id, "x", entry_data(), 5, entry_data(), entry_data()}));

  query(other, "DELETE FROM tag_table").execute();
  transaction gone(db_);
  gone.begin(merge_policy);
  r["name"] = "c";
  EXPECT_EQ(message_of<record_changed_error>([&] { r.save(); }),
            "The record has changed or been deleted from the database since it was created, "
            "and could not be saved.");
}

using reports = std::vector<std::pair<int, int>>;

table_description note_table() {
  table_description t("note_table");
  t.add_column(plain_column("text", typeid(std::string), 255));
  return t;
}

// Copies from db_ (the source) into target_, both holding the tag and note tables.
class CopyTest : public tag_db_test {
 protected:
  CopyTest() {
    db_.create_table(notes_);
    target_.create_table(tags_);
    target_.create_table(notes_);
  }

  // 150 tags, every third with a parent, a blob and a time, then 60 notes: ids 1 to 210.
  void fill_source() {
    write([&] {
      for (int i = 0; i < 150; ++i) {
        record r(db_, tags_);
        r["name"] = "tag " + std::to_string(i);
        r["flag"] = i % 2;
        if (i % 3 == 1) {
          r["parent_id"] = i;
          r["data"] = blob{1, static_cast<unsigned char>(i)};
          r["when_done"] = boost::posix_time::ptime(boost::gregorian::date(2009, 1, 1));
        }
        r.save();
      }
      for (int i = 0; i < 60; ++i) {
        record r(db_, notes_);
        if (i != 7) r["text"] = "note " + std::to_string(i);
        r.save();
      }
    });
  }
  copy_progress_callback noting(reports& out, int cancel_at = -1) {
    return [&out, cancel_at](int current, int maximum) {
      out.emplace_back(current, maximum);
      return current != cancel_at;
    };
  }

  const database& source_ = db_;
  sqlite_database target_{box_.path("t.db")};
  table_description notes_ = note_table();
};

TEST_F(CopyTest, CopiesRowsWithTheirIdsAndReportsProgress) {
  fill_source();
  reports seen;
  transaction t(target_);
  t.begin();
  copy_database(source_, target_, noting(seen));
  t.end();

  EXPECT_EQ(all_rows(target_, tags_), all_rows(source_, tags_));
  EXPECT_EQ(all_rows(target_, notes_), all_rows(source_, notes_));
  EXPECT_FALSE(target_.table_exists("_dbl_temp_undo1"));
  EXPECT_EQ(stored_counter(source_), 210);
  EXPECT_EQ(stored_counter(target_), 211);

  // Counting: 0, then one report per target table in name order. The total is 211, the
  // source's auto id row included. Copying reports every row but the 100th and 200th.
  ASSERT_EQ(seen.size(), 1u + 3u + 208u);
  const reports head(seen.begin(), seen.begin() + 5);
  EXPECT_EQ(head, (reports{{0, 1000}, {0, 1000}, {33, 1000}, {66, 1000}, {104, 1000}}));
  const auto at = [&](int copied) { return seen.at(static_cast<std::size_t>(3 + copied)).first; };
  EXPECT_EQ(at(99), 522);
  EXPECT_EQ(at(100), 530);  // the report of row 101
  EXPECT_EQ(seen.back(), std::make_pair(995, 1000));
  for (const auto& [current, maximum] : seen) EXPECT_EQ(maximum, 1000);
}

TEST_F(CopyTest, CancelKeepsWhatWasCopiedAndRefusalsWriteNothing) {
  fill_source();
  reports seen;
  // 104 is the report after the first row, 108 after the second.
  EXPECT_THROW(copy_database(source_, target_, noting(seen, 108)), cancel_error);
  EXPECT_EQ(seen.back(), std::make_pair(108, 1000));
  // The notes table comes first; two notes were in before the answer.
  const rows two_notes = all_rows(target_, notes_);
  EXPECT_EQ(two_notes.size(), 2u);
  const std::string counter = "SELECT last_assigned_id FROM _dbl_auto_id_table";
  EXPECT_TRUE(query(target_, counter).select_ints().empty());

  // A cancel at the first report comes before the emptiness check.
  seen.clear();
  EXPECT_THROW(copy_database(source_, target_, noting(seen, 0)), cancel_error);
  EXPECT_EQ(seen.size(), 1u);

  seen.clear();
  EXPECT_EQ(message_of<std::runtime_error>([&] { copy_database(source_, target_, noting(seen)); }),
            "The target database is not empty");
  EXPECT_EQ(seen, (reports{{0, 1000}, {0, 1000}, {33, 1000}}));
  EXPECT_EQ(all_rows(target_, notes_), two_notes);
  EXPECT_EQ(all_rows(target_, tags_).size(), 0u);
  EXPECT_TRUE(query(target_, counter).select_ints().empty());

  sqlite_database other(box_.path("o.db"));
  other.create_table(tags_);
  seen.clear();
  EXPECT_EQ(message_of<std::runtime_error>([&] { copy_database(source_, other, noting(seen)); }),
            "Can't copy a db if the schemas don't match");
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(stored_counter(other), 0);
}

// Items of an album, pointing at tags: a second table, written between tag writes, so that
// replay has to keep the order across tables.
table_description item_table(const table_description& tags) {
  table_description t("item_table");
  t.add_column(column_description(
      "tag_id", foreign_key_description("tag_table", tags.column("id"), relation_required),
      not_in_primary_key, not_indexed));
  t.add_column(plain_column("position", typeid(int)));
  return t;
}

class UndoTest : public tag_db_test {
 protected:
  UndoTest() { db_.create_table(items_); }

  record item(int tag_id, int position) {
    record r(db_, items_);
    r["tag_id"] = tag_id;
    r["position"] = position;
    r.save();
    return r;
  }
  rows all(const table_description& table) { return all_rows(db_, table); }
  std::pair<rows, rows> snapshot() { return {all(tags_), all(items_)}; }
  // The undo rows as "<undo id> <type> <id> <name> <flag>".
  std::vector<std::string> undo_rows() {
    return texts(db_,
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

  // Without writes there is nothing to replay, and no undo table is made.
  transaction empty(db_);
  empty.begin();
  jtb::undo_object nothing = empty.end_with_undo();
  nothing.undo();
  nothing.redo();
  EXPECT_EQ(snapshot(), after);
  EXPECT_EQ(db_.unique_table_name("x"), "x3");  // 1 and 2 hold the undo rows of the two tables

  // A rolled back transaction takes its undo table with it.
  transaction rolled(db_);
  rolled.begin();
  save_tag("gone");
  rolled.rollback();
  EXPECT_FALSE(db_.table_exists("_dbl_temp_undo4"));
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
  EXPECT_EQ(message_of([&] { undo.undo(); }), "Unexpected undo type encountered");
  EXPECT_EQ(all(tags_), done);

  query(db_, "UPDATE _dbl_temp_undo1 SET _dbl_undo_type = 'insert' WHERE _dbl_undo_id = 1")
      .execute();
  undo.undo();
  EXPECT_EQ(all(tags_).size(), 1u);
  EXPECT_EQ(record(db_, tags_, 1).get("flag"), entry_data(0));
}

}  // namespace
}  // namespace dbl::test
