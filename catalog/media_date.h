#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>

namespace vael {

// How much of a media's date is known.
enum media_date_precision : int {
  exact_precision = 0,
  day_precision = 1,
  month_precision = 2,
  year_precision = 3,
  unknown_precision = 4,
};

// The date of a media as callers see it. The catalog stores it as a search range
// [begin, end]: the date itself when exact, else the day, month or year it lies in, and the
// widest range when nothing is known.
struct media_date_t {
  boost::posix_time::ptime date;
  int precision = exact_precision;
};

struct media_date_range {
  boost::posix_time::ptime begin;
  boost::posix_time::ptime end;
};

// The bounds of an unknown date.
boost::posix_time::ptime unknown_date_begin();
boost::posix_time::ptime unknown_date_end();

// The search range of `date`. A special `date` (not a date, an infinity) with a precision
// below 4 gives itself as both bounds. Throws std::logic_error "An invalid date precision was
// encountered." for a precision outside 0..4.
media_date_range to_search_range(const media_date_t& date);

// The date a search range stands for: the unknown bounds give precision 4 and 1400-01-01;
// otherwise the first calendar part that differs between the bounds (day of the month, then
// month, then year) gives the precision, and `date` is `begin`. Bounds that are special give
// `begin` with precision 0, so that writing the result back keeps them.
media_date_t from_search_range(const boost::posix_time::ptime& begin,
                               const boost::posix_time::ptime& end);

}  // namespace vael
