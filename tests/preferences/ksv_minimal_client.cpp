// A second membership client, as small as the interface allows: it knows only the installed
// client header, shares no code with the reference client, and offers just the clock. It
// refuses to hand out its library object while VANTOR_TEST_KSV_REFUSE is set.
#include <vantor/ksv_client.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

// Counting for interface I, which answers `iid` and bAsE.
template <class I, KSV::Code iid>
class counted : public I {
 public:
  KSV::Status QueryInterface(KSV::Code asked, void** out) override {
    if (out == nullptr) return KSV::codes::erro;
    *out = nullptr;
    if (asked != iid && asked != KSV::codes::bAsE) return KSV::codes::erro;
    *out = this;
    AddRef();
    return 0;
  }
  KSV::Status AddRef() override {
    ++count_;
    return 0;
  }
  KSV::Status Release() override {
    const int left = --count_;
    if (left == 0) Destroy();
    return left;
  }

 protected:
  virtual ~counted() = default;  // after the interface's places, so it moves none of them

 private:
  void Destroy() override { delete this; }
  std::atomic<int> count_{1};
};

class clock_text final : public counted<KSV::StringValue, KSV::codes::bStr> {
 public:
  KSV::Status Get(char* buffer, unsigned* size) override {
    static const char kText[] = "minimal-clock";
    const bool fits = buffer != nullptr && *size >= sizeof kText;
    *size = sizeof kText;
    if (!fits) return KSV::codes::bufI;
    std::memcpy(buffer, kText, sizeof kText);
    return 0;
  }
};

class clock_library final : public counted<KSV::Library, KSV::codes::bAsE> {
 public:
  KSV::Status SetAuthInfo(KSV::StringValue*) override { return KSV::codes::erro; }
  KSV::Status GetServerTime(KSV::StringValue** time) override {
    *time = new clock_text();
    return 0;
  }
  KSV::Status ListTags(KSV::List**) override { return KSV::codes::erro; }
  KSV::Status GetStorageInfo(KSV::Map**) override { return KSV::codes::erro; }
};

}  // namespace

extern "C" int GetKSVLibraryInterface(void** library, int version) {
  if (std::getenv("VANTOR_TEST_KSV_REFUSE") != nullptr || version != KSV::kInterfaceVersion) {
    return KSV::codes::erro;
  }
  *library = static_cast<KSV::Library*>(new clock_library());
  return 0;
}
