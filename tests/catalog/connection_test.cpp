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
  // Each refusal has a type of its own, which the caller tells apart.
  using reader = std::string (*)(const std::function<void()>&);
  const struct {
    std::string path;
    reader message_of;
    std::string message;
  } cases[] = {
      {box.path("missing.vdb"), vael_test::message_of<vael::file_nonexistant_error>,
       "The database file " + box.path("missing.vdb") + " does not exist."},
      {box.path("text.vdb"), vael_test::message_of<vael::database_corrupt_error>,
       "The database file could be not opened.  This can happen if the database file is "
       "corrupt, read-only, or not a database"},
      {old, vael_test::message_of<vael::database_version_error>,
       "The database is not the current version, and cannot be opened"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.message_of([&] { vael::connection{c.path}; }), c.message) << c.path;
  }
  EXPECT_FALSE(std::filesystem::exists(box.path("missing.vdb")));
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
  EXPECT_EQ(vael_test::text(db,
                            "SELECT group_concat(parent_id || ' ' || type_name || ' ' || "
                            "can_have_children || can_tag_media || sibling_index, ';') FROM "
                            "tag_table WHERE name = 'stack_ns'"),
            "0 custom_tag_namespace 101");
  EXPECT_EQ(vael_test::text(db,
                            "SELECT group_concat(type || ' ' || serial || ' ' || description || "
                            "' [' || drive_path_if_builtin || ']', ';') FROM volume_table"),
            "database_relative_drive vael:database_relative_volume database relative []");
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
