#include "catalog/media_date.h"

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <stdexcept>

namespace vael {

namespace pt = boost::posix_time;
namespace greg = boost::gregorian;

pt::ptime unknown_date_begin() {
  return pt::ptime(greg::date(1400, 1, 1));
}

pt::ptime unknown_date_end() {
  return pt::ptime(greg::date(9999, 12, 31),
                   pt::hours(23) + pt::minutes(59) + pt::seconds(59) + pt::microseconds(999999));
}

media_date_range to_search_range(const media_date_t& date) {
  if (date.precision < exact_precision || date.precision > unknown_precision) {
    throw std::logic_error("An invalid date precision was encountered.");
  }
  if (date.precision == unknown_precision) return {unknown_date_begin(), unknown_date_end()};
  if (date.precision == exact_precision || date.date.is_special()) return {date.date, date.date};
  const greg::date day = date.date.date();
  switch (date.precision) {
    case day_precision:
      return {pt::ptime(day), pt::ptime(day + greg::days(1))};
    case month_precision: {
      const greg::date first(day.year(), day.month(), 1);
      return {pt::ptime(first), pt::ptime(first + greg::months(1))};
    }
    default: {
      const greg::date first(day.year(), 1, 1);
      return {pt::ptime(first), pt::ptime(first + greg::months(12))};
    }
  }
}

media_date_t from_search_range(const pt::ptime& begin, const pt::ptime& end) {
  if (begin == unknown_date_begin() && end == unknown_date_end()) {
    return {unknown_date_begin(), unknown_precision};
  }
  if (begin.is_special() || end.is_special()) return {begin, exact_precision};
  const greg::date b = begin.date();
  const greg::date e = end.date();
  int precision = exact_precision;
  if (b.day() != e.day()) {
    precision = day_precision;
  } else if (b.month() != e.month()) {
    precision = month_precision;
  } else if (b.year() != e.year()) {
    precision = year_precision;
  }
  return {begin, precision};
}

}  // namespace vael
