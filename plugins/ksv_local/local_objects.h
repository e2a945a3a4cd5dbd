#pragma once

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "vantor/ksv_client.h"

// The objects that the local client hands out. They know nothing of Vantor beyond the client
// interface header.
namespace ksv_local {

// The counting operations for interface I with id kInterfaceId; the count starts at 1.
template <class I, KSV::Code kInterfaceId>
class counted : public I {
 public:
  counted(const counted&) = delete;
  counted& operator=(const counted&) = delete;

  KSV::Status QueryInterface(KSV::Code iid, void** out) override {
    if (out == nullptr) return KSV::codes::erro;
    *out = nullptr;
    if (iid == kInterfaceId) {
      *out = static_cast<I*>(this);
    } else if (iid == KSV::codes::bAsE) {
      *out = static_cast<KSV::Base*>(this);
    } else {
      return KSV::codes::erro;
    }
    AddRef();
    return KSV::codes::ok;
  }
  KSV::Status AddRef() override {
    count_.fetch_add(1);
    return KSV::codes::ok;
  }
  KSV::Status Release() override {
    KSV::Status count = count_.load();
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
  counted() = default;
  virtual ~counted() = default;
  void Destroy() override { delete this; }

 private:
  std::atomic<KSV::Status> count_{1};
};

class text_value final : public counted<KSV::StringValue, KSV::codes::bStr> {
 public:
  explicit text_value(std::string text) : text_(std::move(text)) {}
  KSV::Status Get(char* buffer, unsigned* size) override;

 private:
  std::string text_;
};

class code_value final : public counted<KSV::UnsignedInt32Value, KSV::codes::uint> {
 public:
  explicit code_value(KSV::Code code) : code_(code) {}
  KSV::Status Get(std::uint32_t* out) override;

 private:
  KSV::Code code_;
};

// A map of code to text, handed out in the order given.
class text_map final : public counted<KSV::Map, KSV::codes::mapE> {
 public:
  explicit text_map(std::vector<std::pair<KSV::Code, std::string>> pairs)
      : pairs_(std::move(pairs)) {}
  KSV::Status Next(KSV::Base** key, KSV::Base** value) override;

 private:
  std::vector<std::pair<KSV::Code, std::string>> pairs_;
  size_t next_ = 0;
};

// A list of maps. The list has no interface id of its own, so it answers bAsE only.
class map_list final : public counted<KSV::List, KSV::codes::bAsE> {
 public:
  explicit map_list(std::vector<std::vector<std::pair<KSV::Code, std::string>>> items)
      : items_(std::move(items)) {}
  KSV::Status Next(KSV::Base** item) override;

 private:
  std::vector<std::vector<std::pair<KSV::Code, std::string>>> items_;
  size_t next_ = 0;
};

}  // namespace ksv_local
