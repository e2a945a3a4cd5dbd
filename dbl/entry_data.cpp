#include "dbl/entry_data.h"

#include <boost/numeric/conversion/cast.hpp>
#include <cmath>

#include "dbl/exceptions.h"

namespace dbl {

const char* bad_entry_data_cast::what() const noexcept {
  return reason_ == reason::wrong_type
             ? "Could not cast the entry_data object to the requested type."
             : "The type held in this entry_data object is not a recognized numeric type.";
}

template <typename T>
const T& entry_data::exact() const {
  if (!on_heap()) throw bad_entry_data_cast();
  const T* p = std::get_if<T>(&s_.heap->value);
  if (p == nullptr) throw bad_entry_data_cast();
  return *p;
}

// The source kinds recognised as numeric. `long32`, `ulong32` and `bool` are deliberately not
// among them.
template <typename Target>
Target entry_data::numeric() const {
  switch (kind_) {
    case entry_kind::uint16:
      return boost::numeric_cast<Target>(static_cast<std::uint16_t>(s_.u64));
    case entry_kind::int16:
      return boost::numeric_cast<Target>(static_cast<std::int16_t>(s_.i64));
    case entry_kind::uint32:
      return boost::numeric_cast<Target>(static_cast<std::uint32_t>(s_.u64));
    case entry_kind::int32:
    case entry_kind::auto_id_value:
      return boost::numeric_cast<Target>(static_cast<std::int32_t>(s_.i64));
    case entry_kind::uint64:
      return boost::numeric_cast<Target>(s_.u64);
    case entry_kind::int64:
      return boost::numeric_cast<Target>(s_.i64);
    case entry_kind::float64:
      return boost::numeric_cast<Target>(s_.d);
    default:
      throw bad_entry_data_cast(bad_entry_data_cast::reason::not_numeric);
  }
}

const std::type_info& entry_data::type() const noexcept {
  switch (kind_) {
    case entry_kind::boolean:
      return typeid(bool);
    case entry_kind::int16:
      return typeid(std::int16_t);
    case entry_kind::uint16:
      return typeid(std::uint16_t);
    case entry_kind::int32:
      return typeid(std::int32_t);
    case entry_kind::uint32:
      return typeid(std::uint32_t);
    case entry_kind::long_value:
      return typeid(long32);
    case entry_kind::ulong_value:
      return typeid(ulong32);
    case entry_kind::int64:
      return typeid(std::int64_t);
    case entry_kind::uint64:
      return typeid(std::uint64_t);
    case entry_kind::float64:
      return typeid(double);
    case entry_kind::auto_id_value:
      return typeid(dbl::auto_id);
    case entry_kind::null:
      return typeid(void);
    default:
      return std::visit([](const auto& v) -> const std::type_info& { return typeid(v); },
                        s_.heap->value);
  }
}

bool entry_data::as_bool() const {
  if (kind_ != entry_kind::boolean) throw bad_entry_data_cast();
  return s_.u64 != 0;
}
const fixed_string& entry_data::as_fixed_string() const {
  return exact<fixed_string>();
}
const fixed_wstring& entry_data::as_fixed_wstring() const {
  return exact<fixed_wstring>();
}
const blob& entry_data::as_blob() const {
  return exact<blob>();
}
const boost::posix_time::ptime& entry_data::as_ptime() const {
  return exact<boost::posix_time::ptime>();
}
const guid& entry_data::as_guid() const {
  return exact<guid>();
}

const std::string& entry_data::as_string() const {
  if (kind_ == entry_kind::fixed_text) return std::get<fixed_string>(s_.heap->value).value;
  return exact<std::string>();
}

const std::wstring& entry_data::as_wstring() const {
  if (kind_ == entry_kind::fixed_wtext) return std::get<fixed_wstring>(s_.heap->value).value;
  return exact<std::wstring>();
}

int entry_data::as_int() const {
  return numeric<int>();
}
unsigned int entry_data::as_uint() const {
  return numeric<unsigned int>();
}
long entry_data::as_long() const {
  return numeric<std::int32_t>();
}
unsigned long entry_data::as_ulong() const {
  return numeric<std::uint32_t>();
}
double entry_data::as_double() const {
  return numeric<double>();
}
std::int64_t entry_data::as_int64() const {
  return numeric<std::int64_t>();
}
std::uint64_t entry_data::as_uint64() const {
  return numeric<std::uint64_t>();
}

entry_kind kind_of(const std::type_info& t) noexcept {
  struct entry {
    const std::type_info* type;
    entry_kind kind;
  };
  static const entry table[] = {
      {&typeid(int), entry_kind::int32},
      {&typeid(std::string), entry_kind::string},
      {&typeid(auto_id), entry_kind::auto_id_value},
      {&typeid(std::int64_t), entry_kind::int64},
      {&typeid(long long), entry_kind::int64},
      {&typeid(bool), entry_kind::boolean},
      {&typeid(double), entry_kind::float64},
      {&typeid(boost::posix_time::ptime), entry_kind::timestamp},
      {&typeid(blob), entry_kind::bytes},
      {&typeid(fixed_string), entry_kind::fixed_text},
      {&typeid(unsigned int), entry_kind::uint32},
      {&typeid(std::uint64_t), entry_kind::uint64},
      {&typeid(unsigned long long), entry_kind::uint64},
      {&typeid(short), entry_kind::int16},
      {&typeid(unsigned short), entry_kind::uint16},
      {&typeid(long32), entry_kind::long_value},
      {&typeid(ulong32), entry_kind::ulong_value},
      {&typeid(std::wstring), entry_kind::wstring},
      {&typeid(fixed_wstring), entry_kind::fixed_wtext},
      {&typeid(guid), entry_kind::guid_value},
  };
  for (const entry& e : table) {
    if (*e.type == t) return e.kind;
  }
  return entry_kind::null;
}

bool operator==(const entry_data& a, const entry_data& b) {
  const entry_kind ka = a.kind();
  const entry_kind kb = b.kind();
  const bool same = ka == kb;
  if (ka == entry_kind::null || kb == entry_kind::null) return same;
  // A box shared by both sides is equal to itself, except for the wide fixed kind whose rule
  // below throws.
  if (same && a.on_heap() && a.s_.heap == b.s_.heap && ka != entry_kind::fixed_wtext) {
    return true;
  }

  const auto either = [&](entry_kind k) { return ka == k || kb == k; };
  if (either(entry_kind::boolean)) return same && a.s_.u64 == b.s_.u64;
  if (either(entry_kind::string)) return same && a.as_string() == b.as_string();
  if (either(entry_kind::wstring)) return same && a.as_wstring() == b.as_wstring();
  if (either(entry_kind::fixed_text)) {
    if (!same) return false;
    const auto& x = a.as_fixed_string();
    const auto& y = b.as_fixed_string();
    return x.width == y.width && x.value == y.value;
  }
  if (either(entry_kind::fixed_wtext)) {
    if (!same) return false;
    // Two wide fixed strings were never comparable: the right side is read as the narrow
    // kind, which throws. No column uses the kind.
    (void)b.as_fixed_string();
    return false;
  }
  if (either(entry_kind::timestamp)) return same && a.as_ptime() == b.as_ptime();
  if (either(entry_kind::bytes)) return same && a.as_blob() == b.as_blob();
  if (either(entry_kind::float64)) {
    return same && std::fabs(a.s_.d - b.s_.d) < 2.220446049250313e-16;
  }
  if (same && ka == entry_kind::int32) return a.s_.i64 == b.s_.i64;
  if (either(entry_kind::uint64)) return a.as_uint64() == b.as_uint64();
  return a.as_int64() == b.as_int64();
}

}  // namespace dbl
