#include "catalog_util/search/criteria_serialization.h"

#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/format.hpp>
#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>

namespace vael_util {
namespace {

namespace pt = boost::posix_time;

const char number_error[] = "The number was not serialized properly and could not be deserialized.";
const char string_error[] = "The string was not serialized properly and could not be deserialized.";
const char date_range_error[] =
    "The date range was not serialized properly and could not be deserialized";
// The four-decimal form shares the rating range's message.
const char rating_range_error[] =
    "The rating range was not serialized properly and could not be deserialized";
const char rect_error[] =
    "The smart album rect was not serialized properly and could not be deserialized";
const char media_type_error[] =
    "The media type data was not serialized properly and could not be deserialized.";

// boost::format in the classic locale: the host's locale must not group digits or turn the
// decimal point into a comma in a stored text.
boost::format classic_format(const char* pattern) {
  return boost::format(pattern, std::locale::classic());
}

// A whole part as a number of type T, in the classic locale for the reason above (which
// boost::lexical_cast does not allow to choose). Refuses blanks, trailing characters and
// values T cannot hold.
template <typename T>
T number_of(const std::string& part) {
  std::istringstream in(part);
  in.imbue(std::locale::classic());
  T value{};
  in >> std::noskipws >> value;
  if (part.empty() || in.fail() || in.peek() != std::char_traits<char>::eof()) {
    throw std::runtime_error("bad cast");
  }
  return value;
}

std::vector<std::string> read_parts(const std::string& text, std::uint64_t pos, std::uint64_t* end,
                                    std::size_t count, const char* message) {
  std::vector<std::string> parts = read_fields(text, pos, end);
  if (parts.size() != count) throw std::runtime_error(message);
  return parts;
}

}  // namespace

std::string serialize_number(std::int64_t number) {
  return (classic_format("(%1%)") % number).str();
}

std::string serialize_number(double number) {
  return (classic_format("(%1%)") % number).str();
}

std::string serialize_string(const std::string& text) {
  return (classic_format("(%1%)%2%") % text.size() % text).str();
}

std::string serialize_id_list(const std::vector<int>& ids) {
  std::string out = "(";
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (i > 0) out += ',';
    out += std::to_string(ids[i]);
  }
  return out + ")";
}

std::string serialize_string_list(const std::vector<std::string>& texts) {
  return "(" + boost::algorithm::join(texts, ",") + ")";
}

std::string serialize_date_range(const pt::ptime& begin, const pt::ptime& end) {
  return (classic_format("(%1%,%2%)") % instant_text(begin) % instant_text(end)).str();
}

std::string serialize_media_type_flags(bool photos, bool videos, bool audio) {
  return (classic_format("(%1%%2%%3%)") % (photos ? 1 : 0) % (videos ? 1 : 0) % (audio ? 1 : 0))
      .str();
}

std::vector<std::string> read_fields(const std::string& text, std::uint64_t pos,
                                     std::uint64_t* end) {
  const std::size_t close =
      pos < text.size() ? text.find(')', static_cast<std::size_t>(pos)) : std::string::npos;
  if (close == std::string::npos || close == pos) {
    throw std::runtime_error("The data was not serialized properly and could not be deserialized");
  }
  // The character at `pos` is taken for the "(" without looking.
  const std::string inside = text.substr(static_cast<std::size_t>(pos) + 1, close - pos - 1);
  std::vector<std::string> parts;
  if (!inside.empty()) boost::algorithm::split(parts, inside, [](char c) { return c == ','; });
  *end = close + 1;
  return parts;
}

std::int64_t read_number(const std::string& text, std::uint64_t pos, std::uint64_t* end) {
  return number_of<std::int64_t>(read_parts(text, pos, end, 1, number_error)[0]);
}

int read_int(const std::string& text, std::uint64_t pos, std::uint64_t* end) {
  return number_of<int>(read_parts(text, pos, end, 1, number_error)[0]);
}

double read_decimal(const std::string& text, std::uint64_t pos, std::uint64_t* end) {
  return number_of<double>(read_parts(text, pos, end, 1, number_error)[0]);
}

std::string read_string(const std::string& text, std::uint64_t pos, std::uint64_t* end) {
  std::uint64_t start = pos;
  const std::string length_text = read_parts(text, pos, &start, 1, string_error)[0];
  const auto length = number_of<std::uint64_t>(length_text);
  // A length is checked against what is left before anything is taken or allocated.
  if (length_text[0] == '-' || length > text.size() - start) {
    throw std::runtime_error(string_error);
  }
  *end = start + length;
  return text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(length));
}

std::vector<int> read_id_list(const std::string& text, std::uint64_t pos, std::uint64_t* end) {
  std::vector<int> ids;
  for (const std::string& part : read_fields(text, pos, end)) ids.push_back(number_of<int>(part));
  return ids;
}

std::vector<std::string> read_string_list(const std::string& text, std::uint64_t pos,
                                          std::uint64_t* end) {
  return read_fields(text, pos, end);
}

std::pair<pt::ptime, pt::ptime> read_date_range(const std::string& text, std::uint64_t pos,
                                                std::uint64_t* end) {
  const std::vector<std::string> parts = read_parts(text, pos, end, 2, date_range_error);
  return {instant_of(parts[0]), instant_of(parts[1])};
}

std::pair<int, int> read_rating_range(const std::string& text, std::uint64_t pos,
                                      std::uint64_t* end) {
  const std::vector<std::string> parts = read_parts(text, pos, end, 2, rating_range_error);
  return {number_of<int>(parts[0]), number_of<int>(parts[1])};
}

std::vector<int> read_rect(const std::string& text, std::uint64_t pos, std::uint64_t* end) {
  std::vector<int> values;
  for (const std::string& part : read_parts(text, pos, end, 4, rect_error)) {
    values.push_back(number_of<int>(part));
  }
  return values;
}

std::vector<double> read_decimal_rect(const std::string& text, std::uint64_t pos,
                                      std::uint64_t* end) {
  std::vector<double> values;
  for (const std::string& part : read_parts(text, pos, end, 4, rating_range_error)) {
    values.push_back(number_of<double>(part));
  }
  return values;
}

media_type_flags read_media_type_flags(const std::string& text, std::uint64_t pos,
                                       std::uint64_t* end) {
  if (pos > text.size() || text.size() - pos < 8) throw std::runtime_error(media_type_error);
  const auto flag = [&](std::size_t offset) {
    const char c = text[static_cast<std::size_t>(pos) + offset];
    if (c != '0' && c != '1') throw std::runtime_error(media_type_error);
    return c == '1';
  };
  *end = pos;
  return {flag(1), flag(2), flag(3)};
}

std::string instant_text(const pt::ptime& t) {
  if (t.is_not_a_date_time()) return "not-a-date-time";
  if (t.is_neg_infinity()) return "-infinity";
  if (t.is_pos_infinity()) return "+infinity";
  // Written field by field: boost's text forms follow the global locale, which may group the
  // digits of a year.
  const boost::gregorian::date d = t.date();
  const pt::time_duration time = t.time_of_day();
  std::string out =
      (classic_format("%04d%02d%02dT%02d%02d%02d") % d.year() % d.month().as_number() % d.day() %
       time.hours() % time.minutes() % time.seconds())
          .str();
  if (const auto micro = time.fractional_seconds(); micro != 0) {
    out += (classic_format(".%06d") % micro).str();
  }
  return out;
}

pt::ptime instant_of(const std::string& text) {
  if (text == "not-a-date-time") return pt::ptime(pt::not_a_date_time);
  if (text == "-infinity") return pt::ptime(pt::neg_infin);
  if (text == "+infinity") return pt::ptime(pt::pos_infin);
  try {
    const pt::ptime t = pt::from_iso_string(text);
    // Hours past 23 carry into the next day, which may lie past the last year a date can
    // hold: date() refuses that here rather than when the instant is written.
    if (!t.is_special() && !t.date().is_special()) return t;
  } catch (const std::exception&) {
  }
  throw std::runtime_error("bad cast");
}

}  // namespace vael_util
