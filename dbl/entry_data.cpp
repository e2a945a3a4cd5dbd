#include "dbl/entry_data.h"

#include <boost/numeric/conversion/cast.hpp>
#include <cmath>

#include "dbl/exceptions.h"

namespace dbl {

namespace {

template <typename T>
const T& exact(const entry_data& e) {
  if (e.is_null()) throw bad_entry_data_cast();
  const T* p = std::get_if<T>(&e.value());
  if (p == nullptr) throw bad_entry_data_cast();
  return *p;
}

// The source kinds recognised as numeric, in the order they are tested. `long32`, `ulong32`
// and `bool` are deliberately not among them.
template <typename Target>
Target numeric(const entry_data& e) {
  switch (e.kind()) {
    case entry_kind::uint16:
      return boost::numeric_cast<Target>(std::get<std::uint16_t>(e.value()));
    case entry_kind::int16:
      return boost::numeric_cast<Target>(std::get<std::int16_t>(e.value()));
    case entry_kind::uint32:
      return boost::numeric_cast<Target>(std::get<std::uint32_t>(e.value()));
    case entry_kind::int32:
      return boost::numeric_cast<Target>(std::get<std::int32_t>(e.value()));
    case entry_kind::uint64:
      return boost::numeric_cast<Target>(std::get<std::uint64_t>(e.value()));
    case entry_kind::int64:
      return boost::numeric_cast<Target>(std::get<std::int64_t>(e.value()));
    case entry_kind::float64:
      return boost::numeric_cast<Target>(std::get<double>(e.value()));
    case entry_kind::auto_id_value:
      return boost::numeric_cast<Target>(std::get<dbl::auto_id>(e.value()).value);
    default:
      throw bad_entry_data_cast(bad_entry_data_cast::reason::not_numeric);
  }
}

}  // namespace

const char* bad_entry_data_cast::what() const noexcept {
  return reason_ == reason::wrong_type
             ? "Could not cast the entry_data object to the requested type."
             : "The type held in this entry_data object is not a recognized numeric type.";
}

const std::type_info& entry_data::type() const noexcept {
  if (box_ == nullptr) return typeid(void);
  return std::visit([](const auto& v) -> const std::type_info& { return typeid(v); }, box_->value);
}

bool entry_data::as_bool() const {
  return exact<bool>(*this);
}
const fixed_string& entry_data::as_fixed_string() const {
  return exact<fixed_string>(*this);
}
const fixed_wstring& entry_data::as_fixed_wstring() const {
  return exact<fixed_wstring>(*this);
}
const blob& entry_data::as_blob() const {
  return exact<blob>(*this);
}
const boost::posix_time::ptime& entry_data::as_ptime() const {
  return exact<boost::posix_time::ptime>(*this);
}
const guid& entry_data::as_guid() const {
  return exact<guid>(*this);
}

const std::string& entry_data::as_string() const {
  if (kind() == entry_kind::fixed_text) return std::get<fixed_string>(value()).value;
  return exact<std::string>(*this);
}

const std::wstring& entry_data::as_wstring() const {
  if (kind() == entry_kind::fixed_wtext) return std::get<fixed_wstring>(value()).value;
  return exact<std::wstring>(*this);
}

int entry_data::as_int() const {
  return numeric<int>(*this);
}
unsigned int entry_data::as_uint() const {
  return numeric<unsigned int>(*this);
}
long entry_data::as_long() const {
  return numeric<std::int32_t>(*this);
}
unsigned long entry_data::as_ulong() const {
  return numeric<std::uint32_t>(*this);
}
double entry_data::as_double() const {
  return numeric<double>(*this);
}
std::int64_t entry_data::as_int64() const {
  return numeric<std::int64_t>(*this);
}
std::uint64_t entry_data::as_uint64() const {
  return numeric<std::uint64_t>(*this);
}

bool operator==(const entry_data& a, const entry_data& b) {
  const entry_kind ka = a.kind();
  const entry_kind kb = b.kind();
  // One shared box is equal to itself, except for the two kinds whose rules can say otherwise.
  if (a.box_ == b.box_ && ka != entry_kind::fixed_wtext && ka != entry_kind::float64) {
    return true;
  }
  const bool same = ka == kb;
  if (ka == entry_kind::null || kb == entry_kind::null) return same;

  const auto either = [&](entry_kind k) { return ka == k || kb == k; };
  if (either(entry_kind::boolean)) return same && a.as_bool() == b.as_bool();
  if (either(entry_kind::string)) {
    return same && std::get<std::string>(a.value()) == std::get<std::string>(b.value());
  }
  if (either(entry_kind::wstring)) {
    return same && std::get<std::wstring>(a.value()) == std::get<std::wstring>(b.value());
  }
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
    return same && std::fabs(std::get<double>(a.value()) - std::get<double>(b.value())) <
                       2.220446049250313e-16;
  }
  if (either(entry_kind::uint64)) return a.as_uint64() == b.as_uint64();
  return a.as_int64() == b.as_int64();
}

}  // namespace dbl
