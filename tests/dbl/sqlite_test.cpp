#include "dbl/sqlite/collation.h"
#include "dbl/sqlite/error_mapper.h"
#include "dbl/sqlite/sqlite_implementer.h"
#include "tests/dbl/dbl_test_util.h"

namespace dbl::test {
namespace {

// "<code> <message>" of the internal_database_error that `fn` throws.
std::string coded_message(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const internal_database_error& e) {
    return std::to_string(e.code()) + " " + e.what();
  }
  return "<no exception>";
}

// Counts to 300000 inside SQLite, long enough for the progress handler to run many times.
const char kLongQuery[] =
    "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 300000) "
    "SELECT max(x) FROM c";

TEST(SqliteUtil, NaturalOrderAndCodesWithoutAConnection) {
  const char* const ascending[] = {"",         "1",       "01",      "2",      "2string",
                                   "20string", "img2",    "IMG10",   "img10a", "st2ring",
                                   "string",   "string2", "String10"};
  const std::size_t n = std::size(ascending);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      const int c = sqlite_util::natural_compare(ascending[i], ascending[j]);
      EXPECT_EQ((c > 0) - (c < 0), (i > j) - (i < j))
          << '"' << ascending[i] << "\" vs \"" << ascending[j] << '"';
    }
  }
  EXPECT_EQ(sqlite_util::natural_compare("Photo", "photo"), 0);
  EXPECT_EQ(sqlite_util::natural_compare("\xC3\x89T\xC3\x89 2", "\xC3\xA9t\xC3\xA9 2"),
            0);  // ÉTÉ, été
  EXPECT_EQ(sqlite_util::natural_compare("\xD0\x9C\xD0\xB8\xD1\x80", "\xD0\xBC\xD0\x98\xD0\xA0"),
            0);  // Мир, мИР
  EXPECT_LT(sqlite_util::natural_compare("zebra", "\xC3\xA9t\xC3\xA9"), 0);
  // Broken UTF-8 keeps a fixed place and never equals a well-formed letter.
  EXPECT_NE(sqlite_util::natural_compare("\xC3", "\xC3\x83"), 0);
  EXPECT_GT(sqlite_util::natural_compare("a\xFF", "a\xF4\x8F\xBF\xBF"), 0);
  EXPECT_LT(sqlite_util::natural_compare("a99999999999999999999999", "a100000000000000000000000"),
            0);

  // Codes met without a connection.
  const auto check = [](int code) { return [code] { sqlite_util::check_result(code, nullptr); }; };
  EXPECT_EQ(message_of<cancel_error>(check(4)), "dbl::cancel_error");
  EXPECT_EQ(message_of<std::bad_alloc>(check(7)), "bad allocation");
  EXPECT_EQ(message_of<database_corrupt_error>(check(11)), "The database file is corrupt.");
  EXPECT_EQ(coded_message(check(19)),
            "19 An internal error was encountered in the sqlite database.  No sqlite error message "
            "is available.");
}

TEST_F(tag_db_test, ValuesRoundTripByDeclaredKindAndTimesKeepTheirOwnText) {
  query(db_,
        "CREATE TABLE v (i INTEGER, b INTEGER, d NUMERIC, t TEXT, f TEXT, bl BLOB, "
        "ts TEXT, big INTEGER, n INTEGER)")
      .execute();
  const boost::posix_time::ptime when(boost::gregorian::date(2009, 3, 4),
                                      boost::posix_time::time_duration(5, 6, 7, 500));
  query(db_, "INSERT INTO v VALUES (?, 2, 7, ?, ?, ?, ?, ?, ?)")
      .bind(-5)
      .bind("text")
      .bind(fixed_string{8, "fix"})
      .bind(blob{})
      .bind(when)
      .bind(std::int64_t{1} << 40)
      .bind(entry_data())
      .execute();
  query q(db_, "SELECT * FROM v");
  for (const std::type_info* kind :
       {&typeid(int), &typeid(bool), &typeid(double), &typeid(std::string), &typeid(fixed_string),
        &typeid(blob), &typeid(boost::posix_time::ptime), &typeid(std::int64_t), &typeid(int)}) {
    q.add_column("c", *kind, 8);
  }
  // Equality tells the kinds apart: bool from int, double from int, fixed from plain text.
  EXPECT_EQ(q.first_row(), (entry_data_vector{-5, true, 7.0, "text", fixed_string{8, "fix"}, blob{},
                                              when, std::int64_t{1} << 40, entry_data()}));
  EXPECT_EQ(query(db_, "SELECT ts FROM v").add_column("ts", typeid(std::string)).first_row()[0],
            entry_data("2009-03-04T05:06:07.000500"));

  query wrong(db_, "SELECT i, b FROM v");
  wrong.add_column("i", typeid(int));
  EXPECT_EQ(message_of([&] { wrong.first_row(); }),
            "Could not read the result from the sqlite database, because there was an "
            "unexpected number of result entries for this row.");

  // Recently bound times are remembered as text; each bind must still write its own time.
  query(db_, "CREATE TABLE w (k INTEGER, ts TEXT)").execute();
  const boost::posix_time::ptime base(boost::gregorian::date(2001, 2, 3));
  for (int k = 0; k < 9; ++k)
    query(db_, "INSERT INTO w VALUES (?, ?)")
        .bind(k)
        .bind(base + boost::posix_time::hours(k % 3))
        .execute();
  query times(db_, "SELECT k, ts FROM w ORDER BY k");
  times.add_column("k", typeid(int)).add_column("ts", typeid(std::string));
  for (const entry_data_vector& row : times) {
    const std::string hour = std::to_string(row[0].as_int() % 3);
    EXPECT_EQ(row[1].as_string(), "2001-02-03T0" + hour + ":00:00") << row[0].as_int();
  }
}

TEST_F(tag_db_test, IterationCollationErrorsAndStatementsNeverSharedWhileLive) {
  query(db_, "CREATE TABLE n (x INTEGER UNIQUE)").execute();
  query(db_, "INSERT INTO n VALUES (?)").execute_for_ints({3, 1, 2});
  query q(db_, "SELECT x FROM n ORDER BY x");
  q.add_column("x", typeid(int));
  EXPECT_EQ(q.select_ints(), (std::vector<int>{1, 2, 3}));
  auto it = q.begin();
  EXPECT_EQ(it.column_index("x"), 0);
  EXPECT_EQ(message_of([&] { it.column_index("y"); }),
            "The column y is not a valid result of this query.");
  std::advance(it, 3);
  EXPECT_TRUE(it == q.end());
  EXPECT_EQ(message_of([&] { ++it; }),
            "An attempt to advance a query that had no more results was made.");

  EXPECT_EQ(coded_message([&] { query(db_, "INSERT INTO n VALUES (1)").execute(); }),
            "19 An error was encountered in the sqlite database: UNIQUE constraint failed: n.x");
  EXPECT_THROW(query(db_, "SELEC nonsense").execute(), internal_database_error);
  {
    // The engine ended the transaction behind the layer's back, as after a failed allocation:
    // nothing more may run in it, least of all saved row by row.
    transaction t(db_);
    t.begin(merge_policy, true, true);
    query(db_, "INSERT INTO n VALUES (4)").execute();
    query(db_, "ROLLBACK").execute();
    EXPECT_EQ(coded_message([&] { query(db_, "INSERT INTO n VALUES (5)").execute(); }),
              "4 The transaction was rolled back after an earlier error; none of it was saved.");
    EXPECT_THROW(t.end(), internal_database_error);
  }
  EXPECT_FALSE(db_.in_transaction());
  EXPECT_EQ(coded_message([&] { sqlite_database bad(box_.path("missing/folder/x.db")); }),
            "14 The following sqlite error was encountered: unable to open database file");
  EXPECT_EQ(texts(db_,
                  "SELECT column1 FROM (VALUES ('img10'), ('IMG2'), ('img1')) ORDER BY column1 "
                  "COLLATE i18n_collate"),
            (std::vector<std::string>{"img1", "IMG2", "img10"}));

  // The same text run again while its first result is still open gets its own statement.
  int pairs = 0;
  for (const auto& outer : q) {
    for (const auto& inner : q) {
      (void)inner;
      ++pairs;
    }
    EXPECT_FALSE(outer.empty());
  }
  EXPECT_EQ(pairs, 9);

  auto& impl = static_cast<sqlite_implementer&>(db_.implementer());
  auto held = impl.prepare("SELECT x FROM n ORDER BY x");
  query cached(db_, "SELECT x FROM n ORDER BY x");
  cached.add_column("x", typeid(int));
  EXPECT_EQ(cached.select_ints(), (std::vector<int>{1, 2, 3}));

  sqlite_database other(file_);
  query(other, "CREATE TABLE m (y INTEGER)").execute();

  auto& statement = static_cast<sqlite_util::statement&>(*held);
  EXPECT_THROW(statement.step(), prepared_query_expired_error);
  EXPECT_FALSE(statement.is_valid());
  EXPECT_EQ(message_of<prepared_query_expired_error>([&] { statement.handle(); }),
            "A prepared query could not be executed because it needs to be re-prepared.");
  // Cached statements are compiled again before their first row.
  EXPECT_EQ(cached.select_ints(), (std::vector<int>{1, 2, 3}));
}

TEST_F(tag_db_test, BusyHandlerRetriesUpToTheLimitAndCancelCallbacksInterruptALongQuery) {
  sqlite_database other(file_);
  transaction holder(other);
  holder.begin(merge_policy, true, true);

  EXPECT_EQ(
      message_of<database_busy_error>([&] { transaction(db_).begin(merge_policy, true, true); }),
      "The sqlite database is busy or locked.  This operation may be successful if it is "
      "attempted again.");

  int highest = -1;
  std::string reentry;
  db_.set_busy_callback([&](int count) {
    highest = count;
    if (count == 0) {
      reentry = message_of<database_busy_error>([&] { query(db_, "SELECT 1").execute(); });
    }
    return true;
  });
  EXPECT_THROW(transaction(db_).begin(merge_policy, true, true), database_busy_error);
  EXPECT_EQ(highest, 10000);
  EXPECT_EQ(reentry,
            "The database has been blocked from executing additional sql statements while it "
            "resolves a busy handler from another statement.");
  EXPECT_FALSE(db_.in_transaction());

  // An exception from the callback stops the wait and reaches the caller unchanged.
  db_.set_busy_callback([](int) -> bool { throw std::runtime_error("give up"); });
  EXPECT_EQ(
      message_of<std::runtime_error>([&] { transaction(db_).begin(merge_policy, true, true); }),
      "give up");

  holder.end();
  transaction t(db_);
  t.begin(merge_policy, true, true);
  t.end();

  query q(db_, kLongQuery);
  q.add_column("m", typeid(int));
  int calls = 0;
  EXPECT_EQ(message_of([&] { db_.current_cancel_callback(); }),
            "There is no callback currently set");
  {
    sqlite_util::scoped_cancel_callback outer(db_, [&] { return ++calls, jtb::progress_continue; });
    {
      sqlite_util::scoped_cancel_callback inner(db_, [&] {
        return calls > 10 ? jtb::progress_cancel : (++calls, jtb::progress_continue);
      });
      EXPECT_THROW(q.first_row(), cancel_error);
    }
    // The first callback is in force again and lets the query finish.
    const int before = calls;
    EXPECT_EQ(q.first_row()[0].as_int(), 300000);
    EXPECT_GT(calls, before);
  }
  EXPECT_FALSE(db_.has_cancel_callback());

  sqlite_util::scoped_cancel_callback throwing(
      db_, []() -> jtb::progress_result { throw std::out_of_range("from the callback"); });
  EXPECT_EQ(message_of<std::out_of_range>([&] { q.first_row(); }), "from the callback");
}

}  // namespace
}  // namespace dbl::test
