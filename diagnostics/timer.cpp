#include "diagnostics/timer.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <numeric>
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
std::atomic<std::uint32_t> g_instances{0};

struct timer_entry {
  std::string name;
  std::map<std::string, std::vector<double>> samples;
};

struct thread_tables {
  std::map<std::uint32_t, timer_entry> timers;
  std::set<std::string> keys;
};

// Each thread writes only its own tables; the lock guards the map of threads.
std::mutex g_mutex;
std::map<std::thread::id, thread_tables>& all_tables() {
  static std::map<std::thread::id, thread_tables> tables;
  return tables;
}

const std::vector<double>* samples_of(std::uint32_t instance, const std::string& key) {
  std::lock_guard<std::mutex> lock(g_mutex);
  auto& tables = all_tables()[std::this_thread::get_id()];
  const auto t = tables.timers.find(instance);
  if (t == tables.timers.end()) return nullptr;
  const auto s = t->second.samples.find(key);
  return s == t->second.samples.end() ? nullptr : &s->second;
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
  std::uint32_t instance = 0;
};

timer::timer(const char* name, const char* key) {
  if (!timers_enabled()) return;
  impl_ = std::make_shared<impl>();
  impl_->name = name;
  impl_->key = key;
  impl_->instance = ++g_instances;
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    auto& tables = all_tables()[std::this_thread::get_id()];
    tables.timers[impl_->instance].name = impl_->name;
    tables.keys.insert(impl_->name + ", " + impl_->key);
  }
  impl_->clock.restart();
}

timer::timer(const std::string& name, const std::string& key) : timer(name.c_str(), key.c_str()) {}

timer::~timer() {
  if (impl_ == nullptr) return;
  const double ms = impl_->clock.stop();
  std::lock_guard<std::mutex> lock(g_mutex);
  all_tables()[std::this_thread::get_id()].timers[impl_->instance].samples[impl_->key].push_back(
      ms);
}

void timer::lap(const std::string& key) {
  if (impl_ == nullptr) return;
  const double ms = impl_->clock.stop();
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    all_tables()[std::this_thread::get_id()].timers[impl_->instance].samples[key].push_back(ms);
  }
  impl_->clock.restart();
}

double timer::total(const std::string& key) const {
  if (impl_ == nullptr) return 0;
  const auto* s = samples_of(impl_->instance, key);
  return s == nullptr ? 0 : std::accumulate(s->begin(), s->end(), 0.0);
}

double timer::average(const std::string& key) const {
  const std::size_t n = count(key);
  return n == 0 ? 0 : total(key) / static_cast<double>(n);
}

std::size_t timer::count(const std::string& key) const {
  if (impl_ == nullptr) return 0;
  const auto* s = samples_of(impl_->instance, key);
  return s == nullptr ? 0 : s->size();
}

void report(std::ostream& out) {
  std::lock_guard<std::mutex> lock(g_mutex);
  const thread_tables& tables = all_tables()[std::this_thread::get_id()];
  double grand_total = 0;
  for (const auto& [instance, entry] : tables.timers) {
    for (const auto& [key, samples] : entry.samples) {
      if (samples.empty()) continue;
      const double total = std::accumulate(samples.begin(), samples.end(), 0.0);
      grand_total += total;
      out << "  " << entry.name;
      if (!key.empty()) out << ", " << key;
      out << "\n";
      if (samples.size() == 1) {
        out << "    " << total << "ms total time (ran 1 time).\n";
      } else {
        out << "    " << total << "ms total time.  Ran " << samples.size() << " times -- "
            << total / static_cast<double>(samples.size()) << "ms average time. --"
            << *std::max_element(samples.begin(), samples.end()) << "ms max single time.\n";
      }
    }
  }
  out << "  Total time: " << grand_total << " ms.\n";
  out << "  Timers instantiated: " << tables.timers.size() << " timer keys: " << tables.keys.size()
      << "\n";
}

void reset_thread_tables() {
  std::lock_guard<std::mutex> lock(g_mutex);
  all_tables().erase(std::this_thread::get_id());
}

}  // namespace lil
