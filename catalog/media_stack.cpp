#include "catalog/media_stack.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "catalog/internal_connection.h"
#include "catalog/schema/schema_names.h"
#include "catalog/stack_namespace.h"
#include "catalog/stack_sort.h"
#include "catalog/version_stack.h"
#include "dbl/query.h"
#include "dbl/record.h"

namespace vael {
namespace {

namespace col = schema::column;
namespace tbl = schema::table;

const char in_stack_sql[] =
    "SELECT media_id FROM media_stack_to_media_table WHERE media_id = :media_id LIMIT 1";
const char stack_of_media_sql[] =
    "SELECT stack_tag_id FROM media_stack_to_media_table\n WHERE media_id = :media_id";
const char member_ids_sql[] =
    "SELECT media_id FROM media_stack_to_media_table\nWHERE stack_tag_id = :stack_id\nORDER BY "
    "media_index ASC";
const char member_rows_sql[] =
    "SELECT * FROM media_stack_to_media_table\nWHERE stack_tag_id = :stack_id\nORDER BY "
    "media_index ASC";

const char too_few_message[] = "A media_stack must be comprised of at least 2 media.";

std::vector<int> select_ints(const connection_handle& handle, const char* sql, const char* name,
                             int value) {
  dbl::query q(get_connection(handle).database(), sql, true);
  q.bind(name, dbl::entry_data(value));
  return q.select_ints();
}

}  // namespace

tag_type_t media_stack::tag_type() {
  return {type_name, true, false, false, false, false};
}

media_stack media_stack::create(const connection_handle& handle,
                                const std::vector<int>& media_ids) {
  media_stack stack(handle, create_stack_tag(handle, tag_type()));
  if (media_ids.size() < 2) throw std::logic_error(too_few_message);
  stack.write_members(media_ids, false);
  return stack;
}

media_stack media_stack::get_for_media(const connection_handle& handle, int media_id) {
  const int id = get_stack_id_of_media(handle, media_id);
  if (id == 0) {
    throw std::logic_error("The media " + std::to_string(media_id) + " is in no media_stack.");
  }
  return media_stack(handle, id);
}

bool media_stack::is_media_in_stack(const connection_handle& handle, int media_id) {
  return !select_ints(handle, in_stack_sql, ":media_id", media_id).empty();
}

int media_stack::get_stack_id_of_media(const connection_handle& handle, int media_id) {
  const std::vector<int> ids = select_ints(handle, stack_of_media_sql, ":media_id", media_id);
  return ids.empty() ? 0 : ids.front();
}

media_stack::media_stack(connection_handle handle, int stack_tag_id)
    : handle_(std::move(handle)), tag_(load_stack_tag(handle_, stack_tag_id, type_name)) {}

media_stack::media_stack(connection_handle handle, tag stack_tag)
    : handle_(std::move(handle)), tag_(std::move(stack_tag)) {}

std::vector<int> media_stack::get_media_ids() const {
  return select_ints(handle_, member_ids_sql, ":stack_id", get_id());
}

void media_stack::set_media(const std::vector<int>& media_ids) {
  if (media_ids.size() < 2) throw std::logic_error(too_few_message);
  write_members(media_ids, true);
}

void media_stack::dissolve() {
  write_members({}, true);
  tag_.base().remove_tag(tag_base::with_children, tag_base::even_if_referenced);
}

void media_stack::write_members(const std::vector<int>& media_ids, bool may_have_rows) {
  internal_connection& c = get_connection(handle_);
  dbl::database& db = c.database();
  for (std::size_t cursor = 0; cursor < media_ids.size();) {
    const int id = media_ids[cursor];
    const int stack_id = get_stack_id_of_media(handle_, id);
    if (stack_id != 0 && stack_id != get_id()) {
      throw std::logic_error(
          "Could not set the stack media, since some of the media was already stacked.");
    }
    const int version_id = version_stack::get_stack_id_of_media(handle_, id);
    if (version_id == 0) {
      ++cursor;
      continue;
    }
    // A version stack is taken whole, from its lead on, so that it stays one run.
    const std::vector<int> versions = version_stack(handle_, version_id).get_media_ids();
    const auto from = media_ids.begin() + static_cast<std::ptrdiff_t>(cursor);
    if (versions.size() > media_ids.size() - cursor ||
        !std::equal(versions.begin(), versions.end(), from)) {
      throw std::logic_error(
          "If media in a version_stack is stacked, it must all be added to the stack");
    }
    cursor += versions.size();
  }

  const dbl::table_description& table = db.get_table(tbl::media_stack_to_media_table);
  std::vector<int> touched;
  if (may_have_rows) {
    dbl::query q(db, member_rows_sql, true);
    q.bind(":stack_id", dbl::entry_data(get_id())).set_columns(table);
    std::vector<dbl::entry_data_vector> rows(q.begin(), q.end());
    const int media_position = table.column_position(col::media_id);
    for (dbl::entry_data_vector& values : rows) {
      touched.push_back(values[static_cast<std::size_t>(media_position)].as_int());
      dbl::record(db, table, std::move(values), true).remove(dbl::record::refuse_if_referenced);
    }
  }

  int index = 0;
  for (int id : media_ids) {
    dbl::record row(db, table);
    row.set(col::stack_tag_id, dbl::auto_id{get_id()});
    row.set(col::media_id, dbl::auto_id{id});
    row.set(col::media_index, index++);
    row.save();
  }

  // The members' top is known here, so the sort rows skip asking each member for its stack.
  const media_stack_sort sort(handle_);
  if (!media_ids.empty()) sort.write_top_dates(media_ids, media_ids.front());
  for (int id : touched) {  // a former member that left sorts by its own date again
    if (std::find(media_ids.begin(), media_ids.end(), id) == media_ids.end()) {
      sort.write_top_dates({id}, id);
    }
  }
  touched.insert(touched.end(), media_ids.begin(), media_ids.end());
  std::sort(touched.begin(), touched.end());
  touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
  for (int id : touched) c.media_tracker().mark_changed(id);
  c.tag_tracker().mark_changed(get_id());
}

}  // namespace vael
