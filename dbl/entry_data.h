#pragma once

#include <atomic>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdint>
#include <cstring>
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

// The kind an entry_data holds. Kinds from `string` on live in a shared box.
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
  auto_id_value,
  string,
  wstring,
  fixed_text,
  fixed_wtext,
  bytes,
  timestamp,
  guid_value,
  null,
};

// The one value type of the database layer: a bound parameter, a result cell, a record field.
// Numbers, booleans and ids are held inline; text, blobs and timestamps sit in an immutable,
// reference-counted box, so that a copy costs at most one atomic increment and a null value
// allocates nothing. Accessors never change the value and throw on a kind mismatch
// (bad_entry_data_cast, or boost::numeric::bad_numeric_cast for a value out of range).
// Thread-safe to copy; the value itself is never written after construction.
class entry_data {
 public:
  entry_data() noexcept = default;
  entry_data(bool v) noexcept : kind_(entry_kind::boolean) { s_.u64 = v ? 1 : 0; }
  entry_data(short v) noexcept : kind_(entry_kind::int16) { s_.i64 = v; }
  entry_data(unsigned short v) noexcept : kind_(entry_kind::uint16) { s_.u64 = v; }
  entry_data(int v) noexcept : kind_(entry_kind::int32) { s_.i64 = v; }
  entry_data(unsigned int v) noexcept : kind_(entry_kind::uint32) { s_.u64 = v; }
  entry_data(long32 v) noexcept : kind_(entry_kind::long_value) { s_.i64 = v.value; }
  entry_data(ulong32 v) noexcept : kind_(entry_kind::ulong_value) { s_.u64 = v.value; }
  // `long` and `long long` are the signed 64-bit kind here; see long32.
  entry_data(long v) noexcept : kind_(entry_kind::int64) { s_.i64 = v; }
  entry_data(unsigned long v) noexcept : kind_(entry_kind::uint64) { s_.u64 = v; }
  entry_data(long long v) noexcept : kind_(entry_kind::int64) { s_.i64 = v; }
  entry_data(unsigned long long v) noexcept : kind_(entry_kind::uint64) { s_.u64 = v; }
  entry_data(double v) noexcept : kind_(entry_kind::float64) { s_.d = v; }
  entry_data(dbl::auto_id v) noexcept : kind_(entry_kind::auto_id_value) { s_.i64 = v.value; }
  entry_data(std::string v) : kind_(entry_kind::string) { s_.heap = new box(std::move(v)); }
  // A null pointer gives the empty string, not the null value.
  entry_data(const char* v) : entry_data(std::string(v != nullptr ? v : "")) {}
  entry_data(std::wstring v) : kind_(entry_kind::wstring) { s_.heap = new box(std::move(v)); }
  entry_data(dbl::fixed_string v) : kind_(entry_kind::fixed_text) {
    s_.heap = new box(std::move(v));
  }
  entry_data(dbl::fixed_wstring v) : kind_(entry_kind::fixed_wtext) {
    s_.heap = new box(std::move(v));
  }
  entry_data(dbl::blob v) : kind_(entry_kind::bytes) { s_.heap = new box(std::move(v)); }
  entry_data(const boost::posix_time::ptime& v) : kind_(entry_kind::timestamp) {
    s_.heap = new box(v);
  }
  entry_data(dbl::guid v) : kind_(entry_kind::guid_value) { s_.heap = new box(std::move(v)); }

  entry_data(const entry_data& other) noexcept : s_(other.s_), kind_(other.kind_) { retain(); }
  entry_data(entry_data&& other) noexcept : s_(other.s_), kind_(other.kind_) {
    other.kind_ = entry_kind::null;
  }
  entry_data& operator=(entry_data other) noexcept {
    std::swap(s_, other.s_);
    std::swap(kind_, other.kind_);
    return *this;
  }
  ~entry_data() { release(); }

  bool is_null() const noexcept { return kind_ == entry_kind::null; }
  entry_kind kind() const noexcept { return kind_; }
  // True when both handles hold one representation: the same box, or the same kind with the
  // same inline bits. Cheaper than ==; a copy always shares with its source.
  bool shares(const entry_data& other) const noexcept {
    return kind_ == other.kind_ && bits() == other.bits();
  }
  // typeid of the held kind; typeid(void) for null.
  const std::type_info& type() const noexcept;

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
  using heap_value = std::variant<std::string, std::wstring, dbl::fixed_string, dbl::fixed_wstring,
                                  dbl::blob, boost::posix_time::ptime, dbl::guid>;
  struct box {
    template <typename T>
    explicit box(T&& v) : value(std::forward<T>(v)) {}
    std::atomic<std::int32_t> refs{1};
    heap_value value;
  };
  // Every member spans all eight bytes: narrower kinds are stored widened, so that bits()
  // reads only written bytes.
  union scalar {
    std::int64_t i64;
    std::uint64_t u64;
    double d;
    box* heap;
  };

  bool on_heap() const noexcept { return kind_ >= entry_kind::string && kind_ != entry_kind::null; }
  void retain() const noexcept {
    if (on_heap()) s_.heap->refs.fetch_add(1, std::memory_order_relaxed);
  }
  void release() noexcept {
    if (on_heap() && s_.heap->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete s_.heap;
  }
  template <typename T>
  const T& exact() const;
  template <typename Target>
  Target numeric() const;

  static_assert(sizeof(void*) == sizeof(std::uint64_t), "bits() reads the whole pointer");
  std::uint64_t bits() const noexcept {
    std::uint64_t b;
    std::memcpy(&b, &s_, sizeof b);
    return b;
  }

  scalar s_{};
  entry_kind kind_ = entry_kind::null;
};

using entry_data_vector = std::vector<entry_data>;

// The kind that entry_data stores for values of type `t`; entry_kind::null for void and for
// types it does not store.
entry_kind kind_of(const std::type_info& t) noexcept;

}  // namespace dbl
