#pragma once

#include <functional>

namespace jtb {

// What a progress or cancel callback answers: go on, or stop the work in hand.
enum progress_result : int {
  progress_cancel = 0,
  progress_continue = 1,
};

// Called every so often during a long statement; anything but progress_continue interrupts it.
using cancel_callback = std::function<progress_result()>;

}  // namespace jtb
