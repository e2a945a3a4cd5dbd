#pragma once

#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cctype>
#include <string>
#include <vector>

#include "catalog_util/catalog_defaults.h"
#include "catalog_util/search/search_implementer.h"
#include "tests/catalog/tag_test_support.h"

// What the search tests share: short times, the case-blind text tests with which they work out
// each answer themselves, and a catalog with the default forest and one disk.
namespace vael_test {

inline boost::posix_time::ptime at(int y, int m, int d, int h = 0, int mi = 0, int s = 0) {
  return boost::posix_time::ptime(
      boost::gregorian::date(static_cast<unsigned short>(y), static_cast<unsigned short>(m),
                             static_cast<unsigned short>(d)),
      boost::posix_time::time_duration(h, mi, s));
}
// The range a media of unknown date is given, written out here rather than taken from the
// catalog.
const boost::posix_time::ptime unknown_begin = at(1400, 1, 1);
const boost::posix_time::ptime unknown_end =
    at(9999, 12, 31, 23, 59, 59) + boost::posix_time::microseconds(999999);

inline std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  });
  return s;
}
// Whether `s` holds `part`, whatever the case.
inline bool has(const std::string& s, const std::string& part) {
  return lower(s).find(lower(part)) != std::string::npos;
}

// The ids of the rows that `match` picks, in the rows' order.
template <typename Row, typename Match>
std::vector<int> ids_where(const std::vector<Row>& rows, const Match& match) {
  std::vector<int> out;
  for (const Row& r : rows)
    if (match(r)) out.push_back(r.id);
  return out;
}

// A catalog in which the searches of the first registered version run.
class search_catalog : public tag_catalog {
 protected:
  static void SetUpTestSuite() { vael_util::register_search_implementers(1); }

  // Makes the default forest and a built-in disk at <sandbox>/<folder>; gives the disk's
  // volume id. REQUIRES: an open transaction.
  int defaults_and_disk(const std::string& folder) {
    vael_util::initialize_catalog_defaults(
        h(), {"-", "F", "Fr", "C", "-", "-", "T", "G", "W", "M", "QR", "-", "-", "Smart"});
    return volumes()
        .add_volume({"disk-1", "disk", vael::volume_type::builtin_drive, box_.path(folder), 0})
        .id;
  }
};

}  // namespace vael_test
