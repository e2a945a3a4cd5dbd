#include "catalog/volume_manager.h"

#include <filesystem>

#include "tests/catalog/catalog_test_support.h"

namespace {

using vael::volume_t;
using vael::volume_type;
using vael_test::scalar;

volume_t volume(volume_type type, const std::string& serial, const std::string& path = "") {
  return {serial, "disk " + serial, type, path, 0};
}

class Volumes : public ::testing::Test {
 protected:
  Volumes() : catalog_(vael_test::new_catalog(box_, "catalog/c.vdb")) {}

  template <typename Step>
  void in_transaction(vael::connection& c, Step step) {
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    step(vael::get_volume_manager(c.handle()));
    t.commit();
  }

  vantor_test::sandbox box_;
  std::string catalog_;
};

TEST_F(Volumes, RefusedWritesNameTheirFaultAndWriteNothing) {
  vael::connection c(catalog_);
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

TEST_F(Volumes, PathsComeFromTheRowsTheCallerAndTheFileSystem) {
  const std::string share = box_.path("share");
  std::filesystem::create_directories(share);
  int builtin = 0, removable = 0, network = 0, none = 0;
  {
    vael::connection c(catalog_);
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
  vael::connection c(catalog_);
  const vael::volume_manager vm = vael::get_volume_manager(c.handle());
  const int relative = vm.get_volume_id_of_type("database_relative_drive");
  EXPECT_EQ(vm.get_volume_paths(),
            (std::map<int, std::string>{
                {relative, box_.path("catalog")}, {builtin, "/mnt/b2"}, {none, ""}}));
}

TEST_F(Volumes, OpeningRepairsTheRelativeVolumeAndRefusesUnknownTypes) {
  int relative = 0;
  {
    vael::connection c(catalog_);
    const vael::volume_manager vm = vael::get_volume_manager(c.handle());
    EXPECT_TRUE(vm.has_database_relative_volume());
    relative = vm.get_volume_id_of_type("database_relative_drive");
    EXPECT_EQ(vm.get_volume_path(relative), box_.path("catalog"));
    vael_test::run(c.get().database(), "UPDATE volume_table SET serial = ''");
  }
  {
    vael::connection c(catalog_);
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
