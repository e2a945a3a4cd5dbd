#pragma once

#include <memory>
#include <string>
#include <typeinfo>

namespace vael {

// What a metadata value is; the numbers are the ones every caller passes around.
enum class metadata_data_type : int {
  string_type = 0,
  integer_type = 1,
  decimal_type = 2,
  date_time_type = 3,
  blob_type = 4,
};

// What a metadata value hangs on. A stack is a tag, so stack values live with tag values.
enum class metadata_association_type : int {
  media_association_type = 0,
  tag_association_type = 1,
  stack_association_type = 2,
  unassociated_association_type = 3,
};

// One row of metadata_description_table: a property's name, the kind of its values, what
// they attach to and whether one owner may hold several. A value with copy on write: copies
// share one body until a setter runs; default made objects all share one empty body.
class metadata_description_t {
 public:
  // id 0, empty identifier, string values, media association, single valued.
  metadata_description_t();
  metadata_description_t(int id, std::string identifier, metadata_data_type data_type,
                         metadata_association_type association_type, bool can_have_multiple_items);

  int get_id() const { return body_->id; }
  const std::string& get_identifier() const { return body_->identifier; }
  metadata_data_type get_data_type() const { return body_->data_type; }
  metadata_association_type get_association_type() const { return body_->association_type; }
  bool can_have_multiple_items() const { return body_->can_have_multiple_items; }

  void set_id(int id);
  void set_identifier(std::string identifier);
  void set_data_type(metadata_data_type data_type);
  void set_association_type(metadata_association_type association_type);
  void set_can_have_multiple_items(bool value);

  // True when both share one body; cheaper than == and what a copy always gives.
  bool shares(const metadata_description_t& other) const { return body_ == other.body_; }
  friend bool operator==(const metadata_description_t& a, const metadata_description_t& b);
  friend bool operator!=(const metadata_description_t& a, const metadata_description_t& b) {
    return !(a == b);
  }

 private:
  struct body {
    int id = 0;
    std::string identifier;
    metadata_data_type data_type = metadata_data_type::string_type;
    metadata_association_type association_type = metadata_association_type::media_association_type;
    bool can_have_multiple_items = false;
  };
  body& writable();

  std::shared_ptr<body> body_;
};

// The text stored in the data_type column ("string_type" ...). Throws std::logic_error
// "An unrecognized metadata type was encounted." for a value outside the enum.
std::string data_type_to_string(metadata_data_type data_type);
// Throws std::logic_error "An unrecognized metadata type string was encountered.".
metadata_data_type data_type_from_string(const std::string& text);
// The text stored in the association_type column. Throws std::logic_error
// "An unrecognized metadata association type was encounted." for a value outside the enum.
std::string association_type_to_string(metadata_association_type association_type);
// Throws std::logic_error "An unrecognized metadata association type string was encountered.".
metadata_association_type association_type_from_string(const std::string& text);

// The table holding values of `data_type`. Throws std::logic_error
// "An unrecognized metadata type was encountered." for a value outside the enum.
const char* value_table_of(metadata_data_type data_type);
// The kind of that table's `value` column. Throws std::logic_error
// "An unknown metadata type was encountered." for a value outside the enum.
const std::type_info& value_kind_of(metadata_data_type data_type);

}  // namespace vael
