#include "catalog/change_tracker.h"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <optional>

#include "catalog/internal_connection.h"
#include "catalog/schema/schema_names.h"
#include "dbl/query.h"
#include "dbl/record.h"
#include "dbl/temporary_table.h"

namespace vael {
namespace {

namespace names = schema::column;

// The counter row, read to its end so that no statement stays open on change_table.
std::optional<dbl::entry_data_vector> counter_row(dbl::database& db) {
  dbl::query q(db, "SELECT * FROM change_table\nWHERE change_type = :type\n");
  q.set_columns(db.get_table(schema::table::change_table));
  q.bind(":type", dbl::entry_data(schema::db_changed_change_type));
  const auto row = q.begin();
  if (row == q.end()) return std::nullopt;
  return *row;
}

void stamp(dbl::database& db, const char* table, const std::vector<int>& ids, int new_id) {
  if (ids.empty()) return;
  dbl::temporary_id_set set(db);
  set.add(ids);
  dbl::query update(db, std::string("UPDATE ") + table + " SET change_id = :new_id WHERE id IN " +
                            set.table_name());
  update.bind(":new_id", dbl::entry_data(new_id));
  update.execute();
}

void prune(dbl::database& db, int new_id, int history) {
  const int match_id = new_id - (history + history / 10);
  if (match_id <= 0) return;
  dbl::query match(db,
                   "SELECT change_id FROM db_change_timestamp_table WHERE change_id = :match_id");
  match.bind(":match_id", dbl::entry_data(match_id));
  if (match.select_ints().empty()) return;
  dbl::query remove(db, "DELETE FROM db_change_timestamp_table WHERE change_id < :lowest_id");
  remove.bind(":lowest_id", dbl::entry_data(new_id - history));
  remove.execute();
}

}  // namespace

int change_tracker::read_current(dbl::database& db) {
  const std::optional<dbl::entry_data_vector> row = counter_row(db);
  if (!row) return 0;
  const int position = db.get_table(schema::table::change_table).column_position(names::change_id);
  return (*row)[static_cast<std::size_t>(position)].as_int();
}

void change_tracker::refresh(const connection_handle& handle) {
  internal_connection& c = get_connection(handle);
  const int stored = read_current(c.database());
  if (stored == current_change_id_) return;
  db_changed_ = true;
  current_change_id_ = stored;
  c.clear_caches();
}

void change_tracker::record_change(const connection_handle& handle,
                                   const std::vector<int>& media_ids,
                                   const std::vector<int>& tag_ids) {
  refresh(handle);
  internal_connection& c = get_connection(handle);
  dbl::database& db = c.database();

  const dbl::table_description change_table = db.get_table(schema::table::change_table);
  const std::optional<dbl::entry_data_vector> row = counter_row(db);
  dbl::record counter =
      row ? dbl::record(db, change_table, *row, true) : dbl::record(db, change_table);
  if (!row) {
    counter.set(names::change_type, dbl::entry_data(schema::db_changed_change_type));
    counter.set(names::change_id, dbl::entry_data(0));
  }
  const int new_id = counter.get(names::change_id).as_int() + 1;
  counter.set(names::change_id, dbl::entry_data(new_id));
  counter.save(true);

  dbl::record dated(db, db.get_table(schema::table::db_change_timestamp_table));
  dated.set(names::change_id, dbl::entry_data(new_id));
  // Throws "could not convert calendar time to UTC time" when the clock cannot be read.
  dated.set(names::change_date_time,
            dbl::entry_data(boost::posix_time::second_clock::universal_time()));
  dated.save(true);

  prune(db, new_id, c.max_change_history());
  stamp(db, schema::table::media_table, media_ids, new_id);
  stamp(db, schema::table::tag_table, tag_ids, new_id);
  current_change_id_ = new_id;
}

}  // namespace vael
