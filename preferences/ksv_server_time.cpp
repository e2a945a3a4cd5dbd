#include "preferences/ksv_bridge.h"
#include "vantor/vantor.h"

namespace VTL {

bool GetCurrentServerTimeFromKSV(std::string& time) {
  try {
    vantor_prefs::ksv_ref<KSV::Library> library;
    if (vantor_prefs::LoadKsvLibrary(library) != vantor_prefs::ksv_load_status::loaded) {
      return false;
    }
    KSV::StringValue* value = nullptr;
    if (library->GetServerTime(&value) != KSV::codes::ok) return false;
    time += vantor_prefs::ReadKsvString(vantor_prefs::ksv_ref<KSV::StringValue>(value));
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace VTL
