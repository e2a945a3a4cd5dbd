#pragma once

#include <string_view>

struct sqlite3;

namespace dbl::sqlite_util {

// Natural order of UTF-8 names, independent of the locale: letters compare without regard to
// case (ASCII, Latin-1, Latin Extended-A, Greek and Cyrillic), and a run of digits compares
// by its numeric value, so "img2" < "img10". Otherwise code points compare by value after
// lower-casing, which puts digits before letters. Negative, zero or
// positive as a is before, equal to or after b. Indexes on disk depend on this order: never change
// it.
int natural_compare(std::string_view a, std::string_view b) noexcept;

// Registers natural_compare as the UTF-8 collation "i18n_collate" on `db`. Returns the SQLite
// result code.
int register_i18n_collate(sqlite3* db);

}  // namespace dbl::sqlite_util
