#include "catalog/version_stack.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "catalog/internal_connection.h"
#include "catalog/media_stack.h"
#include "catalog/schema/schema_names.h"
#include "catalog/stack_namespace.h"
#include "catalog/stack_sort.h"
#include "dbl/query.h"
#include "dbl/record.h"

namespace vael {
namespace {

namespace col = schema::column;
namespace tbl = schema::table;

const char in_stack_sql[] =
    "SELECT media_id FROM version_stack_to_media_table\n WHERE media_id = :media_id";
const char stack_of_media_sql[] =
    "SELECT stack_tag_id FROM version_stack_to_media_table\n WHERE media_id = :media_id";
const char parent_sql[] =
    "SELECT parent_id FROM version_stack_to_media_table WHERE media_id = :child_id";
const char member_ids_sql[] =
    "SELECT media_id FROM version_stack_to_media_table WHERE stack_tag_id = :stack_id ORDER BY "
    "media_index ASC";
const char member_rows_sql[] =
    "SELECT * FROM version_stack_to_media_table WHERE stack_tag_id = :stack_id ORDER BY "
    "media_index ASC";
const char media_row_sql[] =
    "SELECT * FROM version_stack_to_media_table WHERE media_id = :media_id";

const char already_versioned_message[] =
    "Cannot create a version for a child that is already in a version.";

std::vector<int> select_ints(const connection_handle& handle, const char* sql, const char* name,
                             int value) {
  dbl::query q(get_connection(handle).database(), sql, true);
  q.bind(name, dbl::entry_data(value));
  return q.select_ints();
}

std::vector<dbl::record> select_rows(const connection_handle& handle, const char* sql,
                                     const char* name, int value) {
  dbl::database& db = get_connection(handle).database();
  const dbl::table_description& table = db.get_table(tbl::version_stack_to_media_table);
  dbl::query q(db, sql, true);
  q.bind(name, dbl::entry_data(value)).set_columns(table);
  std::vector<dbl::record> rows;
  for (const dbl::entry_data_vector& values : q) rows.emplace_back(db, table, values, true);
  return rows;
}

}  // namespace

tag_type_t version_stack::tag_type() {
  return {type_name, true, false, false, false, false};
}

version_stack version_stack::create_version(const connection_handle& handle, int child_id,
                                            int parent_id) {
  if (is_media_in_version_stack(handle, child_id)) {
    throw std::logic_error(already_versioned_message);
  }
  if (media_stack::is_media_in_stack(handle, child_id)) {
    throw std::logic_error("Can't create a version_stack if the child is in a media_stack.");
  }
  if (child_id == parent_id) throw std::logic_error("A media cannot be a version of itself.");

  const int existing = get_stack_id_of_media(handle, parent_id);
  version_stack stack = existing != 0
                            ? version_stack(handle, existing)
                            : version_stack(handle, create_stack_tag(handle, tag_type()).get_id());
  if (existing == 0) stack.add_media(parent_id, 0);
  stack.add_media(child_id, parent_id);

  const int pile_id = media_stack::get_stack_id_of_media(handle, parent_id);
  if (pile_id != 0) {
    media_stack pile(handle, pile_id);
    std::vector<int> pile_ids = pile.get_media_ids();
    const std::vector<int> versions = stack.get_media_ids();
    if (versions.size() < 2) {
      throw std::logic_error(
          "An internal logic error in vael has been encountered.  Expected at least 2 media in "
          "a version stack.");
    }
    // The child leads the version stack now, so it goes just before the former lead.
    pile_ids.insert(std::find(pile_ids.begin(), pile_ids.end(), versions[1]), child_id);
    pile.set_media(pile_ids);
  }
  return stack;
}

version_stack version_stack::get_for_media(const connection_handle& handle, int media_id) {
  const int id = get_stack_id_of_media(handle, media_id);
  if (id == 0) {
    throw std::logic_error("The media " + std::to_string(media_id) + " is in no version_stack.");
  }
  return version_stack(handle, id);
}

bool version_stack::is_media_in_version_stack(const connection_handle& handle, int media_id) {
  return !select_ints(handle, in_stack_sql, ":media_id", media_id).empty();
}

int version_stack::get_stack_id_of_media(const connection_handle& handle, int media_id) {
  const std::vector<int> ids = select_ints(handle, stack_of_media_sql, ":media_id", media_id);
  return ids.empty() ? 0 : ids.front();
}

int version_stack::get_parent_id(const connection_handle& handle, int child_id) {
  const std::vector<int> ids = select_ints(handle, parent_sql, ":child_id", child_id);
  return ids.empty() ? 0 : ids.front();
}

int version_stack::get_root_version_id(const connection_handle& handle, int media_id) {
  std::set<int> seen;
  int id = media_id;
  for (int parent = get_parent_id(handle, id); parent != 0; parent = get_parent_id(handle, id)) {
    if (!seen.insert(id).second) throw database_state_invalid_error();
    id = parent;
  }
  return id;
}

version_stack::version_stack(connection_handle handle, int stack_tag_id)
    : handle_(std::move(handle)), tag_(load_stack_tag(handle_, stack_tag_id, type_name)) {}

std::vector<int> version_stack::get_media_ids() const {
  return select_ints(handle_, member_ids_sql, ":stack_id", get_id());
}

void version_stack::add_media(int media_id, int parent_id) {
  if (is_media_in_version_stack(handle_, media_id)) {
    throw std::logic_error(already_versioned_message);
  }
  int index = 1;
  for (dbl::record& row : select_rows(handle_, member_rows_sql, ":stack_id", get_id())) {
    row.set(col::media_index, index++);
    row.save();
  }
  dbl::database& db = get_connection(handle_).database();
  dbl::record row(db, db.get_table(tbl::version_stack_to_media_table));
  row.set(col::media_id, dbl::auto_id{media_id});
  row.set(col::stack_tag_id, dbl::auto_id{get_id()});
  row.set(col::media_index, 0);
  row.set(col::parent_id, parent_id);
  row.save();
  after_change(get_media_ids());
}

void version_stack::remove_media(int media_id) {
  if (get_stack_id_of_media(handle_, media_id) != get_id()) {
    throw std::logic_error("The media is not in this version stack.");
  }
  std::vector<int> ids = get_media_ids();
  if (ids.size() < 3) {
    tag_.base().remove_tag(tag_base::with_children, tag_base::even_if_referenced);
    after_change(ids);
    return;
  }
  const int parent = get_parent_id(handle_, media_id);
  for (dbl::record& row : select_rows(handle_, media_row_sql, ":media_id", media_id)) {
    row.remove(dbl::record::refuse_if_referenced);
  }
  for (dbl::record& row : select_rows(handle_, member_rows_sql, ":stack_id", get_id())) {
    if (row.get(col::parent_id).as_int() != media_id) continue;
    row.set(col::parent_id, parent);
    row.save();
  }
  ids.erase(std::remove(ids.begin(), ids.end(), media_id), ids.end());
  // Closes the gap in the indexes and brings the sort rows up to date.
  reorder_media(ids);
}

void version_stack::reorder_media(const std::vector<int>& media_ids) {
  std::vector<int> current = get_media_ids();
  std::vector<int> wanted = media_ids;
  std::sort(current.begin(), current.end());
  std::sort(wanted.begin(), wanted.end());
  if (current != wanted) {
    throw std::logic_error("Cannot add or remove media in a version stack using reorder_media");
  }
  for (dbl::record& row : select_rows(handle_, member_rows_sql, ":stack_id", get_id())) {
    const auto at = std::find(media_ids.begin(), media_ids.end(), row.get(col::media_id).as_int());
    row.set(col::media_index, static_cast<int>(at - media_ids.begin()));
    row.save();
  }
  after_change(media_ids);
}

void version_stack::dissolve() {
  const std::vector<int> ids = get_media_ids();
  tag_.base().remove_tag(tag_base::with_children, tag_base::even_if_referenced);
  after_change(ids);
}

void version_stack::after_change(const std::vector<int>& media_ids) const {
  const media_stack_sort pile_sort(handle_);
  for (int id : media_ids) pile_sort.update(id, false);
  const version_stack_sort version_sort(handle_);
  for (int id : media_ids) version_sort.update(id, false);
  internal_connection& c = get_connection(handle_);
  for (int id : media_ids) c.media_tracker().mark_changed(id);
  c.tag_tracker().mark_changed(get_id());
}

}  // namespace vael
