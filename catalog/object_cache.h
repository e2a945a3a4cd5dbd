#pragma once

#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace vael {

// A value stored in a cache. The cache keeps its own copy and hands out copies, so that no
// caller can change what another caller reads.
class cached_object {
 public:
  virtual ~cached_object() = default;
  virtual std::unique_ptr<cached_object> clone() const = 0;
};

// Holds a copy of any copyable T, so that a class needs no base of its own to be cached.
template <typename T>
class cached_value final : public cached_object {
 public:
  explicit cached_value(T value) : value_(std::move(value)) {}
  std::unique_ptr<cached_object> clone() const override {
    return std::make_unique<cached_value>(value_);
  }
  const T& value() const { return value_; }

 private:
  T value_;
};

// A cache of at most capacity() objects by key. Eviction is first in, first out: a hit does
// not renew an entry. Thread-safe; the lock is held only for the map operation, never while a
// loader runs, so two threads may load the same key and the later one wins.
template <typename Key>
class bounded_cache {
 public:
  static constexpr std::size_t default_capacity = 50;

  explicit bounded_cache(std::size_t capacity = default_capacity) : capacity_(capacity) {}
  bounded_cache(const bounded_cache&) = delete;
  bounded_cache& operator=(const bounded_cache&) = delete;

  // A copy of the T cached under `key`, or of what `load()` gives, which is then cached.
  // Throws std::logic_error when `key` holds an object of another type.
  template <typename T, typename Loader>
  T get_or_load(const Key& key, Loader&& load) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      const auto it = entries_.find(key);
      if (it != entries_.end()) return unwrap<T>(*it->second.object);
    }
    T loaded = load();
    put(key, loaded);
    return loaded;
  }

  // Caches a copy of `value` under `key`, replacing what was there. For loaders that read many
  // rows at once, so that later lookups of their neighbours need no statement of their own.
  template <typename T>
  void put(const Key& key, const T& value) {
    auto copy = std::make_unique<cached_value<T>>(value);
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = entries_.find(key);
    if (it != entries_.end()) {
      it->second.object = std::move(copy);
      return;
    }
    if (capacity_ <= entries_.size() && !order_.empty()) {
      entries_.erase(order_.front());
      order_.pop_front();
    }
    order_.push_back(key);
    entries_.emplace(key, entry{std::move(copy), std::prev(order_.end())});
  }

  bool contains(const Key& key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_.count(key) != 0;
  }
  void remove(const Key& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = entries_.find(key);
    if (it == entries_.end()) return;
    order_.erase(it->second.place);
    entries_.erase(it);
  }
  // Empties the cache and restores the default capacity.
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    entries_.clear();
    order_.clear();
    capacity_ = default_capacity;
  }
  // A smaller capacity takes effect at the next insert, one eviction at a time.
  void set_capacity(std::size_t capacity) {
    std::lock_guard<std::mutex> lock(mutex_);
    capacity_ = capacity;
  }
  std::size_t capacity() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return capacity_;
  }
  std::size_t size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_.size();
  }

 private:
  template <typename T>
  static T unwrap(const cached_object& object) {
    const auto* held = dynamic_cast<const cached_value<T>*>(&object);
    if (held == nullptr) throw std::logic_error("The cached object is not of the requested type.");
    return held->value();
  }

  // Each entry knows its place in the insertion order, so that evicting one id on every change
  // costs no walk of the order.
  struct entry {
    std::unique_ptr<cached_object> object;
    typename std::list<Key>::iterator place;
  };

  mutable std::mutex mutex_;
  std::map<Key, entry> entries_;
  std::list<Key> order_;
  std::size_t capacity_;
};

// Objects of one class by row id.
using object_cache = bounded_cache<int>;

}  // namespace vael
