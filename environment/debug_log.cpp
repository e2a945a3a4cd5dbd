#include "environment/debug_log.h"

#include <cstdio>
#include <string>

namespace vantor_env {

void DebugLog(std::string_view message) {
  std::string line = "Vantor : ";
  line.append(message);
  // A caller's own line end would make an empty line on a terminal.
  if (!line.empty() && line.back() == '\n') line.pop_back();
  line.push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

}  // namespace vantor_env
