#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vael_util {

// The stored text of searches: fields in parentheses and length-prefixed strings, read
// strictly in order from a position. No field names, no version and no end mark: writer and
// reader agree on the order. Numbers are written and read in the classic locale whatever the
// host has set. Every reader takes untrusted text, stores the position behind what it read in
// *end, and throws std::runtime_error on malformed text ("bad cast" for a part that is no
// number of its field's kind or does not fit it).

// "(" + the number + ")". Decimals keep six significant digits.
std::string serialize_number(std::int64_t number);
std::string serialize_number(double number);
inline std::string serialize_number(int number) {
  return serialize_number(std::int64_t{number});
}
// "(" + the byte length + ")" + the bytes.
std::string serialize_string(const std::string& text);
std::string serialize_id_list(const std::vector<int>& ids);
// The strings joined by ","; a string holding "," or ")" does not read back.
std::string serialize_string_list(const std::vector<std::string>& texts);
// Two instants in ISO basic form ("20140115T103000", "not-a-date-time", "+infinity").
std::string serialize_date_range(const boost::posix_time::ptime& begin,
                                 const boost::posix_time::ptime& end);
// "(" + three digits 1 or 0 + ")".
std::string serialize_media_type_flags(bool photos, bool videos, bool audio);

// The comma-separated parts between the character at `pos` and the next ")", which must not
// stand at `pos`. "()" gives no part. Throws "The data was not serialized properly and could
// not be deserialized" when there is no such ")".
std::vector<std::string> read_fields(const std::string& text, std::uint64_t pos,
                                     std::uint64_t* end);

std::int64_t read_number(const std::string& text, std::uint64_t pos, std::uint64_t* end);
// read_number() for a field of 32 bits.
int read_int(const std::string& text, std::uint64_t pos, std::uint64_t* end);
double read_decimal(const std::string& text, std::uint64_t pos, std::uint64_t* end);
std::string read_string(const std::string& text, std::uint64_t pos, std::uint64_t* end);
std::vector<int> read_id_list(const std::string& text, std::uint64_t pos, std::uint64_t* end);
std::vector<std::string> read_string_list(const std::string& text, std::uint64_t pos,
                                          std::uint64_t* end);
std::pair<boost::posix_time::ptime, boost::posix_time::ptime> read_date_range(
    const std::string& text, std::uint64_t pos, std::uint64_t* end);
std::pair<int, int> read_rating_range(const std::string& text, std::uint64_t pos,
                                      std::uint64_t* end);
std::vector<int> read_rect(const std::string& text, std::uint64_t pos, std::uint64_t* end);
std::vector<double> read_decimal_rect(const std::string& text, std::uint64_t pos,
                                      std::uint64_t* end);

struct media_type_flags {
  bool photos = false;
  bool videos = false;
  bool audio = false;
};
// The flags at offsets 1 to 3 of the eight characters from `pos`. Leaves the position where
// it was, so *end is `pos`: the stored form is read this way and stays so.
media_type_flags read_media_type_flags(const std::string& text, std::uint64_t pos,
                                       std::uint64_t* end);

// An instant in ISO basic form, or its special value text; the forms used inside date
// ranges and dated strings.
std::string instant_text(const boost::posix_time::ptime& t);
// Throws "bad cast" when `text` is neither.
boost::posix_time::ptime instant_of(const std::string& text);

}  // namespace vael_util
