#include "catalog/schema/catalog_schema.h"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdio>
#include <map>
#include <set>
#include <tuple>

#include "catalog/exceptions.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_upgrade.h"
#include "catalog/schema/schema_v7.h"
#include "catalog/schema/schema_v8.h"
#include "dbl/sql_generation.h"
#include "dbl/sqlite/sqlite_database.h"
#include "dbl/transaction.h"
#include "tests/catalog/catalog_test_support.h"

namespace {

using vael::schema::schema_generation;
using vael_test::run;
using vael_test::scalar;

constexpr int kRows = 3;
using rows_by_table = std::map<std::string, std::vector<dbl::entry_data_vector>>;

// (type, name, tbl_name, sql) of one sqlite_master row; sql is "" where SQLite stores NULL.
using master_entry = std::tuple<std::string, std::string, std::string, std::string>;

std::set<master_entry> master_entries(dbl::database& db) {
  dbl::query q(db, "SELECT type, name, tbl_name, sql FROM sqlite_master");
  for (const char* c : {"type", "name", "tbl_name", "sql"}) q.add_column(c, typeid(std::string));
  std::set<master_entry> out;
  for (const dbl::entry_data_vector& row : q) {
    out.emplace(row[0].as_string(), row[1].as_string(), row[2].as_string(),
                row[3].is_null() ? std::string() : row[3].as_string());
  }
  return out;
}

// A value for `column` in row `n` of a fixture: ids and references are n, so that every
// reference finds its row, and every other value differs between rows and columns.
dbl::entry_data fixture_value(const dbl::column_description& column, int n, int position) {
  namespace pt = boost::posix_time;
  const std::type_info& type = column.type();
  const int number = n * 100 + position;
  if (type == typeid(dbl::auto_id)) return dbl::entry_data(n);
  if (type == typeid(int)) return dbl::entry_data(number);
  if (type == typeid(bool)) return dbl::entry_data(n % 2 == 0);
  if (type == typeid(std::int64_t)) return dbl::entry_data(std::int64_t{number} << 33);
  if (type == typeid(double)) return dbl::entry_data(number + 0.25);
  if (type == typeid(dbl::blob)) return dbl::blob{static_cast<unsigned char>(n), 0, 255};
  if (type == typeid(pt::ptime))
    return pt::ptime(boost::gregorian::date(2007, 3, 1)) + pt::seconds(number);
  return dbl::entry_data(column.name() + " " + std::to_string(n));
}

// The rows of `table` as its columns in `shape` give them, in a stable order.
std::vector<dbl::entry_data_vector> rows_of(dbl::database& db,
                                            const dbl::table_description& shape) {
  std::string columns;
  for (const auto& c : shape.columns()) columns += (columns.empty() ? "" : ", ") + c.name();
  dbl::query q(db, "SELECT " + columns + " FROM " + shape.name() + " ORDER BY " + columns);
  q.set_columns(shape.columns());
  return std::vector<dbl::entry_data_vector>(q.begin(), q.end());
}

class Schema : public ::testing::Test {
 protected:
  std::string file() const { return box_.path("catalog.omb14db"); }

  // A catalog of an old version with kRows rows in every table but version_table, as that
  // version made it (rendition_description_table keeps its row 0), and the "db_changed" counter
  // at `counter` (0: no counter row); returns those rows by table.
  rows_by_table make_fixture(const schema_generation& generation, int counter = 42) {
    std::remove(file().c_str());
    dbl::sqlite_database db(file());
    vael::schema::create_schema(db, generation);
    dbl::transaction t(db);
    t.begin(dbl::strict_policy, true, true);
    for (const dbl::table_description& table : generation.tables) {
      std::vector<dbl::entry_data_vector> rows;
      if (table.name() == "change_table") {
        rows.push_back({37, "current_change_id"});
        if (counter != 0) rows.push_back({counter, "db_changed"});
      }
      const bool own_rows = table.name() == "change_table" || table.name() == "version_table";
      for (int n = 1; n <= kRows && !own_rows; ++n) {
        dbl::entry_data_vector& values = rows.emplace_back();
        for (const auto& c : table.columns())
          values.push_back(fixture_value(c, n, int(values.size())));
      }
      for (auto& row : rows) dbl::insert_row(db.implementer(), table, row, true, nullptr);
    }
    t.end();
    rows_by_table out;
    for (const auto& table : generation.tables) out[table.name()] = rows_of(db, table);
    return out;
  }

  // Upgrades the file, which must then be a current catalog in every respect, keeping the rows
  // of `old`.
  void expect_upgraded(const schema_generation& old, const rows_by_table& rows_before,
                       int counter = 42) {
    dbl::sqlite_database fresh(box_.path("new.omb14db"));
    vael::schema::create_catalog_schema(fresh);
    dbl::sqlite_database db(file());
    vael::schema::upgrade_catalog(db, nullptr);
    EXPECT_EQ(master_entries(db), master_entries(fresh));
    EXPECT_EQ(vael::schema::read_schema_version(db), 9);
    for (const dbl::table_description& table : old.tables) {
      if (table.name() == "version_table") continue;
      EXPECT_TRUE(rows_of(db, table) == rows_before.at(table.name())) << table.name();
    }
    EXPECT_EQ(vael_test::text(db, "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM db_change_timestamp_table"), 0);
    EXPECT_EQ(
        vael_test::text(db, "SELECT identifier FROM rendition_description_table WHERE id = 0"),
        "vael_master_rendition");
    // Every media and tag from version 7 takes the old counter as change id, every media the
    // master rendition; the rows of the version 8 fixture keep theirs.
    const int from7 = old.version == 7 ? kRows : 0;
    const std::string stamped = " WHERE change_id = " + std::to_string(counter);
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM media_table WHERE rendition_description_id = 0"),
              from7);
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM media_table" + stamped), from7);
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM tag_table" + stamped), from7);
    // The references of other tables name the rebuilt tables, not the renamed old ones.
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM sqlite_master WHERE sql LIKE '%_old%'"), 0);
    EXPECT_EQ(scalar(db,
                     "SELECT count(*) FROM tag_to_media_table JOIN media_table ON media_id = "
                     "media_table.id JOIN tag_table ON tag_id = tag_table.id"),
              kRows);
  }

  vantor_test::sandbox box_;
};

TEST_F(Schema,
       NewCatalogHoldsExactlyTheGeneratedSchemaOpensWithoutAWriteIsRepairedButNoOtherVersion) {
  {
    dbl::sqlite_database db(file());
    vael::schema::create_catalog_schema(db);
    // Every described table and named index is there, as described and nothing more.
    std::set<std::string> described = {"_dbl_auto_id_table"};  // the database layer's own
    for (const dbl::table_description& table : vael::schema::current_generation().tables) {
      described.insert(table.name());
      std::string columns;
      for (const auto& c : table.columns()) columns += (columns.empty() ? "" : ",") + c.name();
      EXPECT_EQ(vael_test::text(
                    db, "SELECT group_concat(name) FROM pragma_table_info('" + table.name() + "')"),
                columns);
      for (const auto& [index, on] : table.indexes()) {
        std::string expected = "CREATE INDEX " + index + " ON " + table.name() + "(";
        for (const std::string& c : on) expected += c + (&c == &on.back() ? ")" : ", ");
        described.insert(index);
        EXPECT_EQ(vael_test::text(db, "SELECT sql FROM sqlite_master WHERE name = '" + index + "'"),
                  expected);
      }
    }
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM sqlite_master WHERE sql IS NOT NULL"),
              static_cast<int>(described.size()));
    EXPECT_EQ(vael::schema::read_schema_version(db), 9);
    EXPECT_EQ(vael_test::text(
                  db, "SELECT group_concat(id || identifier) FROM rendition_description_table"),
              "0vael_master_rendition");
  }
  const std::string before = vantor_test::read_file(file());
  {
    dbl::sqlite_database db(file());
    vael::schema::open_catalog_schema(db, nullptr);
    EXPECT_NO_THROW(db.get_table("tag_to_metadata_table"));
  }
  EXPECT_EQ(vantor_test::read_file(file()), before) << "opening a current catalog wrote to it";

  dbl::sqlite_database db(file());
  const auto whole = master_entries(db);
  run(db, "DROP TABLE tag_to_metadata_table");
  run(db, "DROP TABLE metadata_blob_table");
  run(db, "DELETE FROM rendition_description_table");
  vael::schema::create_catalog_schema(db);
  EXPECT_EQ(master_entries(db), whole);
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM rendition_description_table WHERE id = 0"), 1);
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM version_table"), 1);

  // Another version is refused, and nothing is created in it.
  dbl::sqlite_database other(box_.path("other.omb14db"));
  run(other, "CREATE TABLE version_table (\n\tversion_number INTEGER NOT NULL\n)");
  run(other, "INSERT INTO version_table VALUES (8)");
  EXPECT_EQ(vael_test::message_of<vael::database_version_error>(
                [&] { vael::schema::create_catalog_schema(other); }),
            "The database is not the current version, and cannot be opened");
  EXPECT_FALSE(other.in_transaction());
  EXPECT_EQ(master_entries(other).size(), 1u);
}

TEST_F(Schema, Versions7And8BecomeANewCatalogKeepingTheirRows) {
  const schema_generation v7 = vael::schema::v7::generation(), v8 = vael::schema::v8::generation();
  // A version 7 file without the counter stamps its media and tags with change id 0.
  for (const auto& [old, counter] : {std::pair{v7, 42}, {v8, 42}, {v7, 0}}) {
    SCOPED_TRACE(std::to_string(old.version) + " counter " + std::to_string(counter));
    const rows_by_table before = make_fixture(old, counter);
    expect_upgraded(old, before, counter);
  }
}

TEST_F(Schema, VersionsOutsideTheUpgradePathAreRefusedUnchanged) {
  const schema_generation v7 = vael::schema::v7::generation();
  const struct {
    schema_generation generation;
    int stored_version;
    const char* setting;
    const char* message;
  } cases[] = {
      {vael::schema::current_generation(), 10, "", "conversion failed"},
      {v7, 6, "", "The database is not the current version, and cannot be opened"},
      // Enforced, they would rewrite the references to the rebuilt tables.
      {v7, 7, "PRAGMA foreign_keys = ON",
       "A catalog cannot be upgraded while foreign keys are enforced."},
  };
  for (const auto& c : cases) {
    make_fixture(c.generation);
    {
      dbl::sqlite_database db(file());
      run(db, "UPDATE version_table SET version_number = " + std::to_string(c.stored_version));
    }
    const std::string before = vantor_test::read_file(file());
    try {
      dbl::sqlite_database db(file());
      if (*c.setting != 0) run(db, c.setting);
      vael::schema::open_catalog_schema(db, nullptr);
      ADD_FAILURE() << c.message << ": accepted";
    } catch (const std::exception& e) {
      EXPECT_STREQ(e.what(), c.message);
      EXPECT_EQ(dynamic_cast<const vael::database_version_error*>(&e) != nullptr,
                c.stored_version < 7);
      EXPECT_EQ(dynamic_cast<const std::logic_error*>(&e) != nullptr, *c.setting != 0);
    }
    EXPECT_EQ(vantor_test::read_file(file()), before) << c.message << ": the file changed";
  }
}

}  // namespace
