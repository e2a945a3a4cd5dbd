#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vael_util {

// "(" + the number + ")".
std::string serialize_number(std::int64_t number);
// The comma-separated parts between the character at `pos` and the next ")", which must not
// stand at `pos`; stores the position behind the ")" in *end. "()" gives no part.
// Throws std::runtime_error "The data was not serialized properly and could not be
// deserialized" when there is no such ")".
std::vector<std::string> read_fields(const std::string& text, std::uint64_t pos,
                                     std::uint64_t* end);
// A number in the form of serialize_number(). Throws std::runtime_error for another count of
// parts, boost::bad_lexical_cast for a part that is no number.
std::int64_t read_number(const std::string& text, std::uint64_t pos, std::uint64_t* end);

}  // namespace vael_util
