#pragma once

#include <cstdint>
#include <vector>

#include "dbl/table_description.h"

namespace vael::schema {

// The tables of one schema version, in the order a new catalog of that version creates them.
// The first table is always version_table.
struct schema_generation {
  std::int32_t version = 0;
  std::vector<dbl::table_description> tables;
};

}  // namespace vael::schema
