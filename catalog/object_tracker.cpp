#include "catalog/object_tracker.h"

#include <vector>

namespace vael {

std::shared_ptr<object_cache> object_tracker::get_cache(const std::string& class_name) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::shared_ptr<object_cache>& cache = caches_[class_name];
  if (cache == nullptr) cache = std::make_shared<object_cache>();
  return cache;
}

void object_tracker::remove_from_caches(int id) {
  std::vector<std::shared_ptr<object_cache>> caches;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& entry : caches_) caches.push_back(entry.second);
  }
  for (const auto& cache : caches) cache->remove(id);
}

void object_tracker::mark_changed(int id) {
  remove_from_caches(id);
  std::lock_guard<std::mutex> lock(mutex_);
  changed_ids_.insert(id);
}

std::set<int> object_tracker::changed_ids() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return changed_ids_;
}

void object_tracker::clear_changed_ids() {
  std::lock_guard<std::mutex> lock(mutex_);
  changed_ids_.clear();
}

void object_tracker::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  caches_.clear();
  changed_ids_.clear();
}

void object_tracker::drop_caches() {
  std::lock_guard<std::mutex> lock(mutex_);
  caches_.clear();
}

}  // namespace vael
