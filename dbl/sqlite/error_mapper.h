#pragma once

struct sqlite3;

namespace dbl::sqlite_util {

// Returns for OK, ROW and DONE; otherwise throws the layer's exception for `code`. A generic
// error (1) is first replaced by the connection's own error code. `db` may be null.
void check_result(int code, sqlite3* db);

}  // namespace dbl::sqlite_util
