#include "dbl/sqlite/collation.h"

#include <sqlite3.h>

#include <cstddef>

namespace dbl::sqlite_util {

namespace {

bool is_digit(char32_t c) {
  return c >= '0' && c <= '9';
}

// The next code point of UTF-8 text, advancing `i`. A byte that does not start a well-formed
// sequence stands for itself above the Unicode range, so that broken text still sorts in a
// fixed order and never equals well-formed text.
char32_t next_code_point(std::string_view s, std::size_t& i) {
  const auto lead = static_cast<unsigned char>(s[i]);
  std::size_t length = 0;
  char32_t c = 0;
  if (lead < 0x80) {
    ++i;
    return lead;
  } else if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    c = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    c = lead & 0x0Fu;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    c = lead & 0x07u;
  }
  bool ok = length != 0 && i + length <= s.size();
  for (std::size_t k = 1; ok && k < length; ++k) {
    const auto byte = static_cast<unsigned char>(s[i + k]);
    ok = (byte & 0xC0u) == 0x80u;
    c = (c << 6) | (byte & 0x3Fu);
  }
  // Overlong forms, surrogates and values past U+10FFFF are not well formed.
  ok = ok && !(length == 3 && c < 0x800) && !(length == 4 && c < 0x10000) &&
       !(c >= 0xD800 && c <= 0xDFFF) && c <= 0x10FFFF;
  if (!ok) {
    ++i;
    return 0x110000 + lead;
  }
  i += length;
  return c;
}

// Simple lower-casing of the Latin, Greek and Cyrillic letters that names use most. Fixed
// here rather than taken from the locale, since indexes on disk depend on it.
char32_t fold(char32_t c) {
  if (c >= 'A' && c <= 'Z') return c + 32;
  if (c < 0xC0) return c;
  if (c <= 0xDE) return c == 0xD7 ? c : c + 32;
  if (c >= 0x100 && c <= 0x137) return (c % 2 == 0 && c != 0x130) ? c + 1 : c;
  if (c >= 0x139 && c <= 0x148) return c % 2 == 1 ? c + 1 : c;
  if (c >= 0x14A && c <= 0x177) return c % 2 == 0 ? c + 1 : c;
  if (c == 0x178) return 0xFF;
  if (c >= 0x179 && c <= 0x17E) return c % 2 == 1 ? c + 1 : c;
  if (c >= 0x391 && c <= 0x3A9) return c == 0x3A2 ? c : c + 32;
  if (c >= 0x400 && c <= 0x40F) return c + 80;
  if (c >= 0x410 && c <= 0x42F) return c + 32;
  return c;
}

int collate(void*, int length_a, const void* a, int length_b, const void* b) {
  // natural_compare cannot throw; nothing may unwind through SQLite in any case.
  try {
    return natural_compare(
        std::string_view(static_cast<const char*>(a), static_cast<std::size_t>(length_a)),
        std::string_view(static_cast<const char*>(b), static_cast<std::size_t>(length_b)));
  } catch (...) {
    return 0;
  }
}

}  // namespace

int natural_compare(std::string_view a, std::string_view b) noexcept {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (is_digit(static_cast<unsigned char>(a[i])) && is_digit(static_cast<unsigned char>(b[j]))) {
      std::size_t start_a = i;
      std::size_t start_b = j;
      while (start_a < a.size() && a[start_a] == '0') ++start_a;
      while (start_b < b.size() && b[start_b] == '0') ++start_b;
      std::size_t end_a = start_a;
      std::size_t end_b = start_b;
      while (end_a < a.size() && is_digit(static_cast<unsigned char>(a[end_a]))) ++end_a;
      while (end_b < b.size() && is_digit(static_cast<unsigned char>(b[end_b]))) ++end_b;
      // More significant digits is the larger number; at equal length the first differing
      // digit decides.
      const std::size_t digits_a = end_a - start_a;
      const std::size_t digits_b = end_b - start_b;
      if (digits_a != digits_b) return digits_a < digits_b ? -1 : 1;
      const int by_digits = a.substr(start_a, digits_a).compare(b.substr(start_b, digits_b));
      if (by_digits != 0) return by_digits < 0 ? -1 : 1;
      // Equal values: fewer leading zeros first, so that the order stays total.
      const std::size_t run_a = end_a - i;
      const std::size_t run_b = end_b - j;
      if (run_a != run_b) return run_a < run_b ? -1 : 1;
      i = end_a;
      j = end_b;
      continue;
    }
    const char32_t fa = fold(next_code_point(a, i));
    const char32_t fb = fold(next_code_point(b, j));
    if (fa != fb) return fa < fb ? -1 : 1;
  }
  if (i < a.size()) return 1;
  if (j < b.size()) return -1;
  return 0;
}

int register_i18n_collate(sqlite3* db) {
  return sqlite3_create_collation(db, "i18n_collate", SQLITE_UTF8, nullptr, &collate);
}

}  // namespace dbl::sqlite_util
