#include "dbl/sqlite/collation.h"

#include <sqlite3.h>

#include <cstddef>

namespace dbl::sqlite_util {

namespace {

bool is_digit(unsigned char c) {
  return c >= '0' && c <= '9';
}

unsigned char fold(unsigned char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
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
    const auto ca = static_cast<unsigned char>(a[i]);
    const auto cb = static_cast<unsigned char>(b[j]);
    if (is_digit(ca) && is_digit(cb)) {
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
    const unsigned char fa = fold(ca);
    const unsigned char fb = fold(cb);
    if (fa != fb) return fa < fb ? -1 : 1;
    ++i;
    ++j;
  }
  if (i < a.size()) return 1;
  if (j < b.size()) return -1;
  return 0;
}

int register_i18n_collate(sqlite3* db) {
  return sqlite3_create_collation(db, "i18n_collate", SQLITE_UTF8, nullptr, &collate);
}

}  // namespace dbl::sqlite_util
