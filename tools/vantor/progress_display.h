#pragma once

#include <cstdio>
#include <string>

namespace vantor_cli {

// Shows how far a long job has come on standard error: a bar redrawn in place on a terminal,
// otherwise (with --progress) a plain line at each tenth, so that logs stay readable. Nothing
// at all unless progress_wanted().
class progress_display {
 public:
  explicit progress_display(std::string label);
  ~progress_display();
  progress_display(const progress_display&) = delete;
  progress_display& operator=(const progress_display&) = delete;

  void update(long long current, long long maximum);
  // Ends the bar's line; called by the destructor if not before.
  void finish();

 private:
  std::string label_;
  bool wanted_;
  bool terminal_;
  int shown_ = -1;  // per mille on a terminal, tenths otherwise
  bool finished_ = false;
};

}  // namespace vantor_cli
