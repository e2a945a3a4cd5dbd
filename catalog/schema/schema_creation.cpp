#include "catalog/schema/schema_creation.h"

#include <cstdint>
#include <optional>

#include "catalog/schema/catalog_schema.h"
#include "catalog/schema/schema_errors.h"
#include "catalog/schema/schema_names.h"
#include "dbl/query.h"
#include "dbl/sql_generation.h"
#include "dbl/transaction.h"

namespace vael::schema {

namespace {

const char select_version_sql[] = "SELECT version_number FROM version_table";

void version_step(dbl::database& db, const dbl::table_description& version_table,
                  std::int32_t version) {
  dbl::query q(db, select_version_sql);
  q.add_column("ignored", typeid(int));
  const auto row = q.begin();
  if (row == q.end()) {
    dbl::entry_data_vector values{dbl::entry_data(version)};
    dbl::insert_row(db.implementer(), version_table, values, true, nullptr);
    return;
  }
  if ((*row)[0].is_null() || (*row)[0].as_int() != version) throw database_version_error();
}

void default_rendition_step(dbl::database& db) {
  dbl::query existing(db, "SELECT id FROM rendition_description_table WHERE id = 0");
  existing.add_column("ignored", typeid(int));
  if (existing.begin() != existing.end()) return;
  dbl::query insert(db, "INSERT INTO rendition_description_table VALUES (0, :identifier)");
  insert.bind(":identifier", dbl::entry_data(master_rendition_identifier));
  insert.execute();
}

}  // namespace

std::optional<std::int32_t> read_schema_version(dbl::database& db) {
  if (!db.table_exists(table::version_table)) return std::nullopt;
  dbl::query q(db, select_version_sql);
  q.add_column("ignored", typeid(int));
  const auto row = q.begin();
  if (row == q.end() || (*row)[0].is_null()) return std::nullopt;
  return (*row)[0].as_int();
}

void create_schema(dbl::database& db, const schema_generation& generation) {
  dbl::transaction t(db);
  t.begin(dbl::strict_policy, true, true);
  for (const dbl::table_description& table : generation.tables) {
    if (db.table_exists(table.name())) {
      db.register_table(table);
    } else {
      db.create_table(table);
    }
    if (&table == &generation.tables.front()) {
      version_step(db, table, generation.version);
    } else if (table.name() == table::rendition_description_table) {
      default_rendition_step(db);
    }
  }
  t.end();
}

void create_catalog_schema(dbl::database& db) {
  create_schema(db, current_generation());
}

}  // namespace vael::schema
