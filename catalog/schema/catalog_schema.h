#pragma once

#include <cstdint>

#include "catalog/schema/schema_generation.h"
#include "dbl/table_description.h"

// The tables of the current catalog schema, one builder per table. Every call builds a fresh
// description.
namespace vael::schema {

inline constexpr std::int32_t current_schema_version = 9;

dbl::table_description version_table_description();
dbl::table_description change_table_description();
dbl::table_description db_change_timestamp_table_description();
dbl::table_description volume_table_description();
dbl::table_description rendition_description_table_description();
dbl::table_description rendition_to_master_table_description();
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

// All 21 tables of the current version in creation order.
schema_generation current_generation();

}  // namespace vael::schema
