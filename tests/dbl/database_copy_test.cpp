#include "dbl/database_copy.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/dbl/dbl_test_util.h"

namespace dbl {
namespace {

using dbl_test::all_rows;
using dbl_test::message_of;
using dbl_test::stored_counter;
using reports = std::vector<std::pair<int, int>>;

table_description note_table() {
  table_description t("note_table");
  t.add_column(dbl_test::plain_column("text", typeid(std::string), 255));
  return t;
}

// Copies from db_ (the source) into target_, both holding the tag and note tables.
class CopyTest : public dbl_test::tag_db_test {
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

TEST_F(CopyTest, RefusesBeforeWritingAnything) {
  fill_source();
  {
    transaction t(target_);
    t.begin(merge_policy, true);
    record(target_, notes_).save();
    t.end();
  }
  reports seen;
  EXPECT_EQ(message_of<std::runtime_error>([&] { copy_database(source_, target_, noting(seen)); }),
            "The target database is not empty");
  EXPECT_EQ(stored_counter(target_), 1);
  EXPECT_EQ(all_rows(target_, tags_).size(), 0u);
  EXPECT_EQ(seen, (reports{{0, 1000}, {0, 1000}, {33, 1000}}));

  sqlite_database other(box_.path("o.db"));
  other.create_table(tags_);
  seen.clear();
  EXPECT_EQ(message_of<std::runtime_error>([&] { copy_database(source_, other, noting(seen)); }),
            "Can't copy a db if the schemas don't match");
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(stored_counter(other), 0);
}

TEST_F(CopyTest, CancelStopsAndKeepsWhatWasCopied) {
  fill_source();
  reports seen;
  // 104 is the report after the first row, 108 after the second.
  EXPECT_THROW(copy_database(source_, target_, noting(seen, 108)), cancel_error);
  EXPECT_EQ(seen.back(), std::make_pair(108, 1000));
  // The notes table comes first; two notes were in before the answer.
  EXPECT_EQ(all_rows(target_, notes_).size(), 2u);
  EXPECT_TRUE(
      query(target_, "SELECT last_assigned_id FROM _dbl_auto_id_table").select_ints().empty());

  // A cancel at the first report comes before the emptiness check.
  reports counting;
  EXPECT_THROW(copy_database(source_, target_, noting(counting, 0)), cancel_error);
  EXPECT_EQ(counting.size(), 1u);
}

}  // namespace
}  // namespace dbl
