#include "catalog/schema/schema_v7.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdint>
#include <string>

#include "catalog/schema/column_builders.h"
#include "dbl/entry_data.h"

namespace vael::schema::v7 {

namespace {

// Frozen with the version 7 schema; never edit to follow a newer one.
namespace table {
constexpr char version_table[] = "version_table";
constexpr char change_table[] = "change_table";
constexpr char volume_table[] = "volume_table";
constexpr char media_table[] = "media_table";
constexpr char tag_table[] = "tag_table";
constexpr char tag_to_media_table[] = "tag_to_media_table";
constexpr char media_stack_to_media_table[] = "media_stack_to_media_table";
constexpr char version_stack_to_media_table[] = "version_stack_to_media_table";
constexpr char media_stack_sort_table[] = "media_stack_sort_table";
constexpr char version_stack_sort_table[] = "version_stack_sort_table";
constexpr char metadata_description_table[] = "metadata_description_table";
constexpr char metadata_string_table[] = "metadata_string_table";
constexpr char metadata_integer_table[] = "metadata_integer_table";
constexpr char metadata_decimal_table[] = "metadata_decimal_table";
constexpr char metadata_date_time_table[] = "metadata_date_time_table";
constexpr char metadata_blob_table[] = "metadata_blob_table";
constexpr char media_to_metadata_table[] = "media_to_metadata_table";
constexpr char tag_to_metadata_table[] = "tag_to_metadata_table";
}  // namespace table

namespace column {
constexpr char id[] = "id";
constexpr char version_number[] = "version_number";
constexpr char change_id[] = "change_id";
constexpr char change_type[] = "change_type";
constexpr char description[] = "description";
constexpr char serial[] = "serial";
constexpr char drive_path_if_builtin[] = "drive_path_if_builtin";
constexpr char type[] = "type";
constexpr char identifier[] = "identifier";
constexpr char full_filepath[] = "full_filepath";
constexpr char filepath_search_index[] = "filepath_search_index";
constexpr char filename_search_index[] = "filename_search_index";
constexpr char mime_type[] = "mime_type";
constexpr char volume_id[] = "volume_id";
constexpr char search_date_begin[] = "search_date_begin";
constexpr char search_date_end[] = "search_date_end";
constexpr char name[] = "name";
constexpr char parent_id[] = "parent_id";
constexpr char sibling_index[] = "sibling_index";
constexpr char type_name[] = "type_name";
constexpr char media_is_ordered[] = "media_is_ordered";
constexpr char can_tag_media[] = "can_tag_media";
constexpr char can_have_children[] = "can_have_children";
constexpr char applies_to_all_in_media_stack[] = "applies_to_all_in_media_stack";
constexpr char applies_to_all_in_version_stack[] = "applies_to_all_in_version_stack";
constexpr char media_id[] = "media_id";
constexpr char tag_id[] = "tag_id";
constexpr char media_index[] = "media_index";
constexpr char stack_tag_id[] = "stack_tag_id";
constexpr char data_type[] = "data_type";
constexpr char association_type[] = "association_type";
constexpr char can_have_multiple_items[] = "can_have_multiple_items";
constexpr char description_id[] = "description_id";
constexpr char value[] = "value";
constexpr char metadata_id[] = "metadata_id";
}  // namespace column

namespace t = table;
namespace c = column;
using dbl::in_primary_key;
using dbl::no_constraint;
using dbl::not_null;
using dbl::relation_one_to_one;
using dbl::relation_required;
using dbl::unique;
using detail::plain_column;
using detail::reference_column;
using ptime = boost::posix_time::ptime;

constexpr std::int32_t auto_id = 0;
constexpr std::int32_t no_auto_id = 1;

// The two stack sort tables share one shape.
dbl::table_description stack_sort_table(const std::string& name) {
  dbl::table_description d(name, no_auto_id);
  d.add_column(reference_column(c::media_id, media_table_description(), c::id, relation_one_to_one,
                                in_primary_key));
  d.add_column(plain_column(c::search_date_begin, typeid(ptime), 0, not_null));
  d.add_column(plain_column(c::search_date_end, typeid(ptime), 0, not_null));
  d.add_clustered_index(name + "_begin_index", {c::search_date_begin, c::media_id});
  d.add_clustered_index(name + "_end_index", {c::search_date_end, c::media_id});
  return d;
}

// The five metadata value tables differ in the kind of `value` and in their index.
dbl::table_description metadata_value_table(const char* name, const std::type_info& type,
                                            std::uint64_t width, const char* index,
                                            bool value_in_index) {
  dbl::table_description d(name, auto_id);
  d.add_column(reference_column(c::description_id, metadata_description_table_description(), c::id,
                                relation_required));
  d.add_column(plain_column(c::value, type, width, not_null));
  if (value_in_index) {
    d.add_clustered_index(index, {c::description_id, c::value, c::id});
  } else {
    d.add_clustered_index(index, {c::description_id, c::id});
  }
  return d;
}

}  // namespace

dbl::table_description version_table_description() {
  dbl::table_description d(t::version_table, no_auto_id);
  d.add_column(plain_column(c::version_number, typeid(int), 0, not_null));
  return d;
}

dbl::table_description change_table_description() {
  dbl::table_description d(t::change_table, no_auto_id);
  d.add_column(plain_column(c::change_id, typeid(int), 0, not_null));
  d.add_column(plain_column(c::change_type, typeid(std::string), 255, not_null, in_primary_key));
  return d;
}

dbl::table_description volume_table_description() {
  dbl::table_description d(t::volume_table, auto_id);
  d.add_column(plain_column(c::description, typeid(std::string), 255, not_null));
  d.add_column(plain_column(c::serial, typeid(std::string), 255, unique));
  d.add_column(plain_column(c::drive_path_if_builtin, typeid(std::string), 255, not_null));
  d.add_column(plain_column(c::type, typeid(std::string), 255, not_null));
  return d;
}

dbl::table_description media_table_description() {
  dbl::table_description d(t::media_table, auto_id);
  d.add_column(plain_column(c::full_filepath, typeid(std::string), 260, not_null));
  d.add_column(plain_column(c::filepath_search_index, typeid(std::string), 256, not_null));
  d.add_column(plain_column(c::filename_search_index, typeid(std::string), 256, not_null));
  d.add_column(plain_column(c::mime_type, typeid(std::string), 63, not_null));
  d.add_column(
      reference_column(c::volume_id, volume_table_description(), c::id, relation_required));
  d.add_column(plain_column(c::search_date_begin, typeid(ptime), 0, not_null));
  d.add_column(plain_column(c::search_date_end, typeid(ptime), 0, not_null));
  d.add_clustered_index("media_table_filepath_index",
                        {c::filepath_search_index, c::filename_search_index, c::id});
  d.add_clustered_index("media_table_filename_index", {c::filename_search_index, c::id});
  d.add_clustered_index("media_table_volume_index", {c::volume_id, c::id});
  d.add_clustered_index("media_table_search_date_begin_index", {c::search_date_begin, c::id});
  d.add_clustered_index("media_table_search_date_end_index", {c::search_date_end, c::id});
  d.add_clustered_index("media_table_mimetype_index", {c::mime_type, c::id});
  return d;
}

dbl::table_description tag_table_description() {
  dbl::table_description d(t::tag_table, auto_id);
  d.add_column(plain_column(c::name, typeid(std::string), 255, no_constraint));
  d.add_column(plain_column(c::parent_id, typeid(int), 0, not_null));
  d.add_column(plain_column(c::sibling_index, typeid(int), 0, not_null));
  d.add_column(plain_column(c::type_name, typeid(std::string), 255, no_constraint));
  d.add_column(plain_column(c::media_is_ordered, typeid(bool), 0, not_null));
  d.add_column(plain_column(c::can_tag_media, typeid(bool), 0, not_null));
  d.add_column(plain_column(c::can_have_children, typeid(bool), 0, not_null));
  d.add_column(plain_column(c::applies_to_all_in_media_stack, typeid(bool), 0, not_null));
  d.add_column(plain_column(c::applies_to_all_in_version_stack, typeid(bool), 0, not_null));
  return d;
}

dbl::table_description tag_to_media_table_description() {
  dbl::table_description d(t::tag_to_media_table, no_auto_id);
  d.add_column(reference_column(c::media_id, media_table_description(), c::id, relation_required,
                                in_primary_key));
  d.add_column(reference_column(c::tag_id, tag_table_description(), c::id, relation_required,
                                in_primary_key));
  d.add_column(plain_column(c::media_index, typeid(int), 0, not_null));
  d.add_clustered_index("tag_to_media_table_tag_clustered_index",
                        {c::tag_id, c::media_id, c::media_index});
  d.add_clustered_index("tag_to_media_table_media_clustered_index", {c::media_id, c::tag_id});
  return d;
}

dbl::table_description media_stack_to_media_table_description() {
  dbl::table_description d(t::media_stack_to_media_table, no_auto_id);
  d.add_column(reference_column(c::stack_tag_id, tag_table_description(), c::id, relation_required,
                                in_primary_key));
  d.add_column(reference_column(c::media_id, media_table_description(), c::id, relation_required,
                                in_primary_key));
  d.add_column(plain_column(c::media_index, typeid(int), 0, not_null));
  d.add_clustered_index("media_stack_to_media_table_media_clustered_index",
                        {c::media_id, c::stack_tag_id});
  d.add_clustered_index("media_stack_to_media_table_stack_clustered_index",
                        {c::stack_tag_id, c::media_index, c::media_id});
  return d;
}

dbl::table_description version_stack_to_media_table_description() {
  dbl::table_description d(t::version_stack_to_media_table, no_auto_id);
  d.add_column(reference_column(c::stack_tag_id, tag_table_description(), c::id, relation_required,
                                in_primary_key));
  d.add_column(reference_column(c::media_id, media_table_description(), c::id, relation_required,
                                in_primary_key));
  d.add_column(plain_column(c::media_index, typeid(int), 0, not_null));
  d.add_column(plain_column(c::parent_id, typeid(int), 0, not_null));
  d.add_clustered_index("version_stack_to_media_table_media_clustered_index",
                        {c::media_id, c::stack_tag_id});
  d.add_clustered_index("version_stack_to_media_table_stack_clustered_index",
                        {c::stack_tag_id, c::media_index, c::media_id});
  return d;
}

dbl::table_description media_stack_sort_table_description() {
  return stack_sort_table(t::media_stack_sort_table);
}

dbl::table_description version_stack_sort_table_description() {
  return stack_sort_table(t::version_stack_sort_table);
}

dbl::table_description metadata_description_table_description() {
  dbl::table_description d(t::metadata_description_table, auto_id);
  d.add_column(plain_column(c::identifier, typeid(std::string), 255, not_null));
  d.add_column(plain_column(c::data_type, typeid(std::string), 32, not_null));
  d.add_column(plain_column(c::association_type, typeid(std::string), 32, not_null));
  d.add_column(plain_column(c::can_have_multiple_items, typeid(bool), 0, not_null));
  return d;
}

dbl::table_description metadata_string_table_description() {
  return metadata_value_table(t::metadata_string_table, typeid(std::string), 4096,
                              "metadata_string_table_value_index", true);
}

dbl::table_description metadata_integer_table_description() {
  return metadata_value_table(t::metadata_integer_table, typeid(std::int64_t), 0,
                              "metadata_integer_table_value_index", true);
}

dbl::table_description metadata_decimal_table_description() {
  return metadata_value_table(t::metadata_decimal_table, typeid(double), 0,
                              "metadata_decimal_table_index", true);
}

dbl::table_description metadata_date_time_table_description() {
  return metadata_value_table(t::metadata_date_time_table, typeid(ptime), 0,
                              "metadata_date_time_table_index", true);
}

dbl::table_description metadata_blob_table_description() {
  return metadata_value_table(t::metadata_blob_table, typeid(dbl::blob), 4096,
                              "metadata_blob_table_index", false);
}

dbl::table_description media_to_metadata_table_description() {
  dbl::table_description d(t::media_to_metadata_table, no_auto_id);
  d.add_column(reference_column(c::media_id, media_table_description(), c::id, relation_required,
                                in_primary_key));
  d.add_column(plain_column(c::metadata_id, typeid(std::int64_t), 0, not_null, in_primary_key));
  d.add_clustered_index("media_to_metadata_table_media_clustered_index",
                        {c::media_id, c::metadata_id});
  d.add_clustered_index("media_to_metadata_table_metadata_clustered_index",
                        {c::metadata_id, c::media_id});
  return d;
}

dbl::table_description tag_to_metadata_table_description() {
  dbl::table_description d(t::tag_to_metadata_table, no_auto_id);
  d.add_column(reference_column(c::tag_id, tag_table_description(), c::id, relation_required,
                                in_primary_key));
  d.add_column(plain_column(c::metadata_id, typeid(std::int64_t), 0, not_null, in_primary_key));
  d.add_clustered_index("tag_to_metadata_table_tag_clustered_index", {c::tag_id, c::metadata_id});
  d.add_clustered_index("tag_to_metadata_table_metadata_clustered_index",
                        {c::metadata_id, c::tag_id});
  return d;
}

schema_generation generation() {
  return {schema_version,
          {version_table_description(), change_table_description(), volume_table_description(),
           media_table_description(), tag_table_description(), tag_to_media_table_description(),
           media_stack_to_media_table_description(), version_stack_to_media_table_description(),
           media_stack_sort_table_description(), version_stack_sort_table_description(),
           metadata_description_table_description(), metadata_string_table_description(),
           metadata_integer_table_description(), metadata_decimal_table_description(),
           metadata_date_time_table_description(), metadata_blob_table_description(),
           media_to_metadata_table_description(), tag_to_metadata_table_description()}};
}

}  // namespace vael::schema::v7
