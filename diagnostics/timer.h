#pragma once

#include <chrono>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace norvane {

// A stopwatch over the steady clock that keeps every lap it timed, in milliseconds.
class timer_t {
 public:
  timer_t() : start_(std::chrono::steady_clock::now()) {}

  void restart() { start_ = std::chrono::steady_clock::now(); }
  // Milliseconds since construction or the last restart().
  double elapsed_ms() const;
  // Appends elapsed_ms() to laps() and returns it.
  double stop();
  const std::vector<double>& laps() const { return laps_; }

 private:
  std::chrono::steady_clock::time_point start_;
  std::vector<double> laps_;
};

}  // namespace norvane

namespace lil {

// True when named timers record anything. Starts as the build option VANTOR_ENABLE_TIMERS
// says; the library never changes it.
bool timers_enabled();
// For tools and tests that want timings from a build where the timers are dormant.
void set_timers_enabled(bool enabled);

// Times its own lifetime under a name, on the calling thread's tables, where every timer of
// one name adds to a single entry. When the timers are off it does nothing beyond one test of
// the flag. Not for use across threads.
class timer {
 public:
  explicit timer(const char* name, const char* key = "");
  explicit timer(const std::string& name, const std::string& key = "");
  timer(const timer&) = delete;
  timer& operator=(const timer&) = delete;
  timer(timer&&) noexcept = default;
  timer& operator=(timer&&) = delete;
  // Records the elapsed time as one sample of the key.
  ~timer();

  // Records the time since construction or the last lap as one sample of `key`, and starts
  // timing again.
  void lap(const std::string& key);

  // Figures of every sample recorded under this timer's name on the calling thread, by any
  // timer of that name; 0 when the timers are off.
  double total(const std::string& key = "") const;
  double average(const std::string& key = "") const;
  std::size_t count(const std::string& key = "") const;

 private:
  struct impl;
  std::shared_ptr<impl> impl_;
};

// Writes the calling thread's timer tables: one heading per timer and key, its totals, and a
// summary of the total time and of the timers and keys used.
void report(std::ostream& out);
// Forgets the calling thread's tables.
void reset_thread_tables();

}  // namespace lil
