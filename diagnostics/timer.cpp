#include "diagnostics/timer.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <thread>

namespace norvane {

double timer_t::elapsed_ms() const {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_)
      .count();
}

double timer_t::stop() {
  const double ms = elapsed_ms();
  laps_.push_back(ms);
  return ms;
}

}  // namespace norvane

namespace lil {

namespace {

#ifdef VANTOR_ENABLE_TIMERS
std::atomic<bool> g_enabled{true};
#else
std::atomic<bool> g_enabled{false};
#endif

// Running figures rather than the samples themselves, so a timer in a hot loop costs the same
// memory after a million calls as after one.
struct key_figures {
  std::size_t count = 0;
  double total = 0;
  double max = 0;

  void add(double ms) {
    ++count;
    total += ms;
    max = std::max(max, ms);
  }
};

// One entry per timer name: every timer object of a name adds to the same figures.
struct thread_tables {
  std::map<std::string, std::map<std::string, key_figures>> timers;
  std::set<std::string> keys;
  std::size_t instantiated = 0;
};

// Each thread writes only its own tables; the lock guards the map of threads.
std::mutex g_mutex;
std::map<std::thread::id, thread_tables>& all_tables() {
  static std::map<std::thread::id, thread_tables> tables;
  return tables;
}

// REQUIRES: g_mutex held.
thread_tables& own_tables() {
  return all_tables()[std::this_thread::get_id()];
}

key_figures figures_of(const std::string& name, const std::string& key) {
  std::lock_guard<std::mutex> lock(g_mutex);
  const auto& timers = own_tables().timers;
  const auto t = timers.find(name);
  if (t == timers.end()) return {};
  const auto f = t->second.find(key);
  return f == t->second.end() ? key_figures{} : f->second;
}

void record(const std::string& name, const std::string& key, double ms) {
  std::lock_guard<std::mutex> lock(g_mutex);
  own_tables().timers[name][key].add(ms);
}

}  // namespace

bool timers_enabled() {
  return g_enabled.load(std::memory_order_relaxed);
}
void set_timers_enabled(bool enabled) {
  g_enabled.store(enabled);
}

struct timer::impl {
  norvane::timer_t clock;
  std::string name;
  std::string key;
};

timer::timer(const char* name, const char* key) {
  if (!timers_enabled()) return;
  impl_ = std::make_shared<impl>();
  impl_->name = name;
  impl_->key = key;
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    thread_tables& tables = own_tables();
    ++tables.instantiated;
    tables.timers[impl_->name];
    tables.keys.insert(impl_->name + ", " + impl_->key);
  }
  impl_->clock.restart();
}

timer::timer(const std::string& name, const std::string& key) : timer(name.c_str(), key.c_str()) {}

// elapsed_ms() rather than stop(): the clock's own laps would grow with every sample.
timer::~timer() {
  if (impl_ == nullptr) return;
  record(impl_->name, impl_->key, impl_->clock.elapsed_ms());
}

void timer::lap(const std::string& key) {
  if (impl_ == nullptr) return;
  record(impl_->name, key, impl_->clock.elapsed_ms());
  impl_->clock.restart();
}

double timer::total(const std::string& key) const {
  return impl_ == nullptr ? 0 : figures_of(impl_->name, key).total;
}

double timer::average(const std::string& key) const {
  if (impl_ == nullptr) return 0;
  const key_figures f = figures_of(impl_->name, key);
  return f.count == 0 ? 0 : f.total / static_cast<double>(f.count);
}

std::size_t timer::count(const std::string& key) const {
  return impl_ == nullptr ? 0 : figures_of(impl_->name, key).count;
}

void report(std::ostream& out) {
  std::lock_guard<std::mutex> lock(g_mutex);
  const thread_tables& tables = own_tables();
  double grand_total = 0;
  for (const auto& [name, by_key] : tables.timers) {
    for (const auto& [key, f] : by_key) {
      if (f.count == 0) continue;
      grand_total += f.total;
      out << "  " << name;
      if (!key.empty()) out << ", " << key;
      out << "\n";
      if (f.count == 1) {
        out << "    " << f.total << "ms total time (ran 1 time).\n";
      } else {
        out << "    " << f.total << "ms total time.  Ran " << f.count << " times -- "
            << f.total / static_cast<double>(f.count) << "ms average time. --" << f.max
            << "ms max single time.\n";
      }
    }
  }
  out << "  Total time: " << grand_total << " ms.\n";
  out << "  Timers instantiated: " << tables.instantiated << " timer keys: " << tables.keys.size()
      << "\n";
}

void reset_thread_tables() {
  std::lock_guard<std::mutex> lock(g_mutex);
  all_tables().erase(std::this_thread::get_id());
}

}  // namespace lil
