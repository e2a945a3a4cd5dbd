#include "catalog_util/search/criteria_serialization.h"

#include <boost/algorithm/string/split.hpp>
#include <boost/format.hpp>
#include <boost/lexical_cast.hpp>
#include <stdexcept>

namespace vael_util {

std::string serialize_number(std::int64_t number) {
  return (boost::format("(%1%)") % number).str();
}

std::vector<std::string> read_fields(const std::string& text, std::uint64_t pos,
                                     std::uint64_t* end) {
  const std::size_t close = text.find(')', static_cast<std::size_t>(pos));
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
  const std::vector<std::string> parts = read_fields(text, pos, end);
  if (parts.size() != 1) {
    throw std::runtime_error(
        "The number was not serialized properly and could not be deserialized.");
  }
  return boost::lexical_cast<std::int64_t>(parts[0]);
}

}  // namespace vael_util
