#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>

#include "vantor/ksv_client.h"

// The value objects that this library hands to the membership client, such as the ticket
// text. They follow the client interface's counting rules, so the client may keep them.
namespace KSV {

// The three counting operations for an interface I whose own id is kInterfaceId. The count
// starts at 1, owned by the creator, and is atomic since the client's threads may hold the
// object.
template <class I, Code kInterfaceId>
class CBaseImpl : public I {
 public:
  CBaseImpl(const CBaseImpl&) = delete;
  CBaseImpl& operator=(const CBaseImpl&) = delete;

  Status QueryInterface(Code iid, void** out) override {
    if (out == nullptr) return codes::erro;
    *out = nullptr;
    if (iid == kInterfaceId) {
      *out = static_cast<I*>(this);
    } else if (iid == codes::bAsE) {
      *out = static_cast<Base*>(this);
    } else {
      return codes::erro;
    }
    AddRef();
    return codes::ok;
  }

  Status AddRef() override {
    count_.fetch_add(1);
    return codes::ok;
  }

  Status Release() override {
    // A compare-and-swap rather than a plain decrement, so that a surplus Release on a count of
    // 0 leaves it at 0 instead of wrapping it.
    Status count = count_.load();
    do {
      if (count == 0) return 0;
    } while (!count_.compare_exchange_weak(count, count - 1));
    if (count == 1) {
      Destroy();
      return 0;
    }
    return count - 1;
  }

 protected:
  CBaseImpl() = default;
  virtual ~CBaseImpl() = default;
  void Destroy() override { delete this; }

 private:
  std::atomic<Status> count_{1};
};

// A text value, made with a count of 1.
class CStringValue final : public CBaseImpl<StringValue, codes::bStr> {
 public:
  explicit CStringValue(std::string text) : text_(std::move(text)) {}

  // Copies the text and its terminator when the buffer holds both; see StringValue::Get.
  // A null `size` gives erro.
  Status Get(char* buffer, unsigned* size) override;

 private:
  std::string text_;
};

// An integer value of type T behind interface I with id kInterfaceId.
template <class T, class I, Code kInterfaceId>
class CIntegerValue final : public CBaseImpl<I, kInterfaceId> {
 public:
  explicit CIntegerValue(T value) : value_(value) {}

  // Stores the value; a null `out` gives erro.
  Status Get(T* out) override {
    if (out == nullptr) return codes::erro;
    *out = value_;
    return codes::ok;
  }

 private:
  T value_;
};

using CSignedInt32Value = CIntegerValue<std::int32_t, SignedInt32Value, codes::sint>;
using CUnsignedInt32Value = CIntegerValue<std::uint32_t, UnsignedInt32Value, codes::uint>;

}  // namespace KSV
