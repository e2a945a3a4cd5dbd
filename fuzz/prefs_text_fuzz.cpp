// Any text the host hands over must parse without a crash, a hang or unbounded memory, and
// whatever record comes out must be writable again.
#include <cstddef>
#include <cstdint>
#include <string>

#include "vantor/vantor.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SyncPrefs prefs{};
  VTL::GetSyncPrefsFromString(prefs, std::string(reinterpret_cast<const char*>(data), size));
  const std::string text = VTL::GetXMLForSyncPrefs(prefs);
  SyncPrefs again{};
  VTL::GetSyncPrefsFromString(again, text);
  return 0;
}
