#include "catalog/metadata_description.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "catalog/schema/schema_names.h"
#include "dbl/entry_data.h"

namespace vael {
namespace {

namespace tbl = schema::table;

// The texts of the two "encounted" messages are matched by callers as they always read, so
// the misspelling stays.
const char bad_data_type_value[] = "An unrecognized metadata type was encounted.";
const char bad_association_value[] = "An unrecognized metadata association type was encounted.";

struct data_type_row {
  metadata_data_type type;
  const char* text;
  const char* table;
  const std::type_info* kind;
};

const data_type_row data_type_rows[] = {
    {metadata_data_type::string_type, "string_type", tbl::metadata_string_table,
     &typeid(std::string)},
    {metadata_data_type::integer_type, "integer_type", tbl::metadata_integer_table,
     &typeid(std::int64_t)},
    {metadata_data_type::decimal_type, "decimal_type", tbl::metadata_decimal_table,
     &typeid(double)},
    {metadata_data_type::date_time_type, "date_time_type", tbl::metadata_date_time_table,
     &typeid(boost::posix_time::ptime)},
    {metadata_data_type::blob_type, "blob_type", tbl::metadata_blob_table, &typeid(dbl::blob)},
};

struct association_row {
  metadata_association_type type;
  const char* text;
};

const association_row association_rows[] = {
    {metadata_association_type::media_association_type, "media_association_type"},
    {metadata_association_type::tag_association_type, "tag_association_type"},
    {metadata_association_type::stack_association_type, "stack_association_type"},
    {metadata_association_type::unassociated_association_type, "unassociated_association_type"},
};

const data_type_row& row_of(metadata_data_type type, const char* message) {
  for (const data_type_row& row : data_type_rows) {
    if (row.type == type) return row;
  }
  throw std::logic_error(message);
}

}  // namespace

metadata_description_t::metadata_description_t() {
  static const std::shared_ptr<body> empty = std::make_shared<body>();
  body_ = empty;
}

metadata_description_t::metadata_description_t(int id, std::string identifier,
                                               metadata_data_type data_type,
                                               metadata_association_type association_type,
                                               bool can_have_multiple_items)
    : body_(std::make_shared<body>(
          body{id, std::move(identifier), data_type, association_type, can_have_multiple_items})) {}

metadata_description_t::body& metadata_description_t::writable() {
  // The shared empty body always has the static's reference too, so it is never written.
  if (body_.use_count() != 1) body_ = std::make_shared<body>(*body_);
  return *body_;
}

void metadata_description_t::set_id(int id) {
  writable().id = id;
}

void metadata_description_t::set_identifier(std::string identifier) {
  writable().identifier = std::move(identifier);
}

void metadata_description_t::set_data_type(metadata_data_type data_type) {
  writable().data_type = data_type;
}

void metadata_description_t::set_association_type(metadata_association_type association_type) {
  writable().association_type = association_type;
}

void metadata_description_t::set_can_have_multiple_items(bool value) {
  writable().can_have_multiple_items = value;
}

bool operator==(const metadata_description_t& a, const metadata_description_t& b) {
  if (a.shares(b)) return true;
  return a.get_id() == b.get_id() && a.get_identifier() == b.get_identifier() &&
         a.get_data_type() == b.get_data_type() &&
         a.get_association_type() == b.get_association_type() &&
         a.can_have_multiple_items() == b.can_have_multiple_items();
}

std::string data_type_to_string(metadata_data_type data_type) {
  return row_of(data_type, bad_data_type_value).text;
}

metadata_data_type data_type_from_string(const std::string& text) {
  for (const data_type_row& row : data_type_rows) {
    if (text == row.text) return row.type;
  }
  throw std::logic_error("An unrecognized metadata type string was encountered.");
}

std::string association_type_to_string(metadata_association_type association_type) {
  for (const association_row& row : association_rows) {
    if (row.type == association_type) return row.text;
  }
  throw std::logic_error(bad_association_value);
}

metadata_association_type association_type_from_string(const std::string& text) {
  for (const association_row& row : association_rows) {
    if (text == row.text) return row.type;
  }
  throw std::logic_error("An unrecognized metadata association type string was encountered.");
}

const char* value_table_of(metadata_data_type data_type) {
  return row_of(data_type, "An unrecognized metadata type was encountered.").table;
}

const std::type_info& value_kind_of(metadata_data_type data_type) {
  return *row_of(data_type, "An unknown metadata type was encountered.").kind;
}

}  // namespace vael
