// A second membership client, as small as the interface allows: it knows only the installed
// client header, shares no code with the reference client, and offers just the clock. It
// refuses to hand out its library object while VANTOR_TEST_KSV_REFUSE is set.
#include <vantor/ksv_client.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

class clock_text final : public KSV::StringValue {
 public:
  KSV::Status QueryInterface(KSV::Code iid, void** out) override {
    if (out == nullptr) return KSV::codes::erro;
    *out = nullptr;
    if (iid != KSV::codes::bStr && iid != KSV::codes::bAsE) return KSV::codes::erro;
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
  KSV::Status Get(char* buffer, unsigned* size) override {
    static const char kText[] = "minimal-clock";
    const bool fits = buffer != nullptr && *size >= sizeof kText;
    *size = sizeof kText;
    if (!fits) return KSV::codes::bufI;
    std::memcpy(buffer, kText, sizeof kText);
    return 0;
  }

 private:
  void Destroy() override { delete this; }
  std::atomic<int> count_{1};
};

class clock_library final : public KSV::Library {
 public:
  KSV::Status QueryInterface(KSV::Code iid, void** out) override {
    if (out == nullptr) return KSV::codes::erro;
    *out = nullptr;
    if (iid != KSV::codes::bAsE) return KSV::codes::erro;
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
  KSV::Status SetAuthInfo(KSV::StringValue*) override { return KSV::codes::erro; }
  KSV::Status GetServerTime(KSV::StringValue** time) override {
    *time = new clock_text();
    return 0;
  }
  KSV::Status ListTags(KSV::List**) override { return KSV::codes::erro; }
  KSV::Status GetStorageInfo(KSV::Map**) override { return KSV::codes::erro; }

 private:
  void Destroy() override { delete this; }
  std::atomic<int> count_{1};
};

}  // namespace

extern "C" int GetKSVLibraryInterface(void** library, int version) {
  if (std::getenv("VANTOR_TEST_KSV_REFUSE") != nullptr || version != KSV::kInterfaceVersion) {
    return KSV::codes::erro;
  }
  *library = static_cast<KSV::Library*>(new clock_library());
  return 0;
}
