#include "catalog/stack_sort.h"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

#include "catalog/internal_connection.h"
#include "catalog/media.h"
#include "catalog/schema/schema_names.h"
#include "catalog/stack_membership.h"
#include "dbl/query.h"
#include "dbl/record.h"

namespace vael {
namespace {

namespace col = schema::column;
namespace tbl = schema::table;

std::string row_sql(const char* table) {
  return std::string("SELECT * FROM ") + table + " WHERE media_id = :media_id";
}

std::string update_sql(const char* table) {
  return std::string("UPDATE ") + table +
         " SET search_date_begin = :search_date_begin, search_date_end = :search_date_end WHERE "
         "media_id = :media_id";
}

std::optional<dbl::record> find_row(dbl::database& db, const dbl::table_description& table,
                                    const std::string& sql, int media_id) {
  dbl::query q(db, sql, true);
  q.bind(":media_id", media_id).set_columns(table);
  dbl::query_iterator it = q.begin();
  if (it == q.end()) return std::nullopt;
  return dbl::record(db, table, *it, true);
}

// The two search dates of a media, read alone: a top is read once per stack, and the media
// cache would copy its whole row in and out for them. Read as `kind`: timestamps for a
// record, or the stored text, which an UPDATE can pass on without parsing and formatting it
// again.
std::pair<dbl::entry_data, dbl::entry_data> search_dates(dbl::database& db, int media_id,
                                                         const std::type_info& kind) {
  dbl::query q(
      db, "SELECT search_date_begin, search_date_end FROM media_table WHERE id = :media_id", true);
  q.bind(":media_id", media_id)
      .add_column(col::search_date_begin, kind)
      .add_column(col::search_date_end, kind);
  dbl::query_iterator it = q.begin();
  if (it == q.end()) {
    throw std::logic_error("There is no media with the id " + std::to_string(media_id) + ".");
  }
  return {(*it)[0], (*it)[1]};
}

}  // namespace

stack_sort::stack_sort(connection_handle handle, const char* table, members_fn members)
    : handle_(std::move(handle)), table_(table), members_(members) {}

void stack_sort::insert(const media& m) const {
  dbl::database& db = get_connection(handle_).database();
  dbl::record row(db, db.get_table(table_));
  row.set(col::media_id, dbl::auto_id{m.get_id()});
  row.set(col::search_date_begin, m.row().get(col::search_date_begin));
  row.set(col::search_date_end, m.row().get(col::search_date_end));
  row.save();
}

void stack_sort::update(int media_id, bool top_carries_stack) const {
  std::vector<int> targets = members_(handle_, media_id);
  const int top = targets.empty() ? media_id : targets.front();
  if (targets.empty() || top != media_id || !top_carries_stack) targets = {media_id};
  write_top_dates(targets, top);
}

void stack_sort::write_top_dates(const std::vector<int>& media_ids, int top_id) const {
  dbl::database& db = get_connection(handle_).database();
  const dbl::table_description& table = db.get_table(table_);
  // The row as it stands serves only the undo record and the refusal outside a transaction.
  // Without them an UPDATE writes the dates at once, and its count of changed rows tells
  // whether the row was there: a read apiece was much of the cost of making a stack.
  const bool read_first = !db.in_transaction() || db.implementer().current_undoer() != nullptr;
  const std::pair<dbl::entry_data, dbl::entry_data> dates =
      search_dates(db, top_id, read_first ? typeid(boost::posix_time::ptime) : typeid(std::string));
  const dbl::entry_data& begin = dates.first;
  const dbl::entry_data& end = dates.second;
  const std::string select = row_sql(table_);
  dbl::query update(db, update_sql(table_), true);
  update.bind(":search_date_begin", begin).bind(":search_date_end", end);
  // Writes the dates into the row of `target`; false when it has none.
  const auto write = [&](int target) {
    if (!read_first) return update.bind(":media_id", dbl::entry_data(target)).execute() != 0;
    std::optional<dbl::record> row = find_row(db, table, select, target);
    if (!row) return false;
    row->set(col::search_date_begin, begin);
    row->set(col::search_date_end, end);
    row->save();
    return true;
  };
  for (int target : media_ids) {
    if (write(target)) continue;
    insert(media::get_media(handle_, target));
    if (!write(target)) {
      throw std::runtime_error("A stack sort entry was missing that shouldn't have been.");
    }
  }
}

media_date_t stack_sort::get_date(int media_id) const {
  dbl::database& db = get_connection(handle_).database();
  const std::optional<dbl::record> row =
      find_row(db, db.get_table(table_), row_sql(table_), media_id);
  if (!row) return media::get_media(handle_, media_id).get_date();
  return date_of_row(*row);
}

media_stack_sort::media_stack_sort(connection_handle handle)
    : stack_sort(std::move(handle), tbl::media_stack_sort_table, &media_stack_members) {}

version_stack_sort::version_stack_sort(connection_handle handle)
    : stack_sort(std::move(handle), tbl::version_stack_sort_table, &version_stack_members) {}

}  // namespace vael
