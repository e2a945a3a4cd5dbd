// The local membership client: serves one account from a JSON state file, so that the
// preference screen can be driven without the online service.
#include <QDateTime>
#include <QString>

#include "plugins/ksv_local/local_objects.h"
#include "plugins/ksv_local/local_state.h"
#include "vantor/ksv_client.h"

namespace ksv_local {
namespace {

std::string read_text(KSV::StringValue& value) {
  unsigned size = 0;
  value.Get(nullptr, &size);
  std::string text(size, '\0');
  if (size == 0 || value.Get(text.data(), &size) != KSV::codes::ok) return {};
  return std::string(text.c_str());
}

// The state file is read again by every call, so that edits show at once.
class library final : public counted<KSV::Library, KSV::codes::bAsE> {
 public:
  // Accepted when the ticket equals the state's ticket; icrd otherwise.
  KSV::Status SetAuthInfo(KSV::StringValue* ticket) override {
    if (ticket == nullptr) return KSV::codes::erro;
    state current;
    if (const KSV::Status status = load_state(current); status != KSV::codes::ok) return status;
    authenticated_ = read_text(*ticket) == current.ticket;
    return authenticated_ ? KSV::codes::ok : KSV::codes::icrd;
  }

  KSV::Status GetServerTime(KSV::StringValue** time) override {
    if (time == nullptr) return KSV::codes::erro;
    state current;
    if (const KSV::Status status = load_state(current); status != KSV::codes::ok) return status;
    *time = new text_value(current.server_time.value_or(
        QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toStdString()));
    return KSV::codes::ok;
  }

  // The state's list_tags_status when it names one; icrd before a successful SetAuthInfo.
  KSV::Status ListTags(KSV::List** tags) override {
    if (tags == nullptr) return KSV::codes::erro;
    state current;
    if (const KSV::Status status = load_state(current); status != KSV::codes::ok) return status;
    if (current.list_tags_status != KSV::codes::ok) return current.list_tags_status;
    if (!authenticated_) return KSV::codes::icrd;
    *tags = new map_list(std::move(current.albums));
    return KSV::codes::ok;
  }

  KSV::Status GetStorageInfo(KSV::Map** storage) override {
    if (storage == nullptr) return KSV::codes::erro;
    state current;
    if (const KSV::Status status = load_state(current); status != KSV::codes::ok) return status;
    if (!authenticated_) return KSV::codes::icrd;
    *storage = new text_map(std::move(current.storage));
    return KSV::codes::ok;
  }

 private:
  bool authenticated_ = false;
};

}  // namespace
}  // namespace ksv_local

extern "C" int GetKSVLibraryInterface(void** library, int version) {
  if (library == nullptr) return KSV::codes::erro;
  *library = nullptr;
  if (version != KSV::kInterfaceVersion) return KSV::codes::erro;
  *library = static_cast<KSV::Library*>(new ksv_local::library());
  return 0;
}
