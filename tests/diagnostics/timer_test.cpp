#include "diagnostics/timer.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <thread>

namespace lil {
namespace {

// Turns the timers on for one test and forgets what it recorded.
class TimerTest : public ::testing::Test {
 protected:
  TimerTest() : was_enabled_(timers_enabled()) { reset_thread_tables(); }
  ~TimerTest() override {
    set_timers_enabled(was_enabled_);
    reset_thread_tables();
  }
  bool was_enabled_;
};

TEST_F(TimerTest, DormantTimersRecordNothing) {
  set_timers_enabled(false);
  { timer t("dbl::transaction::end()"); }
  std::ostringstream out;
  report(out);
  EXPECT_EQ(out.str(), "  Total time: 0 ms.\n  Timers instantiated: 0 timer keys: 0\n");
}

// Entries come by name, then key; a key given at construction reads like a lap's.
TEST_F(TimerTest, EntriesByNameAndLapsOfOneKeyAddUp) {
  set_timers_enabled(true);
  { timer phase("dbl::update media_table", "phase"); }
  {
    timer t("loop");
    for (int i = 0; i < 3; ++i) t.lap("step");
    EXPECT_EQ(t.count("step"), 3u);
    EXPECT_EQ(t.count("other"), 0u);
    EXPECT_DOUBLE_EQ(t.average("step"), t.total("step") / 3);
  }
  std::ostringstream out;
  report(out);
  const std::regex expected(
      "  dbl::update media_table, phase\n    [0-9.e-]+ms total time \\(ran 1 time\\)\\.\n"
      "  loop\n    [0-9.e-]+ms total time \\(ran 1 time\\)\\.\n"
      "  loop, step\n    [0-9.e-]+ms total time\\.  Ran 3 times -- [0-9.e-]+ms average time\\. "
      "--[0-9.e-]+ms max single time\\.\n"
      "  Total time: [0-9.e-]+ ms\\.\n  Timers instantiated: 2 timer keys: 2\n");
  EXPECT_TRUE(std::regex_match(out.str(), expected)) << out.str();
}

// Many short-lived timers of one name, as a hot path makes them: one entry, whose figures
// gather every timer's time, seen even from a timer made afterwards.
TEST_F(TimerTest, TimersOfOneNameShareOneEntry) {
  set_timers_enabled(true);
  constexpr std::size_t kTimers = 1000;
  constexpr int kSlept = 5;
  for (std::size_t i = 0; i < kTimers; ++i) {
    timer t("dbl::transaction::end()");
    if (i < kSlept) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  const timer probe("dbl::transaction::end()");
  EXPECT_EQ(probe.count(), kTimers);
  EXPECT_GE(probe.total(), 2.0 * kSlept);
  std::ostringstream out;
  report(out);
  const std::regex expected(
      "  dbl::transaction::end\\(\\)\n    [0-9.e-]+ms total time\\.  Ran 1000 times -- .*\n"
      "  Total time: [0-9.e-]+ ms\\.\n  Timers instantiated: 1001 timer keys: 1\n");
  EXPECT_TRUE(std::regex_match(out.str(), expected)) << out.str();
}

}  // namespace
}  // namespace lil
