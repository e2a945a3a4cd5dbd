#pragma once

#include "dbl/database.h"

namespace vael::schema {

// Gives SQLite's query planner the shape of a typical catalog when the file has no statistics
// of its own. Without them the planner answers the path lookup that every new media runs with
// the volume index, visiting every media of the volume, and looks up a child tag by name by
// scanning tag_table: imports and tag lookups grow with the square of the catalog. Each of
// those indexes that has no statistics gets them, also in a catalog that an older version
// analysed before an upgrade added the index; statistics that ANALYZE wrote are kept. A
// catalog that cannot be written (read-only, busy) is left as it is: the statistics only speed
// queries up.
// REQUIRES: no transaction is open.
void seed_planner_statistics(dbl::database& db);

}  // namespace vael::schema
