#include "dbl/record.h"

#include <gtest/gtest.h>

#include <sstream>

#include "diagnostics/timer.h"
#include "tests/dbl/dbl_test_util.h"

namespace dbl {
namespace {

using dbl_test::message_of;

class RecordTest : public dbl_test::tag_db_test {
 protected:
  // Saves a new tag in its own transaction and returns its id.
  int add_tag(const std::string& name, entry_data parent = entry_data()) {
    int id = 0;
    write([&] { id = save_tag(name, parent).id(); });
    return id;
  }
};

TEST_F(RecordTest, InsertUpdateReloadAndRemoveAreTimedUnderTheirLabels) {
  const bool was_enabled = lil::timers_enabled();
  lil::set_timers_enabled(true);
  lil::reset_thread_tables();
  write([&] {
    record r = save_tag("first");
    EXPECT_EQ(r.id(), 1);
    EXPECT_TRUE(r.in_database());
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

  EXPECT_EQ(message_of<std::logic_error>([&] { record(db_, tags_, 1); }),
            "There were no results for the query:\nSELECT * FROM tag_table WHERE id = :auto_id "
            "LIMIT 1");
  EXPECT_EQ(message_of<std::logic_error>([&] { loaded.get("nope"); }),
            "The column requested is not valid for this record.");
  EXPECT_EQ(message_of<std::logic_error>([&] { record(db_, tags_, entry_data_vector(2), true); }),
            "Could not create the record because the default data did not have the right "
            "number of entries.");
}

TEST_F(RecordTest, SaveNeedsATransactionAndWritesOnlyChanges) {
  const int id = add_tag("a");
  record r(db_, tags_, id);
  EXPECT_EQ(message_of<std::logic_error>([&] { r.save(); }),
            "Can't save a record when not in a transaction");
  EXPECT_EQ(message_of<std::logic_error>([&] { r.remove(); }),
            "Can't save a record when not in a transaction");

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

TEST_F(RecordTest, RemoveChecksReferencesOrCascades) {
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

}  // namespace
}  // namespace dbl
