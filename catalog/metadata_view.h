#pragma once

#include <map>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/metadata_description.h"
#include "catalog/metadata_item.h"
#include "dbl/entry_data.h"

namespace vael {

// Reads and writes the open-ended metadata of a catalog: descriptions, the values in the
// table of each data type, and their links to media and tags. Holds only the handle, so it
// is cheap to make where needed. Every writer requires an open vael::transaction and marks
// the media and tags whose metadata it changes, except where told otherwise. Values are
// converted to the kind of their table's value column on the way in; a value that does not
// convert throws the database layer's cast error before anything is written.
class metadata_view_t {
 public:
  explicit metadata_view_t(connection_handle handle);

  // Writes a new description. Throws std::logic_error "Could not create the metadata
  // description, because '<identifier>' is already a metadata description." when the
  // identifier exists, and as data_type_to_string / association_type_to_string for values
  // outside the enums.
  metadata_description_t create_description(const std::string& identifier,
                                            metadata_data_type data_type,
                                            metadata_association_type association_type,
                                            bool can_have_multiple_items);
  // Answer from the connection's description cache when it can, else from one query.
  bool has_description(const std::string& identifier) const;
  bool has_description(int id) const;
  // Through the connection's bounded description caches: a second call for the same key
  // does not read the database. Throws std::logic_error when there is no such row, and for
  // unknown type strings in the row.
  metadata_description_t get_description(int id) const;
  metadata_description_t get_description(const std::string& identifier) const;

  // Each writes a value row from `item` and sets item.id.
  // create_unassociated throws std::logic_error "There is already a metadata item for this
  // description on this media." when a single valued description has any value at all.
  void create_unassociated(metadata_item_t& item);
  // Links the value to the media and marks the media changed. Throws std::logic_error "There
  // is already a metadata item for this description on this media." when the description is
  // single valued and the media has a value of it.
  void create_media(int media_id, metadata_item_t& item);
  // create_media for a caller that has just read the media's values of the description in
  // this transaction and found none: the refusal's check would only read them again.
  void create_first_media_item(int media_id, metadata_item_t& item);
  // As create_media for a stack tag (message "... on this stack."), but marks nothing: stack
  // metadata does not count as a change of the stack tag.
  void create_stack(int tag_id, metadata_item_t& item);
  // As create_media for a tag (message "... on this tag."); marks the tag changed.
  void create_tag(int tag_id, metadata_item_t& item);

  bool have_media(const metadata_description_t& description, int media_id) const;
  bool have_tag(const metadata_description_t& description, int tag_id) const;
  // Values of one description on one owner, in row order.
  std::vector<metadata_item_t> get_media(const metadata_description_t& description,
                                         int media_id) const;
  std::vector<metadata_item_t> get_tag(const metadata_description_t& description, int tag_id) const;
  // Every value on the owner: string values first, then integer, decimal, date time, blob.
  std::vector<metadata_item_t> get_all_on_media(int media_id) const;
  std::vector<metadata_item_t> get_all_on_tag(int tag_id) const;
  // Every value of the description, linked or not.
  std::vector<metadata_item_t> get_all_items(const metadata_description_t& description) const;
  std::vector<int> get_item_ids(const metadata_description_t& description) const;
  std::vector<int> get_media_of_item(int item_id) const;
  std::vector<int> get_tags_of_item(int item_id) const;
  // Value text to tag id over the tags holding a value of the description; where two tags
  // hold one value, the later row wins. REQUIRES: a string description.
  std::map<std::string, int> get_value_to_tag_map(const metadata_description_t& description) const;
  // Tag id to the first value of the description on that tag, the one get_tag() lists first,
  // over every tag holding one: for walks of many tags, in one statement.
  std::map<int, dbl::entry_data> get_first_value_of_each_tag(
      const metadata_description_t& description) const;
  // The same over media.
  std::map<int, dbl::entry_data> get_first_value_of_each_media(
      const metadata_description_t& description) const;

  // Overwrites the stored value and item.value, and marks the item's owners changed. Throws
  // std::logic_error when the row is gone.
  void set_value(metadata_item_t& item, const dbl::entry_data& value);
  // Deletes the value row and marks its owners changed. The link rows stay behind; every
  // reader joins them to the value table, so they are never seen again.
  void remove_item(metadata_item_t& item);

  // The text of the owner-scoped item query: ids, and values when `with_value`, of the
  // description's value table joined to `association_table` on `key_column` = :assc_id.
  static std::string get_items_sql(bool with_value, const metadata_description_t& description,
                                   const std::string& association_table,
                                   const std::string& key_column);

 private:
  void create_linked(bool check_existing, int owner_id, metadata_item_t& item,
                     const char* association_table, const char* key_column,
                     const char* duplicate_message);
  void help_create_metadata_item(metadata_item_t& item);
  bool have_items(const metadata_description_t& description, const char* association_table,
                  const char* key_column, int owner_id) const;
  std::map<int, dbl::entry_data> get_first_value_of_each(const metadata_description_t& description,
                                                         const char* association_table,
                                                         const char* key_column) const;
  std::vector<metadata_item_t> get_items(const metadata_description_t& description,
                                         const char* association_table, const char* key_column,
                                         int owner_id) const;
  std::vector<metadata_item_t> get_all_on(const char* association_table, const char* key_column,
                                          int owner_id) const;
  void mark_owners_changed(int item_id);

  connection_handle handle_;
};

}  // namespace vael
