#pragma once

#include "catalog/metadata_description.h"
#include "dbl/entry_data.h"

namespace vael {

// One metadata value: what it holds, what property it is, and its row id in the value table
// of the description's data type (0 until written).
struct metadata_item_t {
  dbl::entry_data value;
  metadata_description_t description;
  int id = 0;
};

}  // namespace vael
