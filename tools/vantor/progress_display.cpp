#include "tools/vantor/progress_display.h"

#include <unistd.h>

#include <algorithm>

#include "tools/vantor/cli.h"

namespace vantor_cli {

progress_display::progress_display(std::string label)
    : label_(std::move(label)),
      wanted_(progress_wanted()),
      terminal_(::isatty(STDERR_FILENO) == 1) {}

progress_display::~progress_display() {
  finish();
}

void progress_display::update(long long current, long long maximum) {
  if (!wanted_ || finished_ || maximum <= 0) return;
  const long long clamped = std::clamp(current, 0LL, maximum);
  if (terminal_) {
    const int per_mille = static_cast<int>(clamped * 1000 / maximum);
    if (per_mille == shown_) return;
    shown_ = per_mille;
    constexpr int kWidth = 30;
    const int filled = per_mille * kWidth / 1000;
    std::fprintf(stderr, "\r%s [%s%s] %3d%%", label_.c_str(),
                 std::string(size_t(filled), '#').c_str(),
                 std::string(size_t(kWidth - filled), ' ').c_str(), per_mille / 10);
  } else {
    const int tenth = static_cast<int>(clamped * 10 / maximum);
    if (tenth == shown_) return;
    shown_ = tenth;
    std::fprintf(stderr, "%s: %d%%\n", label_.c_str(), tenth * 10);
  }
  std::fflush(stderr);
}

void progress_display::finish() {
  if (finished_) return;
  finished_ = true;
  if (terminal_ && shown_ >= 0) std::fputc('\n', stderr);
  std::fflush(stderr);
}

}  // namespace vantor_cli
