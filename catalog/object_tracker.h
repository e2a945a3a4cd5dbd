#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "catalog/object_cache.h"

namespace vael {

// The caches of one kind of row (media or tags), one cache per class that is made from such a
// row, and the ids changed since the last commit. Thread-safe; each operation holds only the
// tracker's own lock or one cache's lock, never both.
class object_tracker {
 public:
  object_tracker() = default;
  object_tracker(const object_tracker&) = delete;
  object_tracker& operator=(const object_tracker&) = delete;

  // The cache for `class_name`, made empty on first use. It stays valid for its holder after
  // clear(), but is then no longer the tracker's.
  std::shared_ptr<object_cache> get_cache(const std::string& class_name);
  // Drops `id` from every cache; changed_ids() keeps it.
  void remove_from_caches(int id);
  // remove_from_caches(id), then files `id` as changed.
  void mark_changed(int id);
  std::set<int> changed_ids() const;
  void clear_changed_ids();
  // Drops every cache and empties the changed ids.
  void clear();
  // Drops every cache; the changed ids stay for the commit that stamps them.
  void drop_caches();

 private:
  using cache_list = std::vector<std::shared_ptr<object_cache>>;

  // REQUIRES: mutex_ held.
  void refresh_cache_list();
  // Sorts the changed ids and drops repeats. REQUIRES: mutex_ held.
  void compact_changed_ids() const;

  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<object_cache>> caches_;
  // The caches of caches_, rebuilt when it changes, so that marking a row changed, which
  // every write does, walks them without copying the map.
  std::shared_ptr<const cache_list> cache_list_ = std::make_shared<const cache_list>();
  // Appended as marked, sorted and made unique when read: a write marks the same row many
  // times, and a set would pay a tree walk for each.
  mutable std::vector<int> changed_ids_;
  mutable bool changed_ids_sorted_ = true;
  mutable std::size_t compacted_size_ = 0;
};

}  // namespace vael
