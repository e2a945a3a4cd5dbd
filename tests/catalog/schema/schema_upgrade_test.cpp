#include "catalog/schema/schema_upgrade.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/exceptions.h"
#include "catalog/schema/catalog_schema.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_v7.h"
#include "catalog/schema/schema_v8.h"
#include "dbl/sqlite/sqlite_database.h"
#include "tests/catalog/schema/schema_test_support.h"
#include "tests/support/sandbox.h"

namespace {

using vael::schema::schema_generation;
using vael_schema_test::master_entries;
using vael_schema_test::populate;
using vael_schema_test::rows_of;
using vael_test::run;
using vael_test::scalar;

constexpr int kRows = 3;
constexpr int kChangeId = 42;
using rows_by_table = std::map<std::string, std::vector<dbl::entry_data_vector>>;

class SchemaUpgradeTest : public ::testing::Test {
 protected:
  std::string file() const { return box_.path("catalog.omb14db"); }

  // A catalog of an old version with rows in every table, as that version made it; returns
  // those rows by table.
  rows_by_table make_fixture(const schema_generation& generation) {
    dbl::sqlite_database db(file());
    vael::schema::create_schema(db, generation);
    populate(db, generation, kRows, kChangeId);
    rows_by_table out;
    for (const dbl::table_description& table : generation.tables) {
      out[table.name()] = rows_of(db, table);
    }
    return out;
  }

  // What a new catalog holds in sqlite_master.
  std::set<vael_schema_test::master_entry> new_catalog_entries() {
    dbl::sqlite_database db(box_.path("new.omb14db"));
    vael::schema::create_catalog_schema(db);
    return master_entries(db);
  }

  // The file is a current catalog in every respect, and the rows of `old` survived.
  void expect_current_with_rows_of(dbl::database& db, const schema_generation& old,
                                   const rows_by_table& rows_before) {
    const auto entries = master_entries(db);
    const auto fresh = new_catalog_entries();
    EXPECT_TRUE(entries == fresh) << vael_schema_test::difference(entries, fresh);
    EXPECT_EQ(vael::schema::read_schema_version(db), 9);
    for (const dbl::table_description& table : old.tables) {
      if (table.name() == "version_table") continue;
      EXPECT_TRUE(rows_of(db, table) == rows_before.at(table.name())) << table.name();
    }
    EXPECT_EQ(vael_test::text(db, "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM db_change_timestamp_table"), 0);
    EXPECT_EQ(scalar(db,
                     "SELECT count(*) FROM rendition_description_table WHERE id = 0 AND "
                     "identifier = 'vael_master_rendition'"),
              1);
  }

  vantor_test::sandbox box_;
};

TEST_F(SchemaUpgradeTest, Version7BecomesANewCatalogKeepingItsRows) {
  const schema_generation v7 = vael::schema::v7::generation();
  const rows_by_table before = make_fixture(v7);
  ASSERT_EQ(before.at("tag_table").size(), static_cast<std::size_t>(kRows));

  dbl::sqlite_database db(file());
  vael::schema::upgrade_catalog(db, nullptr);
  expect_current_with_rows_of(db, v7, before);
  // Every media and tag takes the old counter as change id, every media the master rendition.
  EXPECT_EQ(scalar(db,
                   "SELECT count(*) FROM media_table WHERE change_id = 42 AND "
                   "rendition_description_id = 0"),
            kRows);
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM tag_table WHERE change_id = 42"), kRows);
  // The references of other tables name the rebuilt tables, not the renamed old ones.
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM sqlite_master WHERE sql LIKE '%_old%'"), 0);
  // The rows still join through the rebuilt tables.
  EXPECT_EQ(scalar(db,
                   "SELECT count(*) FROM tag_to_media_table JOIN media_table ON media_id = "
                   "media_table.id JOIN tag_table ON tag_id = tag_table.id"),
            kRows);
}

TEST_F(SchemaUpgradeTest, Version7WithoutCounterTakesChangeIdZero) {
  make_fixture(vael::schema::v7::generation());
  dbl::sqlite_database db(file());
  run(db, "DELETE FROM change_table WHERE change_type = 'db_changed'");
  vael::schema::upgrade_to_version_8(db, nullptr);
  EXPECT_EQ(vael::schema::read_schema_version(db), 8);
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM media_table WHERE change_id = 0"), kRows);
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM tag_table WHERE change_id = 0"), kRows);
}

TEST_F(SchemaUpgradeTest, Version8GainsTheTimestampTableOnly) {
  const schema_generation v8 = vael::schema::v8::generation();
  const rows_by_table before = make_fixture(v8);
  dbl::sqlite_database db(file());
  vael::schema::upgrade_catalog(db, nullptr);
  expect_current_with_rows_of(db, v8, before);
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM media_table WHERE rendition_description_id = 0"), 0);
}

TEST_F(SchemaUpgradeTest, UpgradeStoppedAfterVersion8GoesOnFromThere) {
  const schema_generation v7 = vael::schema::v7::generation();
  const rows_by_table before = make_fixture(v7);
  {
    dbl::sqlite_database db(file());
    // A view under the name of the one table version 9 adds makes the second step fail.
    run(db, "CREATE VIEW db_change_timestamp_table AS SELECT 1");
    EXPECT_THROW(vael::schema::upgrade_catalog(db, nullptr), std::runtime_error);
    EXPECT_FALSE(db.in_transaction());
  }
  dbl::sqlite_database db(file());
  EXPECT_EQ(vael::schema::read_schema_version(db), 8);
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM rendition_description_table"), 1)
      << "the first part of the second step was not rolled back";
  run(db, "DROP VIEW db_change_timestamp_table");
  vael::schema::upgrade_catalog(db, nullptr);
  expect_current_with_rows_of(db, v7, before);
}

TEST_F(SchemaUpgradeTest, EnforcedForeignKeysStopTheRebuildBeforeItRewritesReferences) {
  make_fixture(vael::schema::v7::generation());
  dbl::sqlite_database db(file());
  const auto before = master_entries(db);
  run(db, "PRAGMA foreign_keys = ON");
  EXPECT_THROW(vael::schema::upgrade_catalog(db, nullptr), std::logic_error);
  EXPECT_EQ(vael::schema::read_schema_version(db), 7);
  EXPECT_TRUE(master_entries(db) == before);
}

TEST_F(SchemaUpgradeTest, VersionsOutsideTheUpgradePathAreRefusedUnchanged) {
  struct refused_case {
    const char* name;
    schema_generation generation;
    int stored_version;
    const char* message;
  };
  const refused_case cases[] = {
      {"newer", vael::schema::current_generation(), 10, "conversion failed"},
      {"older", vael::schema::v7::generation(), 6,
       "The database is not the current version, and cannot be opened"},
  };
  for (const refused_case& c : cases) {
    std::remove(file().c_str());
    make_fixture(c.generation);
    {
      dbl::sqlite_database db(file());
      run(db, "UPDATE version_table SET version_number = " + std::to_string(c.stored_version));
    }
    const std::string before = vantor_test::read_file(file());
    {
      dbl::sqlite_database db(file());
      try {
        vael::schema::open_catalog_schema(db, nullptr);
        ADD_FAILURE() << c.name << ": accepted";
      } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), c.message) << c.name;
        EXPECT_EQ(dynamic_cast<const vael::database_version_error*>(&e) != nullptr,
                  c.stored_version < 7)
            << c.name;
      }
    }
    EXPECT_EQ(vantor_test::read_file(file()), before) << c.name << ": the file changed";
  }
}

}  // namespace
