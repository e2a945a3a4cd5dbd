#include "dbl/database_copy.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "dbl/exceptions.h"
#include "dbl/query.h"
#include "dbl/sql_generation.h"

namespace dbl {

namespace {

const char kAutoIdTable[] = "_dbl_auto_id_table";

void report(const copy_progress_callback& progress, std::int64_t current, int maximum) {
  if (progress && !progress(static_cast<int>(current), maximum)) throw cancel_error();
}

std::int64_t count_rows(const database& db, const std::string& table) {
  query q(db, "SELECT COUNT(*) FROM " + table);
  q.add_column("ignored", typeid(std::int64_t));
  return q.first_row().at(0).as_int64();
}

// The columns of `table` as the copy reads them: timestamps as their stored text, which is
// bound back byte for byte instead of being parsed and written out again.
std::vector<column_description> copy_columns(const table_description& table) {
  std::vector<column_description> columns = table.columns();
  for (column_description& c : columns) {
    if (c.kind() == entry_kind::timestamp) {
      c = column_description(c.name(), typeid(std::string), c.width(), no_constraint,
                             not_in_primary_key, not_indexed);
    }
  }
  return columns;
}

// The target's counter must lie past every id copied, or its next insert would collide.
void rebuild_auto_id(const database& target) {
  std::int64_t largest = 0;
  for (const auto& [name, table] : target.implementer().tables()) {
    if (!table.has_auto_id()) continue;
    query q(target, "SELECT max(id) FROM " + name);
    q.add_column("ignored", typeid(std::int64_t));
    const entry_data max = q.first_row().at(0);
    if (!max.is_null() && max.as_int64() > largest) largest = max.as_int64();
  }
  std::optional<std::int64_t> stored;
  {
    query q(target, "SELECT last_assigned_id FROM _dbl_auto_id_table");
    q.add_column("last_assigned_id", typeid(std::int64_t));
    const auto row = q.begin();
    if (row != q.end()) stored = (*row)[0].as_int64();
  }
  // One id is left unused past the largest; kept so that copies number as they always did.
  const entry_data next(largest + 1);
  if (!stored) {
    if (largest == 0) return;
    query(target, "INSERT INTO _dbl_auto_id_table (last_assigned_id) VALUES (:id)")
        .bind(":id", next)
        .execute();
  } else if (largest > *stored) {
    query(target, "UPDATE _dbl_auto_id_table SET last_assigned_id = :id")
        .bind(":id", next)
        .execute();
  }
}

}  // namespace

void copy_database(const database& source, const database& target,
                   const copy_progress_callback& progress) {
  const auto& source_tables = source.implementer().tables();
  const auto& target_tables = target.implementer().tables();
  for (const auto& [name, table] : source_tables) {
    const auto it = target_tables.find(name);
    if (it == target_tables.end() || it->second.column_count() != table.column_count()) {
      throw std::runtime_error("Can't copy a db if the schemas don't match");
    }
  }

  constexpr int kMaximum = 1000;
  report(progress, 0, kMaximum);
  std::int64_t total = 0;
  std::int64_t number = 0;
  const auto table_count = static_cast<std::int64_t>(target_tables.size());
  for (const auto& [name, table] : target_tables) {
    report(progress, 100 * number++ / table_count, kMaximum);
    total += count_rows(source, name);
    if (name != kAutoIdTable && count_rows(target, name) != 0) {
      throw std::runtime_error("The target database is not empty");
    }
  }

  query(target, "DELETE FROM _dbl_auto_id_table").execute();
  database_implementer& out = target.implementer();
  std::int64_t copied = 0;
  for (const auto& [name, table] : source_tables) {
    if (name == kAutoIdTable) continue;
    const table_description& into = target_tables.at(name);
    query rows(source, "SELECT * FROM " + name);
    rows.set_columns(copy_columns(table));
    for (const entry_data_vector& row : rows) {
      entry_data_vector values = row;
      insert_row(out, into, values, true, nullptr);
      ++copied;
      // Reported on every row but each hundredth: the inverse of a report every hundred rows,
      // and relied on as it is.
      if (copied % 100 != 0) report(progress, 100 + (900 * copied) / total, kMaximum);
    }
  }
  rebuild_auto_id(target);
}

}  // namespace dbl
