#include "preferences/ksv_bridge.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "environment/debug_log.h"
#include "preferences/ksv_values.h"
#include "vantor/vantor.h"
#include "vantor_build_config.h"

namespace vantor_prefs {

std::string ReadKsvString(ksv_ref<KSV::StringValue> value) {
  if (!value) return {};
  unsigned size = 0;
  value->Get(nullptr, &size);
  std::string buffer(size, '\0');
  if (size == 0 || value->Get(buffer.data(), &size) != KSV::codes::ok) return {};
  // Up to the first zero, never past the buffer: a client's text need not be terminated.
  buffer.erase(std::find(buffer.begin(), buffer.end(), '\0'), buffer.end());
  return buffer;
}

ksv_map ReadKsvMap(KSV::Map& map) {
  ksv_map result;
  for (;;) {
    // References come only with a status of 0; on any other the slots are not trusted.
    KSV::Base* raw_key = nullptr;
    KSV::Base* raw_value = nullptr;
    if (map.Next(&raw_key, &raw_value) != KSV::codes::ok) break;
    ksv_ref<KSV::Base> key(raw_key);
    ksv_ref<KSV::Base> value(raw_value);

    auto code_value = QueryKsvInterface<KSV::UnsignedInt32Value>(key.get(), KSV::codes::uint);
    KSV::Code code = 0;
    if (!code_value || code_value->Get(&code) != KSV::codes::ok) break;
    auto text = QueryKsvInterface<KSV::StringValue>(value.get(), KSV::codes::bStr);
    if (!text) break;
    result.emplace(code, ReadKsvString(std::move(text)));
  }
  return result;
}

std::vector<ksv_ref<KSV::Base>> ReadKsvList(KSV::List& list) {
  std::vector<ksv_ref<KSV::Base>> items;
  for (;;) {
    KSV::Base* item = nullptr;
    if (list.Next(&item) != KSV::codes::ok) break;
    items.emplace_back(item);
  }
  return items;
}

ksv_map ReadKsvTag(KSV::Base& tag) {
  auto map = QueryKsvInterface<KSV::Map>(&tag, KSV::codes::mapE);
  if (!map) return {};
  return ReadKsvMap(*map);
}

std::string KsvLibraryPath() {
  if (const char* path = std::getenv("VANTOR_KSV_LIBRARY"); path != nullptr && *path != '\0') {
    return path;
  }
  const std::string installed = VANTOR_PLUGIN_DIR "/" VANTOR_KSV_LIBRARY_NAME;
  std::error_code ignored;
  if (std::filesystem::exists(installed, ignored)) return installed;
  return VANTOR_BUILD_PLUGIN_DIR "/" VANTOR_KSV_LIBRARY_NAME;
}

ksv_load_status LoadKsvLibrary(ksv_ref<KSV::Library>& library) {
  library.reset();
  // Never closed: objects of the client, and its threads, may outlive this call.
  void* module = ::dlopen(KsvLibraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return ksv_load_status::no_library;
  void* entry = ::dlsym(module, "GetKSVLibraryInterface");
  if (entry == nullptr) return ksv_load_status::no_library;
  // POSIX guarantees that a dlsym result converts to a function pointer.
  const auto get_interface = reinterpret_cast<GetKSVLibraryInterfaceFn>(entry);
  void* raw = nullptr;
  const int status = get_interface(&raw, KSV::kInterfaceVersion);
  library = ksv_ref<KSV::Library>(static_cast<KSV::Library*>(raw));
  if (status != 0 || !library) {
    library.reset();
    return ksv_load_status::no_interface;
  }
  return ksv_load_status::loaded;
}

ksv_ref<KSV::Library> GetAuthenticatedKsvLibrary(const std::string& ticket) {
  ksv_ref<KSV::Library> library;
  switch (LoadKsvLibrary(library)) {
    case ksv_load_status::loaded:
      break;
    case ksv_load_status::no_library:
      throw VTL::unknown_error;
    case ksv_load_status::no_interface:
      vantor_env::DebugLog("KSV Library Pointer not valid");
      throw VTL::unknown_error;
  }
  ksv_ref<KSV::StringValue> ticket_value(new KSV::CStringValue(ticket));
  if (library->SetAuthInfo(ticket_value.get()) != KSV::codes::ok) {
    vantor_env::DebugLog("Invalid Credentials.Failed in SetAuthInfo Call:");
    throw VTL::invalid_credentials;
  }
  return library;
}

std::vector<ksv_map> ListKsvTags(KSV::Library& library) {
  KSV::List* raw_list = nullptr;
  const KSV::Status status = library.ListTags(&raw_list);
  if (status != KSV::codes::ok) {
    vantor_env::DebugLog("Invalid Credentials.Failed in ListTags Call");
    vantor_env::DebugLog(std::to_string(status));
    if (status == KSV::codes::icrd || status == KSV::codes::esex) throw VTL::invalid_credentials;
    throw VTL::unknown_error;
  }
  ksv_ref<KSV::List> list(raw_list);
  std::vector<ksv_map> tags;
  if (!list) return tags;
  for (const ksv_ref<KSV::Base>& item : ReadKsvList(*list)) {
    tags.push_back(item ? ReadKsvTag(*item) : ksv_map{});
  }
  return tags;
}

std::pair<std::string, std::string> GetKsvStorage(KSV::Library& library) {
  KSV::Map* raw_storage = nullptr;
  if (library.GetStorageInfo(&raw_storage) != KSV::codes::ok) return {};
  ksv_ref<KSV::Map> storage(raw_storage);
  if (!storage) return {};
  ksv_map figures = ReadKsvMap(*storage);
  return {figures[KSV::codes::qsal], figures[KSV::codes::qsud]};
}

}  // namespace vantor_prefs
