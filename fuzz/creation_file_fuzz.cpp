// Any bytes a creation file may hold must parse or be refused with std::runtime_error, without
// a crash, a sanitizer finding, or an allocation larger than the input can justify.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "catalog_util/creation_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string title, blob;
  std::vector<int> ids;
  try {
    vael_util::parse_creation_file(std::string_view(reinterpret_cast<const char*>(data), size),
                                   title, ids, blob);
  } catch (const std::runtime_error&) {
    return 0;
  }
  if (ids.size() * 8 + blob.size() > size) __builtin_trap();
  return 0;
}
