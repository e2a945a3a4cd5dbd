#include "catalog/object_tracker.h"

#include <algorithm>
#include <vector>

namespace vael {

void object_tracker::compact_changed_ids() const {
  if (!changed_ids_sorted_) {
    std::sort(changed_ids_.begin(), changed_ids_.end());
    changed_ids_.erase(std::unique(changed_ids_.begin(), changed_ids_.end()), changed_ids_.end());
    changed_ids_sorted_ = true;
  }
  compacted_size_ = changed_ids_.size();
}

void object_tracker::refresh_cache_list() {
  auto list = std::make_shared<cache_list>();
  for (const auto& entry : caches_) list->push_back(entry.second);
  cache_list_ = std::move(list);
}

std::shared_ptr<object_cache> object_tracker::get_cache(const std::string& class_name) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::shared_ptr<object_cache>& cache = caches_[class_name];
  if (cache == nullptr) {
    cache = std::make_shared<object_cache>();
    refresh_cache_list();
  }
  return cache;
}

void object_tracker::remove_from_caches(int id) {
  std::shared_ptr<const cache_list> caches;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    caches = cache_list_;
  }
  for (const auto& cache : *caches) cache->remove(id);
}

void object_tracker::mark_changed(int id) {
  std::shared_ptr<const cache_list> caches;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    caches = cache_list_;
    if (changed_ids_.empty() || changed_ids_.back() != id) {
      changed_ids_sorted_ =
          changed_ids_sorted_ && (changed_ids_.empty() || changed_ids_.back() < id);
      changed_ids_.push_back(id);
      // Rows marked in turns would grow the list without end; fold the repeats now and then.
      if (!changed_ids_sorted_ && changed_ids_.size() >= 2 * compacted_size_ + 4096) {
        compact_changed_ids();
      }
    }
  }
  for (const auto& cache : *caches) cache->remove(id);
}

std::set<int> object_tracker::changed_ids() const {
  std::lock_guard<std::mutex> lock(mutex_);
  compact_changed_ids();
  return std::set<int>(changed_ids_.begin(), changed_ids_.end());
}

void object_tracker::clear_changed_ids() {
  std::lock_guard<std::mutex> lock(mutex_);
  changed_ids_.clear();
  changed_ids_sorted_ = true;
  compacted_size_ = 0;
}

void object_tracker::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  caches_.clear();
  refresh_cache_list();
  changed_ids_.clear();
  changed_ids_sorted_ = true;
  compacted_size_ = 0;
}

void object_tracker::drop_caches() {
  std::lock_guard<std::mutex> lock(mutex_);
  caches_.clear();
  refresh_cache_list();
}

}  // namespace vael
