#include "catalog/connection.h"

#include <cstdlib>
#include <filesystem>

#include "catalog/change_tracker.h"
#include "catalog/object_cache.h"
#include "catalog/object_tracker.h"
#include "dbl/sqlite/sqlite_database.h"
#include "tests/catalog/tag_test_support.h"

namespace {

namespace pt = boost::posix_time;
using vael::volume_t;
using vael::volume_type;
using vael_test::media_change_id;
using vael_test::message_of;
using vael_test::run;
using vael_test::scalar;

volume_t volume(volume_type type, const std::string& serial, const std::string& path = "") {
  return {serial, "disk " + serial, type, path, 0};
}

// Stands in for the cached catalog classes.
struct probe {
  int id = 0;
  std::string text;
};

bool cached(vael::internal_connection& c, int id) {
  return c.media_tracker().get_cache("media")->contains(id);
}

void cache(vael::internal_connection& c, int id) {
  c.media_tracker().get_cache("media")->get_or_load<probe>(id, [id] { return probe{id, ""}; });
}

// Runs the writer on `catalog` in a process of its own; returns the change id it committed.
int commit_in_other_process(const std::string& catalog, int media_id) {
  const std::string out = catalog + ".writer";
  const std::string command = std::string("'") + CATALOG_TEST_WRITER + "' '" + catalog + "' " +
                              std::to_string(media_id) + " > '" + out + "'";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("the writer failed: " + command);
  return std::stoi(vantor_test::read_file(out));
}

using Catalog = vael_test::tag_catalog;

TEST_F(Catalog, OpeningMakesTheStackNamespaceAndRelativeVolumeOnceRefusesNoCatalogAndEndsHandles) {
  const int first_change = c_.get().change_tracker().current_change_id();
  // The namespace row is stamped with the change that made it.
  EXPECT_EQ(count("SELECT change_id FROM tag_table WHERE name = 'stack_ns' AND parent_id = 0"),
            first_change - 1);
  vael::connection_handle kept;
  {
    vael::connection c(path_);
    kept = c.handle();
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
  // Objects that outlive their connection fail cleanly.
  EXPECT_THROW(vael::get_connection(vael::connection_handle()), vael::connection_error);
  EXPECT_EQ(message_of<vael::connection_error>([&] { vael::get_volume_manager(kept); }),
            "The connection to vael has already been closed.");
  EXPECT_THROW(vael::transaction t(kept), vael::connection_error);

  // Files that are no catalog are refused with their own text; one of a version that cannot
  // be opened goes through the schema's refusal, tested with it.
  box_.write_file("text.vdb", "this is not a database, but it is long enough to look like one....");
  // Another program's database is not made into a catalog.
  const std::string foreign = vael_test::new_catalog(box_, "foreign.vdb");
  {
    dbl::sqlite_database db(foreign);
    run(db, "CREATE TABLE photos (name TEXT)");
  }
  const std::string foreign_bytes = vantor_test::read_file(foreign);
  // Each refusal has a type of its own, which the caller tells apart.
  using reader = std::string (*)(const std::function<void()>&);
  const struct {
    std::string path;
    reader message_of;
    std::string message;
  } cases[] = {
      {box_.path("missing.vdb"), message_of<vael::file_nonexistant_error>,
       "The database file " + box_.path("missing.vdb") + " does not exist."},
      {box_.path("text.vdb"), message_of<vael::database_corrupt_error>,
       "The database file could be not opened.  This can happen if the database file is "
       "corrupt, read-only, or not a database"},
      {foreign, message_of<vael::database_corrupt_error>,
       "The database file could be not opened.  This can happen if the database file is "
       "corrupt, read-only, or not a database"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.message_of([&] { vael::connection{c.path}; }), c.message) << c.path;
  }
  EXPECT_FALSE(std::filesystem::exists(box_.path("missing.vdb")));
  EXPECT_EQ(vantor_test::read_file(foreign), foreign_bytes);
}

TEST_F(Catalog, VolumesRefuseWritesThatBreakTheirRulesAndTakePathsFromRowsCallerAndFileSystem) {
  const std::string share = box_.path("share");
  std::filesystem::create_directories(share);
  int builtin = 0, removable = 0, network = 0, none = 0;
  vael::volume_manager vm = volumes();
  write([&] {
    builtin = vm.add_volume(volume(volume_type::builtin_drive, "B1", "/mnt/b")).id;
    removable = vm.add_volume(volume(volume_type::removable_drive, "R1")).id;
    network = vm.add_volume(volume(volume_type::network_drive, "N1")).id;
    none = vm.add_volume(volume(volume_type::no_drive, "", "")).id;
  });
  volume_t bad_type = volume(volume_type::no_drive, "X");
  bad_type.type = static_cast<volume_type>(9);
  const char* const path_refused =
      "A path may only be specified for a builtin drive or a 'no drive' drive.";
  const struct {
    bool update;
    volume_t volume;
    const char* message;
  } cases[] = {
      {false, volume(volume_type::builtin_drive, "B"),
       "If a builtin drive is being added, a drive path must be specified."},
      {false, volume(volume_type::removable_drive, "R", "/media/r"), path_refused},
      {true, volume(volume_type::network_drive, "N", "/net/n"), path_refused},
      {false, volume(volume_type::database_relative_drive, "D"),
       "Only one 'database relative drive' may be present."},
      {true, volume(volume_type::database_relative_drive, "D"),
       "Cannot change a 'database relative drive'."},
      {false, bad_type, "An unrecognized volume type was encountered"},
  };
  for (auto r : cases) {
    r.volume.id = removable;
    EXPECT_EQ(message_of<std::logic_error>([&] {
                write([&] {
                  r.update ? vm.update_volume(r.volume)
                           : static_cast<void>(vm.add_volume(r.volume));
                });
              }),
              r.message)
        << r.volume.serial << (r.update ? " update" : " add");
  }
  EXPECT_EQ(vm.get_all_volumes().size(), 5u);
  EXPECT_EQ(vm.get_volume(removable).serial, "R1");
  EXPECT_EQ(vm.get_volume(removable).type, volume_type::removable_drive);

  EXPECT_EQ(vm.get_volume_path(builtin), "/mnt/b");
  EXPECT_TRUE(vm.is_volume_online(builtin));
  EXPECT_FALSE(vm.is_volume_online(removable));
  EXPECT_TRUE(vm.is_volume_online(none));

  cache(c_.get(), 5);
  c_.get().media_tracker().mark_changed(6);
  vm.set_volume_path(removable, "");
  EXPECT_EQ(vm.get_volume_paths().count(removable), 0u);
  vm.set_volume_path(removable, "/media/r");
  vm.set_volume_path(network, share);
  EXPECT_FALSE(cached(c_.get(), 5));
  EXPECT_EQ(c_.get().media_tracker().changed_ids(), std::set<int>{6});
  EXPECT_TRUE(vm.is_volume_online(removable));
  EXPECT_TRUE(vm.is_volume_online(network));
  std::filesystem::remove(share);
  EXPECT_FALSE(vm.is_volume_online(network));
  vm.clear_volume_path(removable);
  EXPECT_EQ(vm.get_volume_path(removable), "");
  EXPECT_TRUE(vm.is_volume_online(removable));
  vm.forget_volume_path(removable);
  EXPECT_FALSE(vm.is_volume_online(removable));

  write([&] {
    volume_t moved = vm.get_volume(builtin);
    moved.drive_path_if_builtin = "/mnt/b2";
    vm.update_volume(moved);
  });
  EXPECT_EQ(vm.get_volume_path(builtin), "/mnt/b2");
  EXPECT_TRUE(vm.has_drive_path("/mnt/b2"));
  EXPECT_FALSE(vm.has_drive_path("/mnt/b"));
  EXPECT_EQ(vm.get_volumes_by_serial("N1").at(0).id, network);
  EXPECT_EQ(vm.get_volume_id_of_type("network_drive"), network);
  EXPECT_EQ(vm.get_volume_id_of_type("readonly_drive"), -1);

  vael::connection c(path_);
  const vael::volume_manager fresh = vael::get_volume_manager(c.handle());
  const int relative = fresh.get_volume_id_of_type("database_relative_drive");
  EXPECT_EQ(
      fresh.get_volume_paths(),
      (std::map<int, std::string>{{relative, box_.root()}, {builtin, "/mnt/b2"}, {none, ""}}));
}

TEST_F(Catalog, VolumeOpeningRepairsTheRelativeVolumeAndRefusesUnknownTypes) {
  const int relative = volumes().get_volume_id_of_type("database_relative_drive");
  run(db(), "UPDATE volume_table SET serial = ''");
  vael::connection c(path_);
  EXPECT_EQ(count("SELECT COUNT(*) FROM volume_table"), 1);
  const volume_t repaired = vael::get_volume_manager(c.handle()).get_volume(relative);
  EXPECT_EQ(repaired.serial, "vael:database_relative_volume");
  EXPECT_EQ(repaired.description, "database relative");
  run(db(), "UPDATE volume_table SET type = 'floppy_drive'");
  EXPECT_EQ(vael::get_volume_manager(c.handle()).get_volume(relative).type,
            vael::volume_type::database_relative_drive)
      << "volumes are cached until another writer is seen";
  c.get().clear_caches();
  EXPECT_THROW(vael::get_volume_manager(c.handle()).get_volume(relative),
               vael::database_state_invalid_error);
}

TEST_F(Catalog, CommitStampsOneNewIdOnTheChangedRowsOnlyAnExceptionRollsBackAndOldDatesArePruned) {
  vael::internal_connection& c = c_.get();
  const int a = new_media("a.jpg");
  const int b = new_media("b.jpg");
  const int after_b = c.change_tracker().current_change_id();
  EXPECT_EQ(media_change_id(db(), b), after_b);
  EXPECT_EQ(media_change_id(db(), a), after_b - 1);
  EXPECT_TRUE(c.media_tracker().changed_ids().empty());

  const pt::ptime before = pt::second_clock::universal_time();
  write([] {});  // no change still takes an id
  EXPECT_EQ(c.change_tracker().current_change_id(), after_b + 1);
  EXPECT_EQ(vael::change_tracker::read_current(db()), after_b + 1);
  EXPECT_EQ(media_change_id(db(), b), after_b);
  dbl::query q(db(), "SELECT change_date_time FROM db_change_timestamp_table WHERE change_id = " +
                         std::to_string(after_b + 1));
  q.add_column("ignored", typeid(pt::ptime));
  const pt::ptime dated = q.first_row()[0].as_ptime();
  EXPECT_LE(before, dated);
  EXPECT_LE(dated, pt::second_clock::universal_time());

  // An exception rolls back, takes no id and drops the objects it changed from the caches.
  cache(c, a);
  int added = 0;
  EXPECT_EQ(refusal([&] {
              added = vael_test::add_media(c, "lost.jpg");
              c.media_tracker().mark_changed(a);
              cache(c, added);  // a reader loaded it meanwhile
              cache(c, a);
              throw std::runtime_error("half way");
            }),
            "half way");
  EXPECT_FALSE(c.database().in_transaction());
  EXPECT_EQ(count("SELECT COUNT(*) FROM media_table WHERE id = " + std::to_string(added)), 0);
  EXPECT_FALSE(cached(c, added));
  EXPECT_FALSE(cached(c, a));
  EXPECT_EQ(c.media_tracker().changed_ids(), (std::set<int>{a, added}));
  EXPECT_EQ(c.change_tracker().current_change_id(), after_b + 1);

  // The first counter is 1, and dates are pruned a thousand at a time.
  run(db(), "DELETE FROM change_table");
  run(db(), "DELETE FROM db_change_timestamp_table");
  write([] {});
  EXPECT_EQ(c_.get().change_tracker().current_change_id(), 1);
  EXPECT_EQ(count("SELECT change_id FROM change_table WHERE change_type = 'db_changed'"), 1);

  run(db(), "DELETE FROM db_change_timestamp_table");
  run(db(),
      "WITH RECURSIVE n(i) AS (SELECT 2 UNION ALL SELECT i + 1 FROM n WHERE i < 11000) "
      "INSERT INTO db_change_timestamp_table (change_id, change_date_time) "
      "SELECT i, '20200101T000000' FROM n");
  run(db(), "UPDATE change_table SET change_id = 11000 WHERE change_type = 'db_changed'");
  const std::string rows = "SELECT COUNT(*) FROM db_change_timestamp_table";
  write([] {});  // 11001 looks for row 1, which is gone: nothing goes
  EXPECT_EQ(count(rows), 11000);
  write([] {});  // 11002 finds row 2: everything below 1002 goes
  EXPECT_EQ(count("SELECT MIN(change_id) FROM db_change_timestamp_table"), 1002);
  EXPECT_EQ(count("SELECT MAX(change_id) FROM db_change_timestamp_table"), 11002);
  EXPECT_EQ(count(rows), 10001);
  write([] {});  // 11003 looks for row 3, pruned already
  EXPECT_EQ(count(rows), 10002);
}

TEST_F(Catalog, UndoAndRedoAreNewChanges) {
  vael::internal_connection& c = c_.get();
  const int media = new_media("a.jpg");
  const std::string path_and_change =
      "SELECT full_filepath || ' ' || change_id FROM media_table WHERE id = " +
      std::to_string(media);
  jtb::undo_object step = with_undo([&] {
    dbl::record m(db(), db().get_table("media_table"), media);
    m.set("full_filepath", "b.jpg");
    m.save();
    c.media_tracker().mark_changed(media);
  });
  const int stepped = media_change_id(db(), media);
  EXPECT_EQ(stepped, c.change_tracker().current_change_id());
  EXPECT_TRUE(step.is_undoable());

  cache(c, media);
  step.undo();
  EXPECT_FALSE(cached(c, media));
  EXPECT_TRUE(c.media_tracker().changed_ids().empty());
  EXPECT_EQ(vael_test::text(db(), path_and_change), "a.jpg " + std::to_string(stepped + 1));
  step.redo();
  EXPECT_EQ(vael_test::text(db(), path_and_change), "b.jpg " + std::to_string(stepped + 2));

  vael::transaction no_undo(h());
  no_undo.begin(vael::without_undo, vael::lock_now);
  EXPECT_EQ(message_of<std::logic_error>([&] { no_undo.commit_with_undo(); }),
            "Cannot create an undo_object with a null implementer.");
  EXPECT_EQ(c.change_tracker().current_change_id(), stepped + 3);
}

TEST_F(Catalog, ACommitElsewhereEmptiesTheCachesAtTheNextBeginAndIdsOnlyRiseAsDoesClearingThem) {
  vael::internal_connection& c = c_.get();
  const int media = new_media("a.jpg");
  const int ours = c.change_tracker().current_change_id();
  const auto fill_caches = [&] {
    cache(c, media);
    c.tag_tracker().get_cache("tag_base")->get_or_load<probe>(1, [] { return probe{1, ""}; });
    c.metadata_by_id().get_or_load<probe>(1, [] { return probe{}; });
  };
  fill_caches();

  const int theirs = commit_in_other_process(path_, media);
  EXPECT_GT(theirs, ours);
  EXPECT_EQ(media_change_id(db(), media), theirs);
  EXPECT_TRUE(cached(c, media)) << "not noticed before a transaction begins";
  EXPECT_FALSE(c.change_tracker().db_changed());

  vael::transaction t(h());
  t.begin(vael::without_undo, vael::lock_now);
  EXPECT_TRUE(c.change_tracker().db_changed());
  EXPECT_EQ(c.change_tracker().current_change_id(), theirs);
  EXPECT_FALSE(cached(c, media));
  EXPECT_EQ(c.tag_tracker().get_cache("tag_base")->size() + c.metadata_by_id().size(), 0u);
  c.media_tracker().mark_changed(media);
  t.commit();
  EXPECT_EQ(c.change_tracker().current_change_id(), theirs + 1);
  EXPECT_EQ(media_change_id(db(), media), theirs + 1);

  fill_caches();
  EXPECT_EQ(commit_in_other_process(path_, media), theirs + 2);

  // Clearing the caches empties every one and restores their capacities.
  const auto tags = c.tag_tracker().get_cache("tag_base");
  tags->set_capacity(50000);
  tags->get_or_load<probe>(1, [] { return probe{}; });
  c.tag_tracker().mark_changed(2);
  c.metadata_by_identifier().get_or_load<probe>("omb:x", [] { return probe{}; });
  c.rendition_by_id().set_capacity(3);
  c.clear_caches();
  EXPECT_EQ(c.tag_tracker().get_cache("tag_base")->size(), 0u);
  EXPECT_NE(c.tag_tracker().get_cache("tag_base"), tags);
  EXPECT_TRUE(c.tag_tracker().changed_ids().empty());
  EXPECT_EQ(c.metadata_by_identifier().size(), 0u);
  EXPECT_EQ(c.rendition_by_id().capacity(), 50u);
}

TEST(ObjectCache, HoldsItsCapacityHandsOutCopiesAndTrackedIdsAreEachOnceAndLeaveEveryCache) {
  vael::bounded_cache<std::string> cache;
  int loads = 0;
  const auto get = [&](int id) {
    return cache.get_or_load<probe>("key" + std::to_string(id), [&] {
      ++loads;
      return probe{id, "row " + std::to_string(id)};
    });
  };
  for (int id = 1; id <= 51; ++id) get(id);
  EXPECT_EQ(cache.size(), 50u);
  EXPECT_FALSE(cache.contains("key1"));
  probe second = get(2);
  EXPECT_EQ(loads, 51) << "a hit loads nothing";
  second.text = "changed by a caller";
  EXPECT_EQ(get(2).text, "row 2");
  cache.remove("key3");
  EXPECT_FALSE(cache.contains("key3"));
  EXPECT_THROW(cache.get_or_load<int>("key4", [] { return 0; }), std::logic_error);
  cache.put("key4", probe{4, "put"});
  EXPECT_EQ(get(4).text, "put");

  // Rows are marked in any order and many times over (enough to fold the list on the way); the
  // commit must see each once, and a marked row must leave every cache of the tracker.
  vael::object_tracker tracker;
  const auto probes = tracker.get_cache("probe");
  const auto others = tracker.get_cache("other_probe");
  for (const auto& held : {probes, others}) {
    for (int id : {7, 8}) held->get_or_load<probe>(id, [id] { return probe{id, ""}; });
  }
  tracker.remove_from_caches(8);
  EXPECT_TRUE(tracker.changed_ids().empty());
  EXPECT_EQ(probes->size() + others->size(), 2u);
  std::set<int> expected;
  for (int id = 20000; id > 0; id -= 3) {
    for (int mark : {id, id % 7, 7}) {
      tracker.mark_changed(mark);
      expected.insert(mark);
    }
  }
  EXPECT_EQ(tracker.changed_ids(), expected);
  EXPECT_EQ(probes->size() + others->size(), 0u);
  tracker.mark_changed(-1);
  expected.insert(-1);
  EXPECT_EQ(tracker.changed_ids(), expected) << "marks after a read";
}
}  // namespace
