#include "catalog/transaction.h"

#include <stdio.h>
#include <sys/wait.h>

#include "catalog/change_tracker.h"
#include "catalog/object_cache.h"
#include "catalog/object_tracker.h"
#include "tests/catalog/tag_test_support.h"

namespace {

namespace pt = boost::posix_time;
using vael_test::media_change_id;
using vael_test::run;
using vael_test::scalar;

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
  const std::string command =
      std::string("'") + CATALOG_TEST_WRITER + "' '" + catalog + "' " + std::to_string(media_id);
  FILE* out = popen(command.c_str(), "r");
  if (out == nullptr) throw std::runtime_error("cannot start " + command);
  std::string text;
  char buffer[64];
  while (fgets(buffer, sizeof buffer, out) != nullptr) text += buffer;
  const int status = pclose(out);
  if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error("the writer failed: " + text);
  }
  return std::stoi(text);
}

using CatalogTransaction = vael_test::tag_catalog;

TEST_F(CatalogTransaction, CommitStampsOneNewIdOnTheChangedRowsOnly) {
  vael::internal_connection& c = c_.get();
  dbl::database& db = c.database();
  const int a = new_media("a.jpg");
  const int b = new_media("b.jpg");
  const int after_b = c.change_tracker().current_change_id();
  EXPECT_EQ(media_change_id(db, b), after_b);
  EXPECT_EQ(media_change_id(db, a), after_b - 1);
  EXPECT_TRUE(c.media_tracker().changed_ids().empty());

  const pt::ptime before = pt::second_clock::universal_time();
  write([] {});  // no change still takes an id
  EXPECT_EQ(c.change_tracker().current_change_id(), after_b + 1);
  EXPECT_EQ(vael::change_tracker::read_current(db), after_b + 1);
  EXPECT_EQ(media_change_id(db, b), after_b);
  dbl::query q(db, "SELECT change_date_time FROM db_change_timestamp_table WHERE change_id = " +
                       std::to_string(after_b + 1));
  q.add_column("ignored", typeid(pt::ptime));
  const pt::ptime dated = q.first_row()[0].as_ptime();
  EXPECT_LE(before, dated);
  EXPECT_LE(dated, pt::second_clock::universal_time());
}

TEST_F(CatalogTransaction, AnExceptionRollsBackAndDropsTheChangedObjects) {
  vael::internal_connection& c = c_.get();
  const int before = c.change_tracker().current_change_id();
  const int kept = new_media("kept.jpg");
  cache(c, kept);
  int added = 0;
  try {
    vael::transaction t(c_.handle());
    t.begin(vael::without_undo, vael::lock_now);
    added = vael_test::add_media(c, "lost.jpg");
    c.media_tracker().mark_changed(kept);
    cache(c, added);  // a reader loaded it meanwhile
    cache(c, kept);
    throw std::runtime_error("half way");
  } catch (const std::runtime_error&) {
  }
  EXPECT_FALSE(c.database().in_transaction());
  EXPECT_EQ(
      scalar(c.database(), "SELECT COUNT(*) FROM media_table WHERE id = " + std::to_string(added)),
      0);
  EXPECT_FALSE(cached(c, added));
  EXPECT_FALSE(cached(c, kept));
  EXPECT_EQ(c.media_tracker().changed_ids(), (std::set<int>{kept, added}));
  EXPECT_EQ(c.change_tracker().current_change_id(), before + 1);
}

TEST_F(CatalogTransaction, FirstCounterIsOneAndDatesArePrunedAThousandAtATime) {
  dbl::database& db = c_.get().database();
  run(db, "DELETE FROM change_table");
  run(db, "DELETE FROM db_change_timestamp_table");
  write([] {});
  EXPECT_EQ(c_.get().change_tracker().current_change_id(), 1);
  EXPECT_EQ(scalar(db, "SELECT change_id FROM change_table WHERE change_type = 'db_changed'"), 1);

  run(db, "DELETE FROM db_change_timestamp_table");
  run(db,
      "WITH RECURSIVE n(i) AS (SELECT 2 UNION ALL SELECT i + 1 FROM n WHERE i < 11000) "
      "INSERT INTO db_change_timestamp_table (change_id, change_date_time) "
      "SELECT i, '20200101T000000' FROM n");
  run(db, "UPDATE change_table SET change_id = 11000 WHERE change_type = 'db_changed'");
  const auto commit = [&] { write([] {}); };
  commit();  // 11001 looks for row 1, which is gone: nothing goes
  EXPECT_EQ(scalar(db, "SELECT COUNT(*) FROM db_change_timestamp_table"), 11000);
  commit();  // 11002 finds row 2: everything below 1002 goes
  EXPECT_EQ(scalar(db, "SELECT MIN(change_id) FROM db_change_timestamp_table"), 1002);
  EXPECT_EQ(scalar(db, "SELECT MAX(change_id) FROM db_change_timestamp_table"), 11002);
  EXPECT_EQ(scalar(db, "SELECT COUNT(*) FROM db_change_timestamp_table"), 10001);
  commit();  // 11003 looks for row 3, pruned already
  EXPECT_EQ(scalar(db, "SELECT COUNT(*) FROM db_change_timestamp_table"), 10002);
}

TEST_F(CatalogTransaction, UndoAndRedoAreNewChanges) {
  vael::internal_connection& c = c_.get();
  dbl::database& db = c.database();
  const int media = new_media("a.jpg");
  jtb::undo_object step = [&] {
    vael::transaction t(c_.handle());
    t.begin(vael::with_undo, vael::lock_now);
    dbl::record m(db, db.get_table("media_table"), media);
    m.set("full_filepath", "b.jpg");
    m.save();
    c.media_tracker().mark_changed(media);
    return t.commit_with_undo();
  }();
  const int stepped = media_change_id(db, media);
  EXPECT_EQ(stepped, c.change_tracker().current_change_id());
  EXPECT_TRUE(step.is_undoable());

  cache(c, media);
  step.undo();
  EXPECT_FALSE(cached(c, media));
  EXPECT_TRUE(c.media_tracker().changed_ids().empty());
  dbl::record undone(db, db.get_table("media_table"), media);
  EXPECT_EQ(undone.get("full_filepath").as_string(), "a.jpg");
  EXPECT_EQ(undone.get("change_id").as_int(), stepped + 1);

  step.redo();
  dbl::record redone(db, db.get_table("media_table"), media);
  EXPECT_EQ(redone.get("full_filepath").as_string(), "b.jpg");
  EXPECT_EQ(redone.get("change_id").as_int(), stepped + 2);

  vael::transaction no_undo(c_.handle());
  no_undo.begin(vael::without_undo, vael::lock_now);
  EXPECT_EQ(vael_test::message_of<std::logic_error>([&] { no_undo.commit_with_undo(); }),
            "Cannot create an undo_object with a null implementer.");
  EXPECT_EQ(c.change_tracker().current_change_id(), stepped + 3);
}

TEST_F(CatalogTransaction, ACommitElsewhereEmptiesTheCachesAtTheNextBeginAndIdsOnlyRise) {
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
  EXPECT_EQ(media_change_id(c.database(), media), theirs);
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
  const int ours_again = c.change_tracker().current_change_id();
  EXPECT_EQ(ours_again, theirs + 1);
  EXPECT_EQ(media_change_id(c.database(), media), ours_again);

  fill_caches();
  EXPECT_EQ(commit_in_other_process(path_, media), ours_again + 1);
}

probe load_counted(int id, int& loads) {
  ++loads;
  return {id, "row " + std::to_string(id)};
}

TEST(ObjectCache, EvictsFirstInFirstOutAndHandsOutCopies) {
  vael::bounded_cache<std::string> cache;
  int loads = 0;
  const auto get = [&](int id) {
    return cache.get_or_load<probe>("key" + std::to_string(id),
                                    [&] { return load_counted(id, loads); });
  };
  for (int id = 1; id <= 50; ++id) get(id);
  EXPECT_EQ(loads, 50);
  probe first = get(1);  // a hit, which must not renew the entry
  EXPECT_EQ(loads, 50);
  first.text = "changed by a caller";
  EXPECT_EQ(get(1).text, "row 1");

  get(51);
  EXPECT_EQ(cache.size(), 50u);
  EXPECT_FALSE(cache.contains("key1"));
  EXPECT_TRUE(cache.contains("key2"));
  EXPECT_TRUE(cache.contains("key51"));
  get(1);
  EXPECT_EQ(loads, 52);
  EXPECT_FALSE(cache.contains("key2"));

  cache.remove("key3");
  get(52);  // the freed place is used; nothing else goes
  EXPECT_TRUE(cache.contains("key4"));
  EXPECT_THROW(cache.get_or_load<int>("key4", [] { return 0; }), std::logic_error);
  cache.put("key4", probe{4, "put"});  // replaced in place: it keeps its turn to go first
  EXPECT_EQ(get(4).text, "put");
  get(53);
  EXPECT_FALSE(cache.contains("key4"));
  EXPECT_TRUE(cache.contains("key5"));
  EXPECT_EQ(cache.size(), 50u);

  cache.set_capacity(50000);
  cache.clear();
  EXPECT_EQ(cache.size(), 0u);
  EXPECT_EQ(cache.capacity(), 50u);
}

// Rows are marked in any order and many times over (enough to fold the list on the way); the
// commit must see each once, and a marked row must leave every cache of the tracker.
TEST(ObjectTracker, ChangedIdsAreEachRowOnceAndLeaveEveryCache) {
  vael::object_tracker tracker;
  const auto probes = tracker.get_cache("probe");
  const auto others = tracker.get_cache("other_probe");
  EXPECT_EQ(tracker.get_cache("probe"), probes);
  for (const auto& cache : {probes, others}) {
    for (int id : {7, 8}) cache->get_or_load<probe>(id, [id] { return probe{id, ""}; });
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

  tracker.get_cache("probe")->get_or_load<probe>(9, [] { return probe{9, ""}; });
  tracker.drop_caches();
  EXPECT_EQ(tracker.changed_ids(), expected);
  EXPECT_EQ(tracker.get_cache("probe")->size(), 0u);
  tracker.clear_changed_ids();
  tracker.mark_changed(3);
  tracker.mark_changed(1);
  EXPECT_EQ(tracker.changed_ids(), (std::set<int>{1, 3}));
  tracker.clear();
  EXPECT_TRUE(tracker.changed_ids().empty());
}

TEST_F(CatalogTransaction, ClearCachesEmptiesEveryCacheAndRestoresCapacities) {
  vael::internal_connection& ic = c_.get();
  const auto tags = ic.tag_tracker().get_cache("tag_base");
  tags->set_capacity(50000);
  tags->get_or_load<probe>(1, [] { return probe{}; });
  ic.tag_tracker().mark_changed(2);
  ic.metadata_by_identifier().get_or_load<probe>("omb:x", [] { return probe{}; });
  ic.rendition_by_id().set_capacity(3);
  ic.clear_caches();
  EXPECT_EQ(ic.tag_tracker().get_cache("tag_base")->size(), 0u);
  EXPECT_NE(ic.tag_tracker().get_cache("tag_base"), tags);
  EXPECT_TRUE(ic.tag_tracker().changed_ids().empty());
  EXPECT_EQ(ic.metadata_by_identifier().size(), 0u);
  EXPECT_EQ(ic.rendition_by_id().capacity(), 50u);
}

}  // namespace
