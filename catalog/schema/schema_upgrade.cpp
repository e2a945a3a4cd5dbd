#include "catalog/schema/schema_upgrade.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "catalog/schema/catalog_schema.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_v7.h"
#include "catalog/schema/schema_v8.h"
#include "dbl/query.h"
#include "dbl/transaction.h"

namespace vael::schema {

namespace {

std::runtime_error conversion_failed() {
  return std::runtime_error("conversion failed");
}

std::int32_t stored_version(dbl::database& db) {
  const std::optional<std::int32_t> version = read_schema_version(db);
  if (!version.has_value()) throw conversion_failed();
  return *version;
}

void run(dbl::database& db, const std::string& sql) {
  dbl::query(db, sql).execute();
}

void set_version(dbl::database& db, std::int32_t version) {
  dbl::query q(db, "UPDATE version_table SET version_number = :new_version");
  q.bind(":new_version", dbl::entry_data(version));
  q.execute();
}

// Since SQLite 3.26 a table rename also rewrites the FOREIGN KEY clauses of every table that
// refers to it. The upgrade renames a table only to copy it into a new one of the same name
// and drop it, so the references must keep the old name: the legacy rename leaves them alone.
// With foreign key enforcement on even the legacy rename rewrites them, and the setting cannot
// change inside a transaction, so that case is refused. Restores the previous setting on the
// way out.
class legacy_rename_scope {
 public:
  explicit legacy_rename_scope(dbl::database db) : db_(std::move(db)) {
    dbl::query enforced(db_, "PRAGMA foreign_keys");
    enforced.add_column("foreign_keys", typeid(int));
    if (enforced.first_row()[0].as_int() != 0) {
      throw std::logic_error("A catalog cannot be upgraded while foreign keys are enforced.");
    }
    dbl::query q(db_, "PRAGMA legacy_alter_table");
    q.add_column("legacy_alter_table", typeid(int));
    previous_ = q.first_row()[0].as_int() != 0;
    run(db_, "PRAGMA legacy_alter_table = ON");
  }
  ~legacy_rename_scope() {
    if (previous_) return;
    try {
      run(db_, "PRAGMA legacy_alter_table = OFF");
    } catch (...) {
      // The connection is failing already; the caller sees that error, not this one.
    }
  }
  legacy_rename_scope(const legacy_rename_scope&) = delete;
  legacy_rename_scope& operator=(const legacy_rename_scope&) = delete;

 private:
  dbl::database db_;
  bool previous_ = false;
};

// Moves the rows of a version 7 table into its version 8 shape under the same name.
void rebuild_table(dbl::database& db, const dbl::table_description& old_table,
                   const dbl::table_description& new_table, const std::string& copy_sql,
                   std::int32_t change_id) {
  const std::string old_name = old_table.name() + "_old";
  {
    legacy_rename_scope legacy(db);
    run(db, "ALTER TABLE " + old_table.name() + " RENAME TO " + old_name);
  }
  // The indexes went along with the rename under their own names; free the names.
  for (const auto& index : old_table.indexes()) run(db, "DROP INDEX " + index.first);
  db.create_table(new_table);
  dbl::query copy(db, copy_sql);
  copy.bind(":change_id", dbl::entry_data(change_id));
  copy.execute();
  run(db, "DROP TABLE " + old_name);
}

std::int32_t db_changed_id(dbl::database& db) {
  dbl::query q(db, "SELECT * FROM change_table\nWHERE change_type = :type\n");
  q.set_columns(v7::change_table_description());
  q.bind(":type", dbl::entry_data("db_changed"));
  const auto row = q.begin();
  if (row == q.end()) return 0;
  return (*row)[0].as_int();
}

}  // namespace

void upgrade_to_version_8(dbl::database& db, const upgrade_progress& progress) {
  static_cast<void>(progress);
  {
    const dbl::table_description version_table = v7::version_table_description();
    dbl::transaction t(db);
    t.begin(dbl::strict_policy, true, true);
    if (!db.table_exists(version_table.name())) db.create_table(version_table);
    t.end();
  }
  // An older file is refused by the version 7 check below, with the version error, and a
  // file without a version row gets version 7 there.
  const std::optional<std::int32_t> version = read_schema_version(db);
  if (version.has_value() && *version > v7::schema_version) throw conversion_failed();
  create_schema(db, v7::generation());

  dbl::transaction t(db);
  t.begin(dbl::strict_policy, true, true);
  const std::int32_t change_id = db_changed_id(db);
  rebuild_table(db, v7::media_table_description(), v8::media_table_description(),
                "INSERT INTO media_table SELECT id, :change_id AS change_id, full_filepath, "
                "filepath_search_index, filename_search_index, mime_type, volume_id, "
                "search_date_begin, search_date_end, 0 AS rendition_description_id FROM "
                "media_table_old",
                change_id);
  rebuild_table(db, v7::tag_table_description(), v8::tag_table_description(),
                "INSERT INTO tag_table SELECT id, :change_id AS change_id, name, parent_id, "
                "sibling_index, type_name, media_is_ordered, can_tag_media, can_have_children, "
                "applies_to_all_in_media_stack, applies_to_all_in_version_stack FROM "
                "tag_table_old",
                change_id);
  run(db, "DROP INDEX version_stack_to_media_table_stack_clustered_index");
  run(db, "DROP INDEX media_stack_to_media_table_stack_clustered_index");
  run(db,
      "CREATE INDEX version_stack_to_media_table_stack_clustered_index ON "
      "version_stack_to_media_table(stack_tag_id, media_index, media_id)");
  run(db,
      "CREATE INDEX media_stack_to_media_table_stack_clustered_index ON "
      "media_stack_to_media_table(stack_tag_id, media_index, media_id)");
  set_version(db, v8::schema_version);
  t.end();
}

void upgrade_to_version_9(dbl::database& db) {
  create_schema(db, v8::generation());
  dbl::transaction t(db);
  t.begin(dbl::strict_policy, true, true);
  const dbl::table_description timestamps = db_change_timestamp_table_description();
  if (!db.table_exists(timestamps.name())) db.create_table(timestamps);
  set_version(db, current_schema_version);
  t.end();
}

void upgrade_catalog(dbl::database& db, const upgrade_progress& progress) {
  const std::int32_t version = stored_version(db);
  if (version == current_schema_version) return;
  if (version > current_schema_version) throw conversion_failed();
  if (version < v8::schema_version) upgrade_to_version_8(db, progress);
  if (stored_version(db) != v8::schema_version) throw conversion_failed();
  upgrade_to_version_9(db);
}

void open_catalog_schema(dbl::database& db, const upgrade_progress& progress) {
  if (read_schema_version(db).has_value()) upgrade_catalog(db, progress);
  create_catalog_schema(db);
}

}  // namespace vael::schema
