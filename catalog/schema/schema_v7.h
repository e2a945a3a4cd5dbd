#pragma once

#include <cstdint>

#include "catalog/schema/schema_generation.h"
#include "dbl/table_description.h"

// The catalog schema as version 7 left it, frozen for the upgrades: these builders keep their
// own names and never follow the current schema.
namespace vael::schema::v7 {

inline constexpr std::int32_t schema_version = 7;

dbl::table_description version_table_description();
dbl::table_description change_table_description();
dbl::table_description volume_table_description();
dbl::table_description media_table_description();
dbl::table_description tag_table_description();
dbl::table_description tag_to_media_table_description();
dbl::table_description media_stack_to_media_table_description();
dbl::table_description version_stack_to_media_table_description();
dbl::table_description media_stack_sort_table_description();
dbl::table_description version_stack_sort_table_description();
dbl::table_description metadata_description_table_description();
dbl::table_description metadata_string_table_description();
dbl::table_description metadata_integer_table_description();
dbl::table_description metadata_decimal_table_description();
dbl::table_description metadata_date_time_table_description();
dbl::table_description metadata_blob_table_description();
dbl::table_description media_to_metadata_table_description();
dbl::table_description tag_to_metadata_table_description();

// Every table of version 7 in creation order.
schema_generation generation();

}  // namespace vael::schema::v7
