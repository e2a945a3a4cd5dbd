#pragma once

#include <atomic>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdint>
#include <string>
#include <typeinfo>
#include <variant>
#include <vector>

namespace dbl {

// Text with a declared column width.
struct fixed_string {
  std::uint64_t width = 0;
  std::string value;
};

struct fixed_wstring {
  std::uint64_t width = 0;
  std::wstring value;
};

// Identifier of an auto-numbered row.
struct auto_id {
  std::int32_t value = 0;
};

struct guid {
  std::string value;
};

// The 32-bit `long` kinds of the stored data model. On this platform `long` is 64 bits wide and
// is the same type as std::int64_t, so the 32-bit kinds get wrappers of their own; they stay
// apart from `int` and, like the originals, are not numeric kinds for conversion or equality.
struct long32 {
  std::int32_t value = 0;
};

struct ulong32 {
  std::uint32_t value = 0;
};

using blob = std::vector<unsigned char>;

// Index of each kind in entry_data::value_type, in declaration order.
enum class entry_kind : std::uint8_t {
  boolean,
  int16,
  uint16,
  int32,
  uint32,
  long_value,
  ulong_value,
  int64,
  uint64,
  float64,
  string,
  wstring,
  fixed_text,
  fixed_wtext,
  bytes,
  timestamp,
  auto_id_value,
  guid_value,
  null,  // not an alternative of value_type
};

// The one value type of the database layer: a bound parameter, a result cell, a record field.
// An immutable, reference-counted box; copying costs one atomic increment and a null value
// holds no box at all. Accessors never change the value and throw on a kind mismatch
// (bad_entry_data_cast, or boost::numeric::bad_numeric_cast for a value out of range).
// Thread-safe to copy; the value itself is never written after construction.
class entry_data {
 public:
  using value_type = std::variant<bool, std::int16_t, std::uint16_t, std::int32_t, std::uint32_t,
                                  long32, ulong32, std::int64_t, std::uint64_t, double, std::string,
                                  std::wstring, dbl::fixed_string, dbl::fixed_wstring, dbl::blob,
                                  boost::posix_time::ptime, dbl::auto_id, dbl::guid>;

  entry_data() noexcept = default;
  entry_data(bool v) : box_(make(v)) {}
  entry_data(short v) : box_(make(static_cast<std::int16_t>(v))) {}
  entry_data(unsigned short v) : box_(make(static_cast<std::uint16_t>(v))) {}
  entry_data(int v) : box_(make(static_cast<std::int32_t>(v))) {}
  entry_data(unsigned int v) : box_(make(static_cast<std::uint32_t>(v))) {}
  entry_data(long32 v) : box_(make(v)) {}
  entry_data(ulong32 v) : box_(make(v)) {}
  // `long` and `long long` are the signed 64-bit kind here; see long32.
  entry_data(long v) : box_(make(static_cast<std::int64_t>(v))) {}
  entry_data(unsigned long v) : box_(make(static_cast<std::uint64_t>(v))) {}
  entry_data(long long v) : box_(make(static_cast<std::int64_t>(v))) {}
  entry_data(unsigned long long v) : box_(make(static_cast<std::uint64_t>(v))) {}
  entry_data(double v) : box_(make(v)) {}
  entry_data(std::string v) : box_(make(std::move(v))) {}
  // A null pointer gives the empty string, not the null value.
  entry_data(const char* v) : box_(make(std::string(v != nullptr ? v : ""))) {}
  entry_data(std::wstring v) : box_(make(std::move(v))) {}
  entry_data(dbl::fixed_string v) : box_(make(std::move(v))) {}
  entry_data(dbl::fixed_wstring v) : box_(make(std::move(v))) {}
  entry_data(dbl::blob v) : box_(make(std::move(v))) {}
  entry_data(const boost::posix_time::ptime& v) : box_(make(v)) {}
  entry_data(dbl::auto_id v) : box_(make(v)) {}
  entry_data(dbl::guid v) : box_(make(std::move(v))) {}

  entry_data(const entry_data& other) noexcept : box_(other.box_) { retain(); }
  entry_data(entry_data&& other) noexcept : box_(other.box_) { other.box_ = nullptr; }
  entry_data& operator=(entry_data other) noexcept {
    std::swap(box_, other.box_);
    return *this;
  }
  ~entry_data() { release(); }

  bool is_null() const noexcept { return box_ == nullptr; }
  entry_kind kind() const noexcept {
    return box_ == nullptr ? entry_kind::null : static_cast<entry_kind>(box_->value.index());
  }
  // typeid of the held kind; typeid(void) for null.
  const std::type_info& type() const noexcept;
  // REQUIRES: !is_null().
  const value_type& value() const noexcept { return box_->value; }

  // Exact kind matches.
  bool as_bool() const;
  const dbl::fixed_string& as_fixed_string() const;
  const dbl::fixed_wstring& as_fixed_wstring() const;
  const dbl::blob& as_blob() const;
  const boost::posix_time::ptime& as_ptime() const;
  const dbl::guid& as_guid() const;
  // A held std::string, or the text of a held fixed_string.
  const std::string& as_string() const;
  const std::wstring& as_wstring() const;

  // Checked numeric conversions from the integer, floating and auto_id kinds. Floating values
  // are truncated toward zero. `long` targets are range-checked as 32-bit values.
  int as_int() const;
  unsigned int as_uint() const;
  long as_long() const;
  unsigned long as_ulong() const;
  double as_double() const;
  std::int64_t as_int64() const;
  std::uint64_t as_uint64() const;

  friend bool operator==(const entry_data& a, const entry_data& b);
  friend bool operator!=(const entry_data& a, const entry_data& b) { return !(a == b); }

 private:
  struct box {
    template <typename T>
    explicit box(T&& v) : value(std::forward<T>(v)) {}
    std::atomic<std::int32_t> refs{1};
    value_type value;
  };

  template <typename T>
  static box* make(T&& v) {
    return new box(std::forward<T>(v));
  }
  void retain() const noexcept {
    if (box_ != nullptr) box_->refs.fetch_add(1, std::memory_order_relaxed);
  }
  void release() noexcept {
    if (box_ != nullptr && box_->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete box_;
  }

  box* box_ = nullptr;
};

using entry_data_vector = std::vector<entry_data>;

}  // namespace dbl
