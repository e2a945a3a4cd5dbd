#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "vantor/ksv_client.h"

// How the exports reach the membership client: loading it, owning what it hands out, and
// reading its values into plain strings and maps.
namespace vantor_prefs {

// Owns one reference to a client object and releases it on destruction.
template <class T>
class ksv_ref {
 public:
  ksv_ref() = default;
  // Takes over a reference that the caller holds; null is allowed.
  explicit ksv_ref(T* adopted) : object_(adopted) {}
  ~ksv_ref() { reset(); }
  ksv_ref(ksv_ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ksv_ref& operator=(ksv_ref&& other) noexcept {
    if (this != &other) {
      reset();
      object_ = std::exchange(other.object_, nullptr);
    }
    return *this;
  }
  ksv_ref(const ksv_ref&) = delete;
  ksv_ref& operator=(const ksv_ref&) = delete;

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

  void reset() {
    if (object_ != nullptr) std::exchange(object_, nullptr)->Release();
  }

 private:
  T* object_ = nullptr;
};

// Asks `object` for interface `iid`; null when it has none. `Interface` must be the class
// whose id `iid` is.
template <class Interface>
ksv_ref<Interface> QueryKsvInterface(KSV::Base* object, KSV::Code iid) {
  void* raw = nullptr;
  if (object == nullptr || object->QueryInterface(iid, &raw) != KSV::codes::ok) return {};
  return ksv_ref<Interface>(static_cast<Interface*>(raw));
}

// An ordered map of code to text, as a tag or the storage figures are read.
using ksv_map = std::map<KSV::Code, std::string>;

// The text of `value`, up to its first zero byte; empty for a null value or a failing Get.
// Releases the value.
std::string ReadKsvString(ksv_ref<KSV::StringValue> value);

// Reads every pair of `map`, releasing each key and value, until its first non-zero status, which
// ends the reading quietly, as does a key that is not an unsigned value or a value that is not a
// string. A key that comes again keeps its first value.
ksv_map ReadKsvMap(KSV::Map& map);

// Every item of `list`, until its first non-zero status.
std::vector<ksv_ref<KSV::Base>> ReadKsvList(KSV::List& list);

// A tag of ListTags as a map; empty when the item answers no mapE.
ksv_map ReadKsvTag(KSV::Base& tag);

// The client library's file: $VANTOR_KSV_LIBRARY when set, else the plugin folder of an
// installed library, else the one of this build.
std::string KsvLibraryPath();

enum class ksv_load_status { loaded, no_library, no_interface };

// Loads the client and asks it for its library object (version 1); on `loaded`, `library`
// holds it. no_library: the file cannot be loaded or lacks GetKSVLibraryInterface;
// no_interface: that call failed or gave null. A loaded module stays loaded for the life of
// the process, since objects it made may outlive any one call.
ksv_load_status LoadKsvLibrary(ksv_ref<KSV::Library>& library);

// The client, authenticated with `ticket`. Throws VTL::error_code: unknown_error when the
// client cannot be loaded (no log) or gives no library object (logs "KSV Library Pointer not
// valid"), invalid_credentials when SetAuthInfo fails (logged).
ksv_ref<KSV::Library> GetAuthenticatedKsvLibrary(const std::string& ticket);

// The online albums as tag maps, in the client's order. A failing ListTags is logged with its
// status and throws VTL::error_code: invalid_credentials for icrd or esex, else unknown_error.
std::vector<ksv_map> ListKsvTags(KSV::Library& library);

// The storage figures: quota first, storage used second; a missing figure, or a failing
// GetStorageInfo, gives an empty text.
std::pair<std::string, std::string> GetKsvStorage(KSV::Library& library);

}  // namespace vantor_prefs
