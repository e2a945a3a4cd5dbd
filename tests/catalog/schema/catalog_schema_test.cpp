#include "catalog/schema/catalog_schema.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "catalog/schema/schema_v7.h"
#include "catalog/schema/schema_v8.h"

namespace {

using vael::schema::schema_generation;

// One line per column and index: enough to tell two descriptions apart wherever the generated
// SQL or the layer's reference checks would differ.
std::string signature(const dbl::table_description& d) {
  std::string s = d.name() + (d.has_auto_id() ? " auto_id" : "") + "\n";
  for (const dbl::column_description& c : d.columns()) {
    s += "  " + c.name() + " " + c.type().name() + " " + std::to_string(c.width()) + " " +
         std::to_string(c.constraint()) + (c.is_key() ? " key" : "") +
         (c.is_indexed() ? " indexed" : "");
    if (c.has_foreign_key()) {
      s += " -> " + c.foreign_key().table() + "." + c.foreign_key().column().name() + " " +
           std::to_string(c.foreign_key().relation());
    }
    s += "\n";
  }
  for (const auto& [name, columns] : d.indexes()) {
    s += "  index " + name + " (";
    for (const std::string& c : columns) s += c + ",";
    s += ")\n";
  }
  return s;
}

// The signatures of `g` in table order, leaving out the tables named in `skip`.
std::vector<std::string> signatures(const schema_generation& g, std::set<std::string> skip) {
  std::vector<std::string> out;
  for (const dbl::table_description& d : g.tables) {
    if (skip.count(d.name()) == 0) out.push_back(signature(d));
  }
  return out;
}

TEST(CatalogSchemaDescriptions, FrozenVersionsDifferOnlyWhereTheUpgradesSayTheyDo) {
  const schema_generation v9 = vael::schema::current_generation();
  const schema_generation v8 = vael::schema::v8::generation();
  const schema_generation v7 = vael::schema::v7::generation();
  EXPECT_EQ(std::make_pair(v9.version, v8.version), std::make_pair(9, 8));
  EXPECT_EQ(v7.version, 7);
  ASSERT_EQ(v9.tables.size(), 21u);
  EXPECT_EQ(v9.tables.front().name(), "version_table");
  EXPECT_EQ(signatures(v8, {}), signatures(v9, {"db_change_timestamp_table"}));
  EXPECT_EQ(v7.tables.size(), 18u);
  EXPECT_EQ(signatures(v7, {"media_table", "tag_table"}),
            signatures(v9, {"db_change_timestamp_table", "rendition_description_table",
                            "rendition_to_master_table", "media_table", "tag_table"}));

  // The two changed tables: version 9 minus the new columns and their indexes.
  dbl::table_description media7 = vael::schema::v7::media_table_description();
  dbl::table_description media9 = vael::schema::media_table_description();
  EXPECT_EQ(media7.column_position("change_id"), -1);
  EXPECT_EQ(media7.column_position("rendition_description_id"), -1);
  EXPECT_EQ(media7.column_count() + 2, media9.column_count());
  EXPECT_EQ(media7.indexes().count("media_table_change_id_index"), 0u);
  EXPECT_EQ(media7.indexes().size() + 1, media9.indexes().size());
  dbl::table_description tag7 = vael::schema::v7::tag_table_description();
  EXPECT_EQ(tag7.column_position("change_id"), -1);
  EXPECT_EQ(tag7.column_count() + 1, vael::schema::tag_table_description().column_count());
  EXPECT_TRUE(tag7.indexes().empty());
}

}  // namespace
