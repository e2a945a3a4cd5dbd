#include "preferences/ksv_values.h"

#include <cstring>

namespace KSV {

Status CStringValue::Get(char* buffer, unsigned* size) {
  if (size == nullptr) return codes::erro;
  const auto needed = static_cast<unsigned>(text_.size() + 1);
  const bool fits = buffer != nullptr && *size >= needed;
  *size = needed;
  if (!fits) return codes::bufI;
  std::memcpy(buffer, text_.c_str(), needed);
  return codes::ok;
}

}  // namespace KSV
