// A stored search text comes from a catalog file that anyone may have written: any bytes must
// be read without a crash, a hang or an allocation the text does not pay for, and a search
// that reads must write a text that reads back to an equal search and the same text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "catalog_util/search/search_implementer.h"
#include "catalog_util/search/search_runner.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool registered = (vael_util::register_search_implementers(1), true);
  (void)registered;
  vael_util::search_criteria search;
  try {
    search = vael_util::read_stored_search(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const std::runtime_error&) {
    return 0;
  }
  const std::string text = vael_util::write_stored_search(search);
  const vael_util::search_criteria back = vael_util::read_stored_search(text);
  if (!back.equals(search) || vael_util::write_stored_search(back) != text) std::abort();
  return 0;
}
