#pragma once

#include <functional>

#include "dbl/database.h"

namespace vael::schema {

// Told how far an upgrade has come, as (current, maximum); false asks it to stop. The upgrade
// keeps it for its caller; no step reports to it yet.
using upgrade_progress = std::function<bool(int current, int maximum)>;

// Brings a catalog of version 7 or 8 to the current version and does nothing to a current
// one. Each version step is a transaction of its own, so a failure leaves the file at the
// version the failed step started from, and the next call goes on from there. Afterwards the
// file's tables, indexes and their SQL text are those of a catalog made new.
// Throws std::runtime_error "conversion failed" for a newer version or a file with no
// version, vael::database_version_error for a version older than 7.
// REQUIRES: no transaction is open on `db`.
void upgrade_catalog(dbl::database& db, const upgrade_progress& progress);

// The two steps of upgrade_catalog(), for callers that must stop in between.
// REQUIRES: the file is at version 7 (for the first) or 8 (for the second).
void upgrade_to_version_8(dbl::database& db, const upgrade_progress& progress);
void upgrade_to_version_9(dbl::database& db);

// What opening a catalog does to its schema: upgrades a file that has a version, then
// checks, repairs and registers the current tables (create_catalog_schema()). An empty file
// becomes a new catalog.
void open_catalog_schema(dbl::database& db, const upgrade_progress& progress);

}  // namespace vael::schema
