#include "catalog/schema/schema_creation.h"

#include <map>

#include "tests/catalog/schema/schema_test_support.h"

namespace {

using vael_schema_test::master_entries;
using vael_test::run;
using vael_test::scalar;

const std::string kId = "id INTEGER UNIQUE,\n\t";
const std::string kIdKey = "\n\t,\tPRIMARY KEY (id)";
std::string references(const std::string& column, const std::string& table) {
  return ",\n\tFOREIGN KEY (" + column + ") REFERENCES " + table + "(id)";
}

// Each new table's text between "CREATE TABLE <name> (\n\t" and "\n)"; tables of one shape
// are filled in by the loops of expected_tables().
std::map<std::string, std::string> expected_tables() {
  std::map<std::string, std::string> t = {
      {"version_table", "version_number INTEGER NOT NULL"},
      {"change_table",
       "change_id INTEGER NOT NULL,\n\tchange_type TEXT NOT NULL\n\t,\tPRIMARY KEY (change_type)"},
      {"db_change_timestamp_table",
       "change_id INTEGER UNIQUE,\n\tchange_date_time TEXT NOT NULL\n\t,\tPRIMARY KEY (change_id)"},
      {"volume_table", kId +
                           "description TEXT NOT NULL,\n\tserial TEXT UNIQUE,\n\t"
                           "drive_path_if_builtin TEXT NOT NULL,\n\ttype TEXT NOT NULL" +
                           kIdKey},
      {"rendition_description_table", kId + "identifier TEXT UNIQUE" + kIdKey},
      {"rendition_to_master_table",
       kId +
           "master_id INTEGER NOT NULL,\n\trendition_id INTEGER UNIQUE\n\t,\tPRIMARY KEY (id, "
           "master_id)" +
           references("master_id", "media_table") + references("rendition_id", "media_table")},
      {"media_table",
       kId +
           "change_id INTEGER NOT NULL,\n\tfull_filepath TEXT NOT NULL,\n\tfilepath_search_index "
           "TEXT NOT NULL,\n\tfilename_search_index TEXT NOT NULL,\n\tmime_type TEXT NOT NULL,"
           "\n\tvolume_id INTEGER NOT NULL,\n\tsearch_date_begin TEXT NOT NULL,\n\t"
           "search_date_end TEXT NOT NULL,\n\trendition_description_id INTEGER NOT NULL" +
           kIdKey + references("volume_id", "volume_table") +
           references("rendition_description_id", "rendition_description_table")},
      {"tag_table",
       kId +
           "change_id INTEGER NOT NULL,\n\tname TEXT,\n\tparent_id INTEGER NOT NULL,\n\t"
           "sibling_index INTEGER NOT NULL,\n\ttype_name TEXT,\n\tmedia_is_ordered INTEGER NOT "
           "NULL,\n\tcan_tag_media INTEGER NOT NULL,\n\tcan_have_children INTEGER NOT NULL,\n\t"
           "applies_to_all_in_media_stack INTEGER NOT NULL,\n\t"
           "applies_to_all_in_version_stack INTEGER NOT NULL" +
           kIdKey},
      {"tag_to_media_table",
       "media_id INTEGER NOT NULL,\n\ttag_id INTEGER NOT NULL,\n\tmedia_index INTEGER NOT NULL\n\t,"
       "\tPRIMARY KEY (media_id, tag_id)" +
           references("media_id", "media_table") + references("tag_id", "tag_table")},
      {"metadata_description_table",
       kId +
           "identifier TEXT NOT NULL,\n\tdata_type TEXT NOT NULL,\n\tassociation_type TEXT NOT "
           "NULL,\n\tcan_have_multiple_items INTEGER NOT NULL" +
           kIdKey},
      {"_dbl_auto_id_table",
       "last_assigned_id INTEGER UNIQUE\n\t,\tPRIMARY KEY (last_assigned_id)"},
  };
  for (const std::string kind : {"media", "version"}) {
    t[kind + "_stack_to_media_table"] =
        "stack_tag_id INTEGER NOT NULL,\n\tmedia_id INTEGER NOT NULL,\n\tmedia_index INTEGER NOT "
        "NULL" +
        std::string(kind == "version" ? ",\n\tparent_id INTEGER NOT NULL" : "") +
        "\n\t,\tPRIMARY KEY (stack_tag_id, media_id)" + references("stack_tag_id", "tag_table") +
        references("media_id", "media_table");
    t[kind + "_stack_sort_table"] =
        "media_id INTEGER UNIQUE,\n\tsearch_date_begin TEXT NOT NULL,\n\tsearch_date_end TEXT NOT "
        "NULL\n\t,\tPRIMARY KEY (media_id)" +
        references("media_id", "media_table");
  }
  for (const auto& [kind, type] : std::map<std::string, std::string>{{"string", "TEXT"},
                                                                     {"integer", "INTEGER"},
                                                                     {"decimal", "NUMERIC"},
                                                                     {"date_time", "TEXT"},
                                                                     {"blob", "BLOB"}}) {
    t["metadata_" + kind + "_table"] = kId + "description_id INTEGER NOT NULL,\n\tvalue " + type +
                                       " NOT NULL" + kIdKey +
                                       references("description_id", "metadata_description_table");
  }
  for (const std::string owner : {"media", "tag"}) {
    t[owner + "_to_metadata_table"] = owner + "_id INTEGER NOT NULL,\n\tmetadata_id INTEGER NOT " +
                                      "NULL\n\t,\tPRIMARY KEY (" + owner + "_id, metadata_id)" +
                                      references(owner + "_id", owner + "_table");
  }
  return t;
}

// The named indexes as "<table>(<columns>)"; the pairs of one shape come from the loops.
std::map<std::string, std::string> expected_indexes() {
  std::map<std::string, std::string> i = {
      {"rendition_to_master_table_rendition_clustered_index",
       "rendition_to_master_table(rendition_id, master_id)"},
      {"rendition_to_master_table_master_clustered_index",
       "rendition_to_master_table(master_id, rendition_id)"},
      {"media_table_change_id_index", "media_table(change_id, id)"},
      {"media_table_filepath_index",
       "media_table(filepath_search_index, filename_search_index, id)"},
      {"media_table_filename_index", "media_table(filename_search_index, id)"},
      {"media_table_volume_index", "media_table(volume_id, id)"},
      {"media_table_search_date_begin_index", "media_table(search_date_begin, id)"},
      {"media_table_search_date_end_index", "media_table(search_date_end, id)"},
      {"media_table_mimetype_index", "media_table(mime_type, id)"},
      {"tag_table_change_id_index", "tag_table(change_id, id)"},
      {"tag_table_parent_sibling_index", "tag_table(parent_id, sibling_index, id)"},
      {"tag_to_media_table_tag_clustered_index",
       "tag_to_media_table(tag_id, media_id, media_index)"},
      {"tag_to_media_table_media_clustered_index", "tag_to_media_table(media_id, tag_id)"},
      {"metadata_string_table_value_index", "metadata_string_table(description_id, value, id)"},
      {"metadata_integer_table_value_index", "metadata_integer_table(description_id, value, id)"},
      {"metadata_decimal_table_index", "metadata_decimal_table(description_id, value, id)"},
      {"metadata_date_time_table_index", "metadata_date_time_table(description_id, value, id)"},
      {"metadata_blob_table_index", "metadata_blob_table(description_id, id)"},
  };
  for (const std::string kind : {"media", "version"}) {
    const std::string members = kind + "_stack_to_media_table", sort = kind + "_stack_sort_table";
    i[members + "_media_clustered_index"] = members + "(media_id, stack_tag_id)";
    i[members + "_stack_clustered_index"] = members + "(stack_tag_id, media_index, media_id)";
    i[sort + "_begin_index"] = sort + "(search_date_begin, media_id)";
    i[sort + "_end_index"] = sort + "(search_date_end, media_id)";
  }
  for (const std::string owner : {"media", "tag"}) {
    const std::string table = owner + "_to_metadata_table";
    i[table + "_" + owner + "_clustered_index"] = table + "(" + owner + "_id, metadata_id)";
    i[table + "_metadata_clustered_index"] = table + "(metadata_id, " + owner + "_id)";
  }
  return i;
}

class SchemaCreationTest : public ::testing::Test {
 protected:
  std::string file() const { return box_.path("catalog.omb14db"); }
  vantor_test::sandbox box_;
};

TEST_F(SchemaCreationTest, NewCatalogHoldsExactlyTheGeneratedSchema) {
  dbl::sqlite_database db(file());
  vael::schema::create_catalog_schema(db);
  std::map<std::string, std::string> tables, indexes;
  for (const auto& [type, name, table, sql] : master_entries(db)) {
    if (type == "table") tables[name] = sql;
    // Automatic indexes of UNIQUE and PRIMARY KEY carry no SQL and follow from the tables.
    if (type == "index" && !sql.empty()) indexes[name] = sql;
  }
  const auto want_tables = expected_tables();
  const auto want_indexes = expected_indexes();
  EXPECT_EQ(tables.size(), 21u + 1);
  EXPECT_EQ(want_tables.size(), tables.size());
  for (const auto& [name, body] : want_tables) {
    EXPECT_EQ(tables[name], "CREATE TABLE " + name + " (\n\t" + body + "\n)") << name;
  }
  EXPECT_EQ(indexes.size(), want_indexes.size());
  for (const auto& [name, on] : want_indexes) {
    EXPECT_EQ(indexes[name], "CREATE INDEX " + name + " ON " + on) << name;
  }
  EXPECT_EQ(vael::schema::read_schema_version(db), 9);
  EXPECT_EQ(vael_test::text(db, "SELECT identifier FROM rendition_description_table WHERE id = 0"),
            "vael_master_rendition");
  EXPECT_EQ(scalar(db, "SELECT count(*) FROM rendition_description_table"), 1);
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
  EXPECT_EQ(master_entries(db), whole);
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
