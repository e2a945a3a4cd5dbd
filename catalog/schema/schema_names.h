#pragma once

// Table, column and well-known row names of the current catalog schema. The frozen schemas of
// older versions keep their own copies, so that changing a name here never moves them.

namespace vael::schema {

namespace table {
inline constexpr char version_table[] = "version_table";
inline constexpr char change_table[] = "change_table";
inline constexpr char db_change_timestamp_table[] = "db_change_timestamp_table";
inline constexpr char volume_table[] = "volume_table";
inline constexpr char rendition_description_table[] = "rendition_description_table";
inline constexpr char rendition_to_master_table[] = "rendition_to_master_table";
inline constexpr char media_table[] = "media_table";
inline constexpr char tag_table[] = "tag_table";
inline constexpr char tag_to_media_table[] = "tag_to_media_table";
inline constexpr char media_stack_to_media_table[] = "media_stack_to_media_table";
inline constexpr char version_stack_to_media_table[] = "version_stack_to_media_table";
inline constexpr char media_stack_sort_table[] = "media_stack_sort_table";
inline constexpr char version_stack_sort_table[] = "version_stack_sort_table";
inline constexpr char metadata_description_table[] = "metadata_description_table";
inline constexpr char metadata_string_table[] = "metadata_string_table";
inline constexpr char metadata_integer_table[] = "metadata_integer_table";
inline constexpr char metadata_decimal_table[] = "metadata_decimal_table";
inline constexpr char metadata_date_time_table[] = "metadata_date_time_table";
inline constexpr char metadata_blob_table[] = "metadata_blob_table";
inline constexpr char media_to_metadata_table[] = "media_to_metadata_table";
inline constexpr char tag_to_metadata_table[] = "tag_to_metadata_table";
}  // namespace table

namespace column {
inline constexpr char id[] = "id";
inline constexpr char version_number[] = "version_number";
inline constexpr char change_id[] = "change_id";
inline constexpr char change_type[] = "change_type";
inline constexpr char change_date_time[] = "change_date_time";
inline constexpr char description[] = "description";
inline constexpr char serial[] = "serial";
inline constexpr char drive_path_if_builtin[] = "drive_path_if_builtin";
inline constexpr char type[] = "type";
inline constexpr char identifier[] = "identifier";
inline constexpr char master_id[] = "master_id";
inline constexpr char rendition_id[] = "rendition_id";
inline constexpr char full_filepath[] = "full_filepath";
inline constexpr char filepath_search_index[] = "filepath_search_index";
inline constexpr char filename_search_index[] = "filename_search_index";
inline constexpr char mime_type[] = "mime_type";
inline constexpr char volume_id[] = "volume_id";
inline constexpr char search_date_begin[] = "search_date_begin";
inline constexpr char search_date_end[] = "search_date_end";
inline constexpr char rendition_description_id[] = "rendition_description_id";
inline constexpr char name[] = "name";
inline constexpr char parent_id[] = "parent_id";
inline constexpr char sibling_index[] = "sibling_index";
inline constexpr char type_name[] = "type_name";
inline constexpr char media_is_ordered[] = "media_is_ordered";
inline constexpr char can_tag_media[] = "can_tag_media";
inline constexpr char can_have_children[] = "can_have_children";
inline constexpr char applies_to_all_in_media_stack[] = "applies_to_all_in_media_stack";
inline constexpr char applies_to_all_in_version_stack[] = "applies_to_all_in_version_stack";
inline constexpr char media_id[] = "media_id";
inline constexpr char tag_id[] = "tag_id";
inline constexpr char media_index[] = "media_index";
inline constexpr char stack_tag_id[] = "stack_tag_id";
inline constexpr char data_type[] = "data_type";
inline constexpr char association_type[] = "association_type";
inline constexpr char can_have_multiple_items[] = "can_have_multiple_items";
inline constexpr char description_id[] = "description_id";
inline constexpr char value[] = "value";
inline constexpr char metadata_id[] = "metadata_id";
}  // namespace column

// `identifier` of the rendition description row with id 0, which every master media points at.
inline constexpr char master_rendition_identifier[] = "vael_master_rendition";
// `change_type` values of the counter rows in change_table.
inline constexpr char db_changed_change_type[] = "db_changed";
inline constexpr char current_change_id_change_type[] = "current_change_id";

}  // namespace vael::schema
