#include "catalog/schema/schema_upgrade.h"

#include <cstdio>
#include <map>

#include "catalog/schema/catalog_schema.h"
#include "catalog/schema/schema_v7.h"
#include "catalog/schema/schema_v8.h"
#include "tests/catalog/schema/schema_test_support.h"

namespace {

using vael::schema::schema_generation;
using vael_schema_test::master_entries;
using vael_schema_test::rows_of;
using vael_test::run;
using vael_test::scalar;

constexpr int kRows = 3;
using rows_by_table = std::map<std::string, std::vector<dbl::entry_data_vector>>;

class SchemaUpgradeTest : public ::testing::Test {
 protected:
  std::string file() const { return box_.path("catalog.omb14db"); }

  // A catalog of an old version with rows in every table, as that version made it, and the
  // "db_changed" counter at 42; returns those rows by table.
  rows_by_table make_fixture(const schema_generation& generation) {
    dbl::sqlite_database db(file());
    vael::schema::create_schema(db, generation);
    vael_schema_test::populate(db, generation, kRows, 42);
    rows_by_table out;
    for (const dbl::table_description& table : generation.tables) {
      out[table.name()] = rows_of(db, table);
    }
    return out;
  }

  // Upgrades the file, which must then be a current catalog in every respect, keeping the rows
  // of `old`.
  void expect_upgraded(const schema_generation& old, const rows_by_table& rows_before) {
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
    EXPECT_EQ(scalar(db,
                     "SELECT count(*) FROM rendition_description_table WHERE id = 0 AND "
                     "identifier = 'vael_master_rendition'"),
              1);
    // Every media and tag from version 7 takes the old counter as change id, every media the
    // master rendition; the rows of the version 8 fixture keep theirs.
    const int from7 = old.version == 7 ? kRows : 0;
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM media_table WHERE rendition_description_id = 0"),
              from7);
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM media_table WHERE change_id = 42"), from7);
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM tag_table WHERE change_id = 42"), from7);
    // The references of other tables name the rebuilt tables, not the renamed old ones.
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM sqlite_master WHERE sql LIKE '%_old%'"), 0);
    EXPECT_EQ(scalar(db,
                     "SELECT count(*) FROM tag_to_media_table JOIN media_table ON media_id = "
                     "media_table.id JOIN tag_table ON tag_id = tag_table.id"),
              kRows);
  }

  vantor_test::sandbox box_;
};

TEST_F(SchemaUpgradeTest, Versions7And8BecomeANewCatalogKeepingTheirRows) {
  for (const schema_generation& old :
       {vael::schema::v7::generation(), vael::schema::v8::generation()}) {
    SCOPED_TRACE(old.version);
    std::remove(file().c_str());
    const rows_by_table before = make_fixture(old);
    expect_upgraded(old, before);
  }
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

TEST_F(SchemaUpgradeTest, UpgradeStoppedAfterVersion8GoesOnFromThere) {
  const schema_generation v7 = vael::schema::v7::generation();
  const rows_by_table before = make_fixture(v7);
  {
    dbl::sqlite_database db(file());
    // A view under the name of the one table version 9 adds makes the second step fail.
    run(db, "CREATE VIEW db_change_timestamp_table AS SELECT 1");
    EXPECT_THROW(vael::schema::upgrade_catalog(db, nullptr), std::runtime_error);
    EXPECT_FALSE(db.in_transaction());
    EXPECT_EQ(vael::schema::read_schema_version(db), 8);
    EXPECT_EQ(scalar(db, "SELECT count(*) FROM rendition_description_table"), 1)
        << "the first part of the second step was not rolled back";
    run(db, "DROP VIEW db_change_timestamp_table");
  }
  expect_upgraded(v7, before);
}

TEST_F(SchemaUpgradeTest, EnforcedForeignKeysStopTheRebuildBeforeItRewritesReferences) {
  make_fixture(vael::schema::v7::generation());
  dbl::sqlite_database db(file());
  const auto before = master_entries(db);
  run(db, "PRAGMA foreign_keys = ON");
  EXPECT_THROW(vael::schema::upgrade_catalog(db, nullptr), std::logic_error);
  EXPECT_EQ(vael::schema::read_schema_version(db), 7);
  EXPECT_EQ(master_entries(db), before);
}

TEST_F(SchemaUpgradeTest, VersionsOutsideTheUpgradePathAreRefusedUnchanged) {
  const struct {
    schema_generation generation;
    int stored_version;
    const char* message;
  } cases[] = {
      {vael::schema::current_generation(), 10, "conversion failed"},
      {vael::schema::v7::generation(), 6,
       "The database is not the current version, and cannot be opened"},
  };
  for (const auto& c : cases) {
    std::remove(file().c_str());
    make_fixture(c.generation);
    {
      dbl::sqlite_database db(file());
      run(db, "UPDATE version_table SET version_number = " + std::to_string(c.stored_version));
    }
    const std::string before = vantor_test::read_file(file());
    try {
      dbl::sqlite_database db(file());
      vael::schema::open_catalog_schema(db, nullptr);
      ADD_FAILURE() << c.stored_version << ": accepted";
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), c.message);
      EXPECT_EQ(dynamic_cast<const vael::database_version_error*>(&e) != nullptr,
                c.stored_version < 7);
    }
    EXPECT_EQ(vantor_test::read_file(file()), before) << c.stored_version << ": the file changed";
  }
}

}  // namespace
