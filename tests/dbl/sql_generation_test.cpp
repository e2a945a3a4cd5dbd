#include "dbl/sql_generation.h"

#include <gtest/gtest.h>

#include <boost/algorithm/string/join.hpp>

#include "tests/dbl/dbl_test_util.h"

namespace dbl {
namespace {

using dbl_test::message_of;
using dbl_test::plain_column;

using SqlGeneration = dbl_test::tag_db_test;

TEST_F(SqlGeneration, Texts) {
  database_implementer& impl = db_.implementer();
  const table_description& tags = tags_;
  transaction t(db_);
  t.begin();
  entry_data_vector fresh{entry_data(), "a", entry_data(), 0, blob{1}, entry_data()};
  const generated_sql insert = insert_sql(impl, tags, fresh, false);
  EXPECT_EQ(fresh[0], entry_data(1));
  EXPECT_TRUE(fresh[2].is_null()) << "a foreign key to an auto id never takes a new id";
  EXPECT_EQ(insert.params.size(), 4u);
  entry_data_vector kept = fresh;
  const generated_sql insert_kept = insert_sql(impl, tags, kept, true);
  // Insert texts are kept per table and set of bound cells; a new column must not reuse one.
  // The widened copy must leave `tags` as it was for the texts below.
  entry_data_vector other = fresh;
  other[4] = entry_data();
  const generated_sql insert_other = insert_sql(impl, tags, other, true);
  table_description wider = tags;
  wider.add_column(plain_column("extra", typeid(int)));
  wider.add_clustered_index("extra_index", {"extra"});
  entry_data_vector wide_row = fresh;
  wide_row.push_back(entry_data());
  const generated_sql insert_wider = insert_sql(impl, wider, wide_row, true);

  const entry_data_vector old_row{7, "a", entry_data(), 0, blob{}, entry_data()};
  entry_data_vector new_row = old_row;
  new_row[1] = "b";
  new_row[2] = 3;
  entry_data_vector to_null = old_row;
  to_null[1] = entry_data();
  entry_data_vector scratch = old_row;

  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"create", create_table_sql(impl, tags, false),
       "CREATE TABLE tag_table (\n\tid INTEGER UNIQUE,\n\tname TEXT NOT NULL,\n\tparent_id "
       "INTEGER,\n\tflag INTEGER NOT NULL,\n\tdata BLOB,\n\twhen_done TEXT\n\t,\tPRIMARY KEY "
       "(id),\n\tFOREIGN KEY (parent_id) REFERENCES tag_table(id)\n)"},
      {"create temporary", create_table_sql(impl, tags, true),
       "CREATE TEMPORARY TABLE tag_table (\n\tid INTEGER UNIQUE,\n\tname TEXT NOT "
       "NULL,\n\tparent_id INTEGER,\n\tflag INTEGER NOT NULL,\n\tdata BLOB,\n\twhen_done "
       "TEXT\n\t,\tPRIMARY KEY (id)\n)"},
      {"indexes", boost::algorithm::join(create_index_sqls(tags), ";"),
       "CREATE INDEX index_tag_table_name ON tag_table(name);CREATE INDEX "
       "index_tag_table_parent_id ON tag_table(parent_id);CREATE INDEX tag_name_parent ON "
       "tag_table(name, parent_id)"},
      {"insert", insert.text,
       "INSERT INTO tag_table\n\t(id, name, parent_id, flag, data, when_done)\n\tVALUES (? , ? "
       ", NULL , ? , ? , NULL )\n"},
      {"insert keeping ids", insert_kept.text, insert.text},
      {"insert, other cells bound", insert_other.text,
       "INSERT INTO tag_table\n\t(id, name, parent_id, flag, data, when_done)\n\tVALUES (? , ? "
       ", NULL , ? , NULL , NULL )\n"},
      {"insert after a new column", insert_wider.text,
       "INSERT INTO tag_table\n\t(id, name, parent_id, flag, data, when_done, extra)\n\tVALUES "
       "(? , ? , NULL , ? , ? , NULL , NULL )\n"},
      {"select current", select_current_sql(tags, old_row).text,
       "SELECT * FROM tag_table\nWHERE id = ?"},
      {"update merge",
       (scratch = old_row, update_sql(tags, new_row, scratch, nullptr, merge_policy).text),
       "UPDATE tag_table\nSET name = ?, parent_id = ?\nWHERE id = ?"},
      {"update strict",
       (scratch = old_row, update_sql(tags, new_row, scratch, nullptr, strict_policy).text),
       "UPDATE tag_table\nSET name = ?, parent_id = ?\nWHERE id = ? AND name = ? AND parent_id "
       "IS NULL"},
      {"update to null",
       (scratch = old_row, update_sql(tags, to_null, scratch, nullptr, strict_policy).text),
       "UPDATE tag_table\nSET name = NULL\nWHERE id = ? AND name = ?"},
      {"update unchanged",
       (scratch = old_row, update_sql(tags, old_row, scratch, nullptr, strict_policy).text), ""},
      {"delete merge", delete_sql(tags, old_row, merge_policy).text,
       "DELETE FROM tag_table\nWHERE id = ?"},
      {"delete strict", delete_sql(tags, old_row, strict_policy).text,
       "DELETE FROM tag_table\nWHERE id = ? AND name = ? AND parent_id IS NULL AND flag = ? AND "
       "data = ? AND when_done IS NULL"},
      {"load by id", load_by_id_sql("tag_table"),
       "SELECT * FROM tag_table WHERE id = :auto_id LIMIT 1"},
      {"referrers", referrers_sql("tag_table", "parent_id"),
       "SELECT * FROM tag_table WHERE parent_id = ?"},
      {"fixed word", impl.column_type_word(plain_column("c", typeid(fixed_string), 8)), "CHAR(8)"},
      {"double word", impl.column_type_word(plain_column("c", typeid(double))), "NUMERIC"},
  };
  for (const auto& [name, actual, expected] : cases) EXPECT_EQ(actual, expected) << name;

  // Parameters: SET values first, then WHERE values; the merge refresh takes current cells.
  scratch = old_row;
  entry_data_vector current = old_row;
  current[1] = "other writer";
  const generated_sql strict = update_sql(tags, new_row, scratch, &current, strict_policy);
  EXPECT_EQ(strict.params, (entry_data_vector{"b", 3, 7, "a"}));
  const generated_sql merge = update_sql(tags, new_row, scratch, &current, merge_policy);
  EXPECT_EQ(scratch[1], entry_data("other writer"));
  EXPECT_EQ(merge.params.size(), 3u);

  EXPECT_EQ(message_of<std::logic_error>([&] {
              entry_data_vector short_row(2);
              insert_sql(impl, tags, short_row, false);
            }),
            "The insert statement couldn't be generated because the column data was invalid.");
  EXPECT_EQ(message_of<std::logic_error>(
                [&] { update_sql(tags, entry_data_vector(2), scratch, nullptr, merge_policy); }),
            "The update statement couldn't be generated because the column data was invalid.");
  EXPECT_EQ(
      message_of<std::logic_error>([&] { delete_sql(tags, entry_data_vector(2), merge_policy); }),
      "The delete statement couldn't be generated because the data was invalid.");
  EXPECT_EQ(message_of<std::logic_error>(
                [&] { impl.column_type_word(plain_column("c", typeid(std::wstring))); }),
            "An unrecognized type was encountered while building the create table statement.");
}

}  // namespace
}  // namespace dbl
