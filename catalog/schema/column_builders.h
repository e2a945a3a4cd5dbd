#pragma once

#include <cstdint>
#include <string>
#include <typeinfo>

#include "dbl/table_description.h"

// Shorthands for the schema builders of every version. They hold no names, so a frozen
// schema stays frozen when these are shared.
namespace vael::schema::detail {

// A column without index of its own; key_state as in dbl::column_description.
inline dbl::column_description plain_column(const char* name, const std::type_info& type,
                                            std::uint64_t width, dbl::column_constraint constraint,
                                            std::int32_t key_state = dbl::not_in_primary_key) {
  return dbl::column_description(name, type, width, constraint, key_state, dbl::not_indexed);
}

// A column that refers to `target_column` of `target`; kind and rule follow from the
// referenced column and the relation.
inline dbl::column_description reference_column(const char* name,
                                                const dbl::table_description& target,
                                                const char* target_column, std::int32_t relation,
                                                std::int32_t key_state = dbl::not_in_primary_key) {
  return dbl::column_description(
      name, dbl::foreign_key_description(target.name(), target.column(target_column), relation),
      key_state, dbl::not_indexed);
}

}  // namespace vael::schema::detail
