#pragma once

#include <cstdint>
#include <optional>

#include "catalog/schema/schema_generation.h"
#include "dbl/database.h"

namespace vael::schema {

// The version stored in version_table; nullopt when the file has no version_table or the
// table has no row.
std::optional<std::int32_t> read_schema_version(dbl::database& db);

// Makes the tables of `generation` whole, in one immediate transaction without undo:
// registers every table, creating only those that are missing, so a partial file is
// repaired and a whole one is not written to. Right after version_table it runs the version
// step: an empty version_table gets `generation.version`; any other stored version throws
// vael::database_version_error. Right after rendition_description_table it makes sure of the
// master rendition row, id 0. On failure the transaction rolls back and nothing is written.
// REQUIRES: no transaction is open on `db`.
void create_schema(dbl::database& db, const schema_generation& generation);

// create_schema() with the current tables: makes a new catalog in an empty file, or checks
// and registers the tables of a current one.
void create_catalog_schema(dbl::database& db);

}  // namespace vael::schema
