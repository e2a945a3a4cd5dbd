#include "catalog/object_cache.h"

#include "catalog/object_tracker.h"
#include "tests/catalog/catalog_test_support.h"

namespace {

// Stands in for the cached catalog classes that come later.
struct probe {
  int id = 0;
  std::string text;
};

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

TEST(InternalConnection, ClearCachesEmptiesEveryCacheAndRestoresCapacities) {
  vantor_test::sandbox box;
  vael::connection c(vael_test::new_catalog(box, "c.vdb"));
  vael::internal_connection& ic = c.get();
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
