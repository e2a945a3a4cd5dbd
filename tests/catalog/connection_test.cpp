#include "catalog/connection.h"

#include <filesystem>

#include "catalog/stack_namespace.h"
#include "catalog/volume_manager.h"
#include "dbl/sqlite/sqlite_database.h"
#include "tests/catalog/catalog_test_support.h"

namespace {

using vael_test::scalar;

class Connection : public ::testing::Test {
 protected:
  vantor_test::sandbox box;
  const std::string path = vael_test::new_catalog(box, "c.vdb");
};

std::string plan_of(dbl::database& db, const std::string& sql) {
  dbl::query q(db, "EXPLAIN QUERY PLAN " + sql);
  q.add_column("id", typeid(int)).add_column("parent", typeid(int));
  q.add_column("unused", typeid(int)).add_column("detail", typeid(std::string));
  std::string plan;
  for (const dbl::entry_data_vector& row : q) plan += row[3].as_string() + "\n";
  return plan;
}

TEST_F(Connection, RefusesWhatIsNoUsableCatalogWithItsOwnText) {
  box.write_file("text.vdb", "this is not a database, but it is long enough to look like one....");
  const std::string old = vael_test::new_catalog(box, "old.vdb");
  {
    dbl::sqlite_database db(old);
    vael_test::run(db, "CREATE TABLE version_table (version_number INTEGER NOT NULL)");
    vael_test::run(db, "INSERT INTO version_table (version_number) VALUES (6)");
  }
  struct bad_file {
    const char* name;
    std::string path;
    std::string message;
  };
  const bad_file cases[] = {
      {"missing", box.path("missing.vdb"),
       "The database file " + box.path("missing.vdb") + " does not exist."},
      {"text", box.path("text.vdb"),
       "The database file could be not opened.  This can happen if the database file is "
       "corrupt, read-only, or not a database"},
      {"version 6", old, "The database is not the current version, and cannot be opened"},
  };
  for (const bad_file& c : cases) {
    EXPECT_EQ(vael_test::message_of([&] { vael::connection{c.path}; }), c.message) << c.name;
  }
  EXPECT_FALSE(std::filesystem::exists(box.path("missing.vdb")));
  EXPECT_THROW(vael::connection{box.path("missing.vdb")}, vael::file_nonexistant_error);
  EXPECT_THROW(vael::connection{box.path("text.vdb")}, vael::database_corrupt_error);
  EXPECT_THROW(vael::connection{old}, vael::database_version_error);
}

TEST_F(Connection, OpeningTwiceMakesTheStackNamespaceAndRelativeVolumeOnce) {
  int first_change = 0;
  {
    vael::connection c(path);
    first_change = c.get().change_tracker().current_change_id();
    EXPECT_GT(first_change, 0);
    // The namespace row is stamped with the change that made it.
    EXPECT_EQ(scalar(c.get().database(),
                     "SELECT change_id FROM tag_table WHERE name = 'stack_ns' AND parent_id = 0"),
              first_change - 1);
  }
  vael::connection c(path);
  dbl::database& db = c.get().database();
  EXPECT_EQ(scalar(db, "SELECT COUNT(*) FROM tag_table WHERE name = 'stack_ns'"), 1);
  EXPECT_EQ(scalar(db,
                   "SELECT COUNT(*) FROM tag_table WHERE name = 'stack_ns' AND parent_id = 0 "
                   "AND type_name = 'custom_tag_namespace' AND can_have_children = 1 AND "
                   "can_tag_media = 0 AND sibling_index = 1"),
            1);
  EXPECT_EQ(scalar(db,
                   "SELECT COUNT(*) FROM volume_table WHERE type = 'database_relative_drive' "
                   "AND serial = 'vael:database_relative_volume' AND description = "
                   "'database relative' AND drive_path_if_builtin = ''"),
            1);
  EXPECT_EQ(c.get().change_tracker().current_change_id(), first_change);
}

TEST_F(Connection, ObjectsThatOutliveTheConnectionFailCleanly) {
  EXPECT_THROW(vael::get_connection(vael::connection_handle()), vael::connection_error);
  vael::connection_handle kept;
  {
    vael::connection c(path);
    kept = c.handle();
    EXPECT_EQ(&vael::get_connection(kept), &c.get());
  }
  EXPECT_EQ(vael_test::message_of<vael::connection_error>([&] { vael::get_volume_manager(kept); }),
            "The connection to vael has already been closed.");
  EXPECT_THROW(vael::transaction t(kept), vael::connection_error);
}

TEST_F(Connection, PlannerFindsMediaByPathAndTagsByNameThroughTheirIndexes) {
  {
    vael::connection c(path);
    dbl::database& db = c.get().database();
    EXPECT_NE(plan_of(db,
                      "SELECT id FROM media_table\nWHERE filename_search_index = 'a' AND "
                      "filepath_search_index = '/' AND volume_id = 1\n")
                  .find("media_table_filepath_index"),
              std::string::npos);
    EXPECT_NE(plan_of(db, "SELECT id FROM tag_table WHERE parent_id = 1 AND name = 'x' LIMIT 1")
                  .find("tag_table_parent_sibling_index"),
              std::string::npos);
    vael_test::run(db,
                   "UPDATE sqlite_stat1 SET stat = '7 7 1' WHERE idx = "
                   "'media_table_volume_index'");
  }
  // Statistics already there, as ANALYZE would leave them, are kept.
  vael::connection again(path);
  EXPECT_EQ(vael_test::scalar(again.get().database(),
                              "SELECT COUNT(*) FROM sqlite_stat1 WHERE stat = '7 7 1'"),
            1);
}

}  // namespace
