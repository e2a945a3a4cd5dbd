#include "plugins/ksv_local/local_objects.h"

#include <cstring>

namespace ksv_local {

KSV::Status text_value::Get(char* buffer, unsigned* size) {
  if (size == nullptr) return KSV::codes::erro;
  const auto needed = static_cast<unsigned>(text_.size() + 1);
  const bool fits = buffer != nullptr && *size >= needed;
  *size = needed;
  if (!fits) return KSV::codes::bufI;
  std::memcpy(buffer, text_.c_str(), needed);
  return KSV::codes::ok;
}

KSV::Status code_value::Get(std::uint32_t* out) {
  if (out == nullptr) return KSV::codes::erro;
  *out = code_;
  return KSV::codes::ok;
}

KSV::Status text_map::Next(KSV::Base** key, KSV::Base** value) {
  if (key == nullptr || value == nullptr) return KSV::codes::erro;
  if (next_ == pairs_.size()) return KSV::codes::eEnd;
  const auto& [code, text] = pairs_[next_++];
  *key = new code_value(code);
  *value = new text_value(text);
  return KSV::codes::ok;
}

KSV::Status map_list::Next(KSV::Base** item) {
  if (item == nullptr) return KSV::codes::erro;
  if (next_ == items_.size()) return KSV::codes::eEnd;
  *item = new text_map(std::move(items_[next_++]));
  return KSV::codes::ok;
}

}  // namespace ksv_local
