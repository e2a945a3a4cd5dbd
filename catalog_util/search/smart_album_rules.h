#pragma once

#include <string>
#include <vector>

#include "catalog_util/search/search_criteria.h"
#include "catalog_util/search/smart_album_search.h"

namespace vael_util {

// The lookup tables a host fills before a smart album compiles: a rule of exposure time,
// f-number, ISO or file extension set may give its operand as an index into them.
struct smart_album_lookup {
  std::vector<double> f_numbers;
  std::vector<double> exposure_times;
  std::vector<int> isos;
  // Each entry a comma-separated set of extensions, such as "jpg,jpeg".
  std::vector<std::string> file_types;
};

// A smart album from rules a person writes as JSON (see docs/smart-albums.md):
//   {"name": "...", "match": "all"|"any", "rules": [{"field": "rating", "op": "at least",
//    "value": 3}, ...], "lookup": {"f_numbers": [...], ...}}
// Fields and operators go by name or by number, dates as ISO text. Throws
// std::invalid_argument naming the rule and what is wrong: JSON that does not parse, an
// unknown field, operator or value name, a value of the wrong kind.
advanced_metadata_search smart_album_from_json(const std::string& json);

// Gives a smart album held by `search` these lookup tables; other searches are left as they
// are. Stored texts do not hold the tables, so a host sets them after reading one.
void set_lookup_tables(search_criteria& search, const smart_album_lookup& lookup);

}  // namespace vael_util
