#include "catalog/connection.h"

#include <filesystem>

#include "catalog/stack_namespace.h"
#include "catalog/volume_manager.h"
#include "dbl/sqlite/sqlite_database.h"
#include "tests/catalog/catalog_test_support.h"

namespace {

using vael::volume_t;
using vael::volume_type;
using vael_test::scalar;

volume_t volume(volume_type type, const std::string& serial, const std::string& path = "") {
  return {serial, "disk " + serial, type, path, 0};
}

class Connection : public ::testing::Test {
 protected:
  template <typename Step>
  void in_transaction(vael::connection& c, Step step) {
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    step(vael::get_volume_manager(c.handle()));
    t.commit();
  }

  vantor_test::sandbox box;
  const std::string path = vael_test::new_catalog(box, "catalog/c.vdb");
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

TEST_F(Connection, VolumeRefusedWritesNameTheirFaultAndWriteNothing) {
  vael::connection c(path);
  vael::volume_t stored;
  in_transaction(c, [&](vael::volume_manager vm) {
    stored = vm.add_volume(volume(volume_type::removable_drive, "R1"));
  });
  struct refused {
    const char* name;
    bool update;
    volume_t volume;
    const char* message;
  };
  volume_t bad_type = volume(volume_type::no_drive, "X");
  bad_type.type = static_cast<volume_type>(9);
  const refused cases[] = {
      {"builtin without path", false, volume(volume_type::builtin_drive, "B"),
       "If a builtin drive is being added, a drive path must be specified."},
      {"removable with path", false, volume(volume_type::removable_drive, "R", "/media/r"),
       "A path may only be specified for a builtin drive or a 'no drive' drive."},
      {"network with path", true, volume(volume_type::network_drive, "N", "/net/n"),
       "A path may only be specified for a builtin drive or a 'no drive' drive."},
      {"add relative", false, volume(volume_type::database_relative_drive, "D"),
       "Only one 'database relative drive' may be present."},
      {"update relative", true, volume(volume_type::database_relative_drive, "D"),
       "Cannot change a 'database relative drive'."},
      {"unknown type", false, bad_type, "An unrecognized volume type was encountered"},
  };
  for (refused r : cases) {
    r.volume.id = stored.id;
    EXPECT_EQ(vael_test::message_of<std::logic_error>([&] {
                in_transaction(c, [&](vael::volume_manager vm) {
                  r.update ? vm.update_volume(r.volume)
                           : static_cast<void>(vm.add_volume(r.volume));
                });
              }),
              r.message)
        << r.name;
  }
  const vael::volume_manager vm = vael::get_volume_manager(c.handle());
  EXPECT_EQ(vm.get_all_volumes().size(), 2u);
  EXPECT_EQ(vm.get_volume(stored.id).serial, "R1");
  EXPECT_EQ(vm.get_volume(stored.id).type, volume_type::removable_drive);
}

TEST_F(Connection, VolumePathsComeFromTheRowsTheCallerAndTheFileSystem) {
  const std::string share = box.path("share");
  std::filesystem::create_directories(share);
  int builtin = 0, removable = 0, network = 0, none = 0;
  {
    vael::connection c(path);
    in_transaction(c, [&](vael::volume_manager vm) {
      builtin = vm.add_volume(volume(volume_type::builtin_drive, "B", "/mnt/b")).id;
      removable = vm.add_volume(volume(volume_type::removable_drive, "R")).id;
      network = vm.add_volume(volume(volume_type::network_drive, "N")).id;
      none = vm.add_volume(volume(volume_type::no_drive, "", "")).id;
    });
    vael::volume_manager vm = vael::get_volume_manager(c.handle());
    EXPECT_EQ(vm.get_volume_path(builtin), "/mnt/b");
    EXPECT_TRUE(vm.is_volume_online(builtin));
    EXPECT_FALSE(vm.is_volume_online(removable));
    EXPECT_TRUE(vm.is_volume_online(none));

    c.get().media_tracker().get_cache("media")->get_or_load<int>(5, [] { return 5; });
    c.get().media_tracker().mark_changed(6);
    vm.set_volume_path(removable, "");
    EXPECT_EQ(vm.get_volume_paths().count(removable), 0u);
    vm.set_volume_path(removable, "/media/r");
    vm.set_volume_path(network, share);
    EXPECT_FALSE(c.get().media_tracker().get_cache("media")->contains(5));
    EXPECT_EQ(c.get().media_tracker().changed_ids(), std::set<int>{6});
    EXPECT_TRUE(vm.is_volume_online(removable));
    EXPECT_TRUE(vm.is_volume_online(network));
    std::filesystem::remove(share);
    EXPECT_FALSE(vm.is_volume_online(network));
    vm.clear_volume_path(removable);
    EXPECT_EQ(vm.get_volume_path(removable), "");
    EXPECT_TRUE(vm.is_volume_online(removable));
    vm.forget_volume_path(removable);
    EXPECT_FALSE(vm.is_volume_online(removable));

    in_transaction(c, [&](vael::volume_manager m) {
      volume_t moved = m.get_volume(builtin);
      moved.drive_path_if_builtin = "/mnt/b2";
      m.update_volume(moved);
    });
    EXPECT_EQ(vm.get_volume_path(builtin), "/mnt/b2");
    EXPECT_TRUE(vm.has_drive_path("/mnt/b2"));
    EXPECT_FALSE(vm.has_drive_path("/mnt/b"));
    EXPECT_TRUE(vm.has_serial("N"));
    EXPECT_EQ(vm.get_volumes_by_serial("N").at(0).id, network);
    EXPECT_EQ(vm.get_volumes_by_drive_path("/mnt/b2").size(), 1u);
    EXPECT_EQ(vm.get_volume_id_of_type("network_drive"), network);
    EXPECT_EQ(vm.get_volume_id_of_type("readonly_drive"), -1);
  }
  vael::connection c(path);
  const vael::volume_manager vm = vael::get_volume_manager(c.handle());
  const int relative = vm.get_volume_id_of_type("database_relative_drive");
  EXPECT_EQ(vm.get_volume_paths(),
            (std::map<int, std::string>{
                {relative, box.path("catalog")}, {builtin, "/mnt/b2"}, {none, ""}}));
}

TEST_F(Connection, VolumeOpeningRepairsTheRelativeVolumeAndRefusesUnknownTypes) {
  int relative = 0;
  {
    vael::connection c(path);
    const vael::volume_manager vm = vael::get_volume_manager(c.handle());
    EXPECT_TRUE(vm.has_database_relative_volume());
    relative = vm.get_volume_id_of_type("database_relative_drive");
    EXPECT_EQ(vm.get_volume_path(relative), box.path("catalog"));
    vael_test::run(c.get().database(), "UPDATE volume_table SET serial = ''");
  }
  {
    vael::connection c(path);
    dbl::database& db = c.get().database();
    EXPECT_EQ(scalar(db, "SELECT COUNT(*) FROM volume_table"), 1);
    const volume_t repaired = vael::get_volume_manager(c.handle()).get_volume(relative);
    EXPECT_EQ(repaired.serial, "vael:database_relative_volume");
    EXPECT_EQ(repaired.description, "database relative");
    vael_test::run(db, "UPDATE volume_table SET type = 'floppy_drive'");
    EXPECT_EQ(vael::get_volume_manager(c.handle()).get_volume(relative).type,
              vael::volume_type::database_relative_drive)
        << "volumes are cached until another writer is seen";
    c.get().clear_caches();
    EXPECT_THROW(vael::get_volume_manager(c.handle()).get_volume(relative),
                 vael::database_state_invalid_error);
  }
}

}  // namespace
