#pragma once

#include <string_view>

namespace vantor_env {

// The library's debug output: writes "Vantor : " and `message` to standard error as one
// line, flushed at once so that lines of two processes do not interleave mid-line.
void DebugLog(std::string_view message);

}  // namespace vantor_env
