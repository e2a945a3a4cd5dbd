#include "catalog/schema/schema_creation.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "catalog/exceptions.h"
#include "catalog/schema/catalog_schema.h"
#include "catalog/schema/schema_upgrade.h"
#include "dbl/sqlite/sqlite_database.h"
#include "tests/catalog/schema/schema_test_support.h"
#include "tests/support/sandbox.h"

namespace {

using vael_schema_test::master_entries;
using vael_test::run;
using vael_test::scalar;

// The CREATE TABLE texts a new catalog must hold, as the generation rules give them.
const std::map<std::string, std::string> kTableSql = {
    {"version_table", "CREATE TABLE version_table (\n\tversion_number INTEGER NOT NULL\n)"},
    {"change_table",
     "CREATE TABLE change_table (\n\tchange_id INTEGER NOT NULL,\n\tchange_type TEXT NOT NULL"
     "\n\t,\tPRIMARY KEY (change_type)\n)"},
    {"db_change_timestamp_table",
     "CREATE TABLE db_change_timestamp_table (\n\tchange_id INTEGER UNIQUE,\n\tchange_date_time "
     "TEXT NOT NULL\n\t,\tPRIMARY KEY (change_id)\n)"},
    {"volume_table",
     "CREATE TABLE volume_table (\n\tid INTEGER UNIQUE,\n\tdescription TEXT NOT NULL,\n\tserial "
     "TEXT UNIQUE,\n\tdrive_path_if_builtin TEXT NOT NULL,\n\ttype TEXT NOT NULL\n\t,\tPRIMARY "
     "KEY (id)\n)"},
    {"rendition_description_table",
     "CREATE TABLE rendition_description_table (\n\tid INTEGER UNIQUE,\n\tidentifier TEXT "
     "UNIQUE\n\t,\tPRIMARY KEY (id)\n)"},
    {"rendition_to_master_table",
     "CREATE TABLE rendition_to_master_table (\n\tid INTEGER UNIQUE,\n\tmaster_id INTEGER NOT "
     "NULL,\n\trendition_id INTEGER UNIQUE\n\t,\tPRIMARY KEY (id, master_id),\n\tFOREIGN KEY "
     "(master_id) REFERENCES media_table(id),\n\tFOREIGN KEY (rendition_id) REFERENCES "
     "media_table(id)\n)"},
    {"media_table",
     "CREATE TABLE media_table (\n\tid INTEGER UNIQUE,\n\tchange_id INTEGER NOT NULL,"
     "\n\tfull_filepath TEXT NOT NULL,\n\tfilepath_search_index TEXT NOT NULL,"
     "\n\tfilename_search_index TEXT NOT NULL,\n\tmime_type TEXT NOT NULL,\n\tvolume_id INTEGER "
     "NOT NULL,\n\tsearch_date_begin TEXT NOT NULL,\n\tsearch_date_end TEXT NOT NULL,"
     "\n\trendition_description_id INTEGER NOT NULL\n\t,\tPRIMARY KEY (id),\n\tFOREIGN KEY "
     "(volume_id) REFERENCES volume_table(id),\n\tFOREIGN KEY (rendition_description_id) "
     "REFERENCES rendition_description_table(id)\n)"},
    {"tag_table",
     "CREATE TABLE tag_table (\n\tid INTEGER UNIQUE,\n\tchange_id INTEGER NOT NULL,\n\tname "
     "TEXT,\n\tparent_id INTEGER NOT NULL,\n\tsibling_index INTEGER NOT NULL,\n\ttype_name TEXT,"
     "\n\tmedia_is_ordered INTEGER NOT NULL,\n\tcan_tag_media INTEGER NOT NULL,"
     "\n\tcan_have_children INTEGER NOT NULL,\n\tapplies_to_all_in_media_stack INTEGER NOT NULL,"
     "\n\tapplies_to_all_in_version_stack INTEGER NOT NULL\n\t,\tPRIMARY KEY (id)\n)"},
    {"tag_to_media_table",
     "CREATE TABLE tag_to_media_table (\n\tmedia_id INTEGER NOT NULL,\n\ttag_id INTEGER NOT "
     "NULL,\n\tmedia_index INTEGER NOT NULL\n\t,\tPRIMARY KEY (media_id, tag_id),\n\tFOREIGN KEY "
     "(media_id) REFERENCES media_table(id),\n\tFOREIGN KEY (tag_id) REFERENCES tag_table(id)\n)"},
    {"media_stack_to_media_table",
     "CREATE TABLE media_stack_to_media_table (\n\tstack_tag_id INTEGER NOT NULL,\n\tmedia_id "
     "INTEGER NOT NULL,\n\tmedia_index INTEGER NOT NULL\n\t,\tPRIMARY KEY (stack_tag_id, "
     "media_id),\n\tFOREIGN KEY (stack_tag_id) REFERENCES tag_table(id),\n\tFOREIGN KEY "
     "(media_id) REFERENCES media_table(id)\n)"},
    {"version_stack_to_media_table",
     "CREATE TABLE version_stack_to_media_table (\n\tstack_tag_id INTEGER NOT NULL,\n\tmedia_id "
     "INTEGER NOT NULL,\n\tmedia_index INTEGER NOT NULL,\n\tparent_id INTEGER NOT NULL\n\t,"
     "\tPRIMARY KEY (stack_tag_id, media_id),\n\tFOREIGN KEY (stack_tag_id) REFERENCES "
     "tag_table(id),\n\tFOREIGN KEY (media_id) REFERENCES media_table(id)\n)"},
    {"media_stack_sort_table",
     "CREATE TABLE media_stack_sort_table (\n\tmedia_id INTEGER UNIQUE,\n\tsearch_date_begin "
     "TEXT NOT NULL,\n\tsearch_date_end TEXT NOT NULL\n\t,\tPRIMARY KEY (media_id),\n\tFOREIGN "
     "KEY (media_id) REFERENCES media_table(id)\n)"},
    {"version_stack_sort_table",
     "CREATE TABLE version_stack_sort_table (\n\tmedia_id INTEGER UNIQUE,\n\tsearch_date_begin "
     "TEXT NOT NULL,\n\tsearch_date_end TEXT NOT NULL\n\t,\tPRIMARY KEY (media_id),\n\tFOREIGN "
     "KEY (media_id) REFERENCES media_table(id)\n)"},
    {"metadata_description_table",
     "CREATE TABLE metadata_description_table (\n\tid INTEGER UNIQUE,\n\tidentifier TEXT NOT "
     "NULL,\n\tdata_type TEXT NOT NULL,\n\tassociation_type TEXT NOT NULL,"
     "\n\tcan_have_multiple_items INTEGER NOT NULL\n\t,\tPRIMARY KEY (id)\n)"},
    {"metadata_string_table",
     "CREATE TABLE metadata_string_table (\n\tid INTEGER UNIQUE,\n\tdescription_id INTEGER NOT "
     "NULL,\n\tvalue TEXT NOT NULL\n\t,\tPRIMARY KEY (id),\n\tFOREIGN KEY (description_id) "
     "REFERENCES metadata_description_table(id)\n)"},
    {"metadata_integer_table",
     "CREATE TABLE metadata_integer_table (\n\tid INTEGER UNIQUE,\n\tdescription_id INTEGER NOT "
     "NULL,\n\tvalue INTEGER NOT NULL\n\t,\tPRIMARY KEY (id),\n\tFOREIGN KEY (description_id) "
     "REFERENCES metadata_description_table(id)\n)"},
    {"metadata_decimal_table",
     "CREATE TABLE metadata_decimal_table (\n\tid INTEGER UNIQUE,\n\tdescription_id INTEGER NOT "
     "NULL,\n\tvalue NUMERIC NOT NULL\n\t,\tPRIMARY KEY (id),\n\tFOREIGN KEY (description_id) "
     "REFERENCES metadata_description_table(id)\n)"},
    {"metadata_date_time_table",
     "CREATE TABLE metadata_date_time_table (\n\tid INTEGER UNIQUE,\n\tdescription_id INTEGER "
     "NOT NULL,\n\tvalue TEXT NOT NULL\n\t,\tPRIMARY KEY (id),\n\tFOREIGN KEY (description_id) "
     "REFERENCES metadata_description_table(id)\n)"},
    {"metadata_blob_table",
     "CREATE TABLE metadata_blob_table (\n\tid INTEGER UNIQUE,\n\tdescription_id INTEGER NOT "
     "NULL,\n\tvalue BLOB NOT NULL\n\t,\tPRIMARY KEY (id),\n\tFOREIGN KEY (description_id) "
     "REFERENCES metadata_description_table(id)\n)"},
    {"media_to_metadata_table",
     "CREATE TABLE media_to_metadata_table (\n\tmedia_id INTEGER NOT NULL,\n\tmetadata_id "
     "INTEGER NOT NULL\n\t,\tPRIMARY KEY (media_id, metadata_id),\n\tFOREIGN KEY (media_id) "
     "REFERENCES media_table(id)\n)"},
    {"tag_to_metadata_table",
     "CREATE TABLE tag_to_metadata_table (\n\ttag_id INTEGER NOT NULL,\n\tmetadata_id INTEGER "
     "NOT NULL\n\t,\tPRIMARY KEY (tag_id, metadata_id),\n\tFOREIGN KEY (tag_id) REFERENCES "
     "tag_table(id)\n)"},
    {"_dbl_auto_id_table",
     "CREATE TABLE _dbl_auto_id_table (\n\tlast_assigned_id INTEGER UNIQUE\n\t,\tPRIMARY KEY "
     "(last_assigned_id)\n)"},
};

// The named indexes, "<name> (<columns>)" on the table before the colon.
const std::map<std::string, std::string> kIndexColumns = {
    {"rendition_to_master_table_rendition_clustered_index",
     "rendition_to_master_table(rendition_id, master_id)"},
    {"rendition_to_master_table_master_clustered_index",
     "rendition_to_master_table(master_id, rendition_id)"},
    {"media_table_change_id_index", "media_table(change_id, id)"},
    {"media_table_filepath_index", "media_table(filepath_search_index, filename_search_index, id)"},
    {"media_table_filename_index", "media_table(filename_search_index, id)"},
    {"media_table_volume_index", "media_table(volume_id, id)"},
    {"media_table_search_date_begin_index", "media_table(search_date_begin, id)"},
    {"media_table_search_date_end_index", "media_table(search_date_end, id)"},
    {"media_table_mimetype_index", "media_table(mime_type, id)"},
    {"tag_table_change_id_index", "tag_table(change_id, id)"},
    {"tag_table_parent_sibling_index", "tag_table(parent_id, sibling_index, id)"},
    {"tag_to_media_table_tag_clustered_index", "tag_to_media_table(tag_id, media_id, media_index)"},
    {"tag_to_media_table_media_clustered_index", "tag_to_media_table(media_id, tag_id)"},
    {"media_stack_to_media_table_media_clustered_index",
     "media_stack_to_media_table(media_id, stack_tag_id)"},
    {"media_stack_to_media_table_stack_clustered_index",
     "media_stack_to_media_table(stack_tag_id, media_index, media_id)"},
    {"version_stack_to_media_table_media_clustered_index",
     "version_stack_to_media_table(media_id, stack_tag_id)"},
    {"version_stack_to_media_table_stack_clustered_index",
     "version_stack_to_media_table(stack_tag_id, media_index, media_id)"},
    {"media_stack_sort_table_begin_index", "media_stack_sort_table(search_date_begin, media_id)"},
    {"media_stack_sort_table_end_index", "media_stack_sort_table(search_date_end, media_id)"},
    {"version_stack_sort_table_begin_index",
     "version_stack_sort_table(search_date_begin, media_id)"},
    {"version_stack_sort_table_end_index", "version_stack_sort_table(search_date_end, media_id)"},
    {"metadata_string_table_value_index", "metadata_string_table(description_id, value, id)"},
    {"metadata_integer_table_value_index", "metadata_integer_table(description_id, value, id)"},
    {"metadata_decimal_table_index", "metadata_decimal_table(description_id, value, id)"},
    {"metadata_date_time_table_index", "metadata_date_time_table(description_id, value, id)"},
    {"metadata_blob_table_index", "metadata_blob_table(description_id, id)"},
    {"media_to_metadata_table_media_clustered_index",
     "media_to_metadata_table(media_id, metadata_id)"},
    {"media_to_metadata_table_metadata_clustered_index",
     "media_to_metadata_table(metadata_id, media_id)"},
    {"tag_to_metadata_table_tag_clustered_index", "tag_to_metadata_table(tag_id, metadata_id)"},
    {"tag_to_metadata_table_metadata_clustered_index",
     "tag_to_metadata_table(metadata_id, tag_id)"},
};

class SchemaCreationTest : public ::testing::Test {
 protected:
  std::string file() const { return box_.path("catalog.omb14db"); }
  vantor_test::sandbox box_;
};

TEST_F(SchemaCreationTest, NewCatalogHoldsExactlyTheGeneratedSchema) {
  dbl::sqlite_database db(file());
  vael::schema::create_catalog_schema(db);

  std::map<std::string, std::string> tables;
  std::map<std::string, std::string> indexes;
  for (const auto& [type, name, table, sql] : master_entries(db)) {
    if (type == "table") tables[name] = sql;
    // Automatic indexes of UNIQUE and PRIMARY KEY carry no SQL and follow from the tables.
    if (type == "index" && !sql.empty()) indexes[name] = sql;
  }
  EXPECT_EQ(tables.size(), kTableSql.size());
  for (const auto& [name, sql] : kTableSql) EXPECT_EQ(tables[name], sql) << name;
  EXPECT_EQ(indexes.size(), kIndexColumns.size());
  for (const auto& [name, on] : kIndexColumns) {
    EXPECT_EQ(indexes[name], "CREATE INDEX " + name + " ON " + on) << name;
  }

  EXPECT_EQ(scalar(db, "SELECT count(*) FROM version_table"), 1);
  EXPECT_EQ(vael::schema::read_schema_version(db), 9);
  EXPECT_EQ(vael_test::text(db, "SELECT identifier FROM rendition_description_table WHERE id = 0"),
            "vael_master_rendition");
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM rendition_description_table"), 1);
  EXPECT_EQ(db.get_table("media_table").column_count(), 10u);
}

TEST_F(SchemaCreationTest, CurrentCatalogIsRegisteredWithoutAWriteAndPartialOneRepaired) {
  {
    dbl::sqlite_database db(file());
    vael::schema::create_catalog_schema(db);
  }
  const std::string before = vantor_test::read_file(file());
  {
    dbl::sqlite_database db(file());
    vael::schema::open_catalog_schema(db, nullptr);
    EXPECT_NO_THROW(db.get_table("tag_to_metadata_table"));
  }
  EXPECT_EQ(vantor_test::read_file(file()), before) << "opening a current catalog wrote to it";

  dbl::sqlite_database db(file());
  const auto whole = master_entries(db);
  run(db, "DROP TABLE tag_to_metadata_table");
  run(db, "DROP TABLE metadata_blob_table");
  run(db, "DELETE FROM rendition_description_table");
  vael::schema::create_catalog_schema(db);
  const auto repaired = master_entries(db);
  EXPECT_TRUE(repaired == whole) << vael_schema_test::difference(repaired, whole);
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM rendition_description_table WHERE id = 0"), 1);
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM version_table"), 1);
}

TEST_F(SchemaCreationTest, OtherVersionIsRefusedAndNothingIsCreated) {
  dbl::sqlite_database db(file());
  run(db, "CREATE TABLE version_table (\n\tversion_number INTEGER NOT NULL\n)");
  run(db, "INSERT INTO version_table VALUES (8)");
  EXPECT_EQ(vael_test::message_of<vael::database_version_error>(
                [&] { vael::schema::create_catalog_schema(db); }),
            "The database is not the current version, and cannot be opened");
  EXPECT_FALSE(db.in_transaction());
  EXPECT_EQ(master_entries(db).size(), 1u);
}

}  // namespace
