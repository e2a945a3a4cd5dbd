#include <boost/algorithm/string/join.hpp>
#include <boost/numeric/conversion/cast.hpp>

#include "dbl/entry_data.h"
#include "dbl/sql_generation.h"
#include "tests/dbl/dbl_test_util.h"

namespace dbl::test {
namespace {

TEST(EntryData, ConversionsAndSharedCopies) {
  const char* none = nullptr;
  entry_data from_null_pointer(none);
  EXPECT_FALSE(from_null_pointer.is_null());
  EXPECT_EQ(from_null_pointer.as_string(), "");
  EXPECT_EQ(entry_data(fixed_string{10, "abc"}).as_string(), "abc");
  EXPECT_THROW(entry_data(3).as_string(), bad_entry_data_cast);
  EXPECT_THROW(entry_data(1).as_bool(), bad_entry_data_cast);
  EXPECT_THROW(entry_data().as_blob(), bad_entry_data_cast);

  entry_data original(std::string("shared"));
  entry_data copy = original;
  EXPECT_TRUE(original.shares(copy));
  EXPECT_FALSE(original.shares(entry_data(std::string("shared"))));
  copy = entry_data(7);
  EXPECT_EQ(original.as_string(), "shared");
  EXPECT_TRUE(copy.shares(entry_data(7)));
  EXPECT_FALSE(copy.shares(entry_data(std::int64_t{7})));
  EXPECT_FALSE(entry_data(short{-1}).shares(entry_data(short{1})));

  EXPECT_EQ(entry_data(300.9).as_int(), 300);
  EXPECT_EQ(entry_data(-300.9).as_int(), -300);
  EXPECT_EQ(entry_data(short{-5}).as_int64(), -5);
  EXPECT_EQ(entry_data(auto_id{42}).as_int(), 42);
  EXPECT_EQ(entry_data(std::uint64_t{1} << 63).as_uint64(), std::uint64_t{1} << 63);
  EXPECT_EQ(entry_data(9.3e18).as_uint64(), 9300000000000000000ULL);

  EXPECT_THROW(entry_data(4294967295U).as_int(), boost::numeric::positive_overflow);
  EXPECT_THROW(entry_data(std::int64_t{1} << 40).as_long(), boost::numeric::positive_overflow);
  EXPECT_THROW(entry_data(1e300).as_int64(), boost::numeric::positive_overflow);

  for (const entry_data& not_numeric :
       {entry_data(), entry_data(true), entry_data(long32{1}), entry_data("1")}) {
    EXPECT_EQ(message_of<bad_entry_data_cast>([&] { (void)not_numeric.as_int(); }),
              "The type held in this entry_data object is not a recognized numeric type.")
        << not_numeric.type().name();
  }
  EXPECT_EQ(message_of<boost::numeric::negative_overflow>([] { (void)entry_data(-1).as_uint(); }),
            "bad numeric conversion: negative overflow");

  const boost::posix_time::ptime t(boost::gregorian::date(2020, 1, 2));
  const std::tuple<const char*, entry_data, entry_data, bool> cases[] = {
      {"null-zero", entry_data(), entry_data(0), false},
      {"null-empty", entry_data(), entry_data(""), false},
      {"int-int64", entry_data(3), entry_data(std::int64_t{3}), true},
      {"int-short", entry_data(5), entry_data(short{5}), true},
      {"int-auto_id", entry_data(5), entry_data(auto_id{5}), true},
      {"double-int", entry_data(3.0), entry_data(3), false},
      {"double-double-close", entry_data(1.0), entry_data(1.0 + 1e-17), true},
      {"double-double-far", entry_data(1.0), entry_data(1.0 + 1e-15), false},
      {"bool-int", entry_data(true), entry_data(1), false},
      {"string-fixed", entry_data("a"), entry_data(fixed_string{10, "a"}), false},
      {"fixed-width", entry_data(fixed_string{10, "a"}), entry_data(fixed_string{20, "a"}), false},
      {"string-case", entry_data("a"), entry_data("A"), false},
      {"wstring", entry_data(std::wstring(L"x")), entry_data(std::wstring(L"x")), true},
      {"ptime-later", entry_data(t), entry_data(t + boost::posix_time::seconds(1)), false},
      {"blob-empty", entry_data(blob{}), entry_data(), false},
      {"uint64-int", entry_data(std::uint64_t{7}), entry_data(7), true},
  };
  for (const auto& [name, a, b, equal] : cases) {
    EXPECT_EQ(a == b, equal) << name;
    EXPECT_EQ(b == a, equal) << name << " (reversed)";
    EXPECT_EQ(a != b, !equal) << name;
  }
  // Not numeric kinds: equality ends in a failed conversion.
  EXPECT_THROW((void)(entry_data(long32{7}) == entry_data(long32{7})), bad_entry_data_cast);
  const entry_data w(fixed_wstring{3, L"a"});
  EXPECT_THROW((void)(w == entry_data(fixed_wstring{3, L"a"})), bad_entry_data_cast);
  EXPECT_THROW((void)(w == w), bad_entry_data_cast);
  EXPECT_FALSE(w == entry_data(fixed_string{3, "a"}));
  EXPECT_THROW((void)(entry_data(std::uint64_t{1}) == entry_data(-1)),
               boost::numeric::negative_overflow);
}

// Key, rule and index of the auto id column, and copies that do not share later changes, are
// checked through the generated SQL texts.
TEST(TableDescription, ColumnsIndexesAndRulesOfRelations) {
  table_description t("tag_table");
  t.add_column(plain_column("a", typeid(int)));
  t.add_column(plain_column("b", typeid(int)));
  EXPECT_EQ(t.column_position("b"), 2);
  EXPECT_EQ(t.column_position("missing"), -1);
  const table_description plain("side_table", 1);
  EXPECT_EQ(plain.column_count(), 0u);
  EXPECT_FALSE(plain.has_auto_id());

  EXPECT_EQ(message_of([&] { t.column("missing"); }),
            "The column requested does not exist in this table description.");
  EXPECT_EQ(message_of([&] { t.add_column(plain_column("a", typeid(double))); }),
            "There was an error while trying to generate the column index map.  An unexpected "
            "column was encountered.");
  EXPECT_EQ(t.column_count(), 3u);

  t.add_clustered_index("ix", {"a", "b"});
  t.add_clustered_index("ix", {"b"});
  EXPECT_EQ(t.indexes(), (table_description::index_map{{"ix", {"b"}}}));
  const std::vector<std::string> with_c = {"a", "c"};
  EXPECT_EQ(message_of([&] { t.add_clustered_index("iy", with_c); }),
            "Cannot add c to a clustered index because no such column exists on table tag_table");

  const column_description blank;
  EXPECT_EQ(message_of([&] { blank.default_value(); }),
            "A default value for this column description cannot be returned because it does "
            "not have one.");
  EXPECT_EQ(message_of([&] { blank.foreign_key(); }),
            "A foreign key description for this column description cannot be returned because "
            "it does not have one");
  EXPECT_EQ(column_description("f", typeid(int), 0, entry_data(4), 1, 1).default_value(),
            entry_data(4));

  const std::pair<std::int32_t, column_constraint> relations[] = {{relation_none, no_constraint},
                                                                  {relation_one_to_one, unique},
                                                                  {relation_required, not_null},
                                                                  {7, no_constraint}};
  for (const auto& [relation, expected] : relations) {
    const column_description fk("parent_id",
                                foreign_key_description(t.name(), t.column("id"), relation),
                                not_in_primary_key, indexed);
    EXPECT_EQ(fk.constraint(), expected) << "relation " << relation;
    EXPECT_EQ(fk.type(), typeid(auto_id)) << "relation " << relation;
  }
}

TEST_F(tag_db_test, SqlTexts) {
  database_implementer& impl = db_.implementer();
  const table_description& tags = tags_;
  transaction t(db_);
  t.begin();
  entry_data_vector fresh{entry_data(), "a", entry_data(), 0, blob{1}, entry_data()};
  const generated_sql insert = insert_sql(impl, tags, fresh, false);
  EXPECT_EQ(fresh[0], entry_data(1));
  EXPECT_TRUE(fresh[2].is_null()) << "a foreign key to an auto id never takes a new id";
  EXPECT_EQ(insert.params.size(), 4u);
  // Insert texts are kept per table and set of bound cells; a new column must not reuse one.
  // The widened copy must leave `tags` as it was for the texts below.
  table_description wider = tags;
  wider.add_column(plain_column("extra", typeid(int)));
  wider.add_clustered_index("extra_index", {"extra"});

  const entry_data_vector old_row{7, "a", entry_data(), 0, blob{}, entry_data()};
  const entry_data_vector new_row{7, "b", 3, 0, blob{}, entry_data()};
  const entry_data_vector to_null{7, entry_data(), entry_data(), 0, blob{}, entry_data()};
  entry_data_vector scratch;

  // What the statements do is checked through records in the database tests; these are the
  // texts whose faults those cannot see, such as a strict condition on a null cell.
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"create temporary", create_table_sql(impl, tags, true),
       "CREATE TEMPORARY TABLE tag_table (\n\tid INTEGER UNIQUE,\n\tname TEXT NOT "
       "NULL,\n\tparent_id INTEGER,\n\tflag INTEGER NOT NULL,\n\tdata BLOB,\n\twhen_done "
       "TEXT\n\t,\tPRIMARY KEY (id)\n)"},
      {"create", create_table_sql(impl, tags, false),
       "CREATE TABLE tag_table (\n\tid INTEGER UNIQUE,\n\tname TEXT NOT NULL,\n\tparent_id "
       "INTEGER,\n\tflag INTEGER NOT NULL,\n\tdata BLOB,\n\twhen_done TEXT\n\t,\tPRIMARY KEY "
       "(id),\n\tFOREIGN KEY (parent_id) REFERENCES tag_table(id)\n)"},
      {"indexes", boost::algorithm::join(create_index_sqls(tags), ";"),
       "CREATE INDEX index_tag_table_name ON tag_table(name);CREATE INDEX "
       "index_tag_table_parent_id ON tag_table(parent_id);CREATE INDEX tag_name_parent ON "
       "tag_table(name, parent_id)"},
      {"insert", insert.text,
       "INSERT INTO tag_table\n\t(id, name, parent_id, flag, data, when_done)\n\tVALUES (? , ? "
       ", NULL , ? , ? , NULL )\n"},
      {"insert, other cells bound",
       (scratch = fresh, scratch[4] = entry_data(), insert_sql(impl, tags, scratch, true).text),
       "INSERT INTO tag_table\n\t(id, name, parent_id, flag, data, when_done)\n\tVALUES (? , ? "
       ", NULL , ? , NULL , NULL )\n"},
      {"insert after a new column",
       (scratch = fresh, scratch.emplace_back(), insert_sql(impl, wider, scratch, true).text),
       "INSERT INTO tag_table\n\t(id, name, parent_id, flag, data, when_done, extra)\n\tVALUES "
       "(? , ? , NULL , ? , ? , NULL , NULL )\n"},
      {"select current", select_current_sql(tags, old_row).text,
       "SELECT * FROM tag_table\nWHERE id = ?"},
      {"update strict",
       (scratch = old_row, update_sql(tags, new_row, scratch, nullptr, strict_policy).text),
       "UPDATE tag_table\nSET name = ?, parent_id = ?\nWHERE id = ? AND name = ? AND parent_id "
       "IS NULL"},
      {"update to null",
       (scratch = old_row, update_sql(tags, to_null, scratch, nullptr, strict_policy).text),
       "UPDATE tag_table\nSET name = NULL\nWHERE id = ? AND name = ?"},
      {"delete merge", delete_sql(tags, old_row, merge_policy).text,
       "DELETE FROM tag_table\nWHERE id = ?"},
      {"delete strict", delete_sql(tags, old_row, strict_policy).text,
       "DELETE FROM tag_table\nWHERE id = ? AND name = ? AND parent_id IS NULL AND flag = ? AND "
       "data = ? AND when_done IS NULL"},
      {"fixed word", impl.column_type_word(plain_column("c", typeid(fixed_string), 8)), "CHAR(8)"},
  };
  for (const auto& [name, actual, expected] : cases) EXPECT_EQ(actual, expected) << name;

  // Parameters: SET values first, then WHERE values; the merge refresh takes current cells.
  scratch = old_row;
  const entry_data_vector current{7, "other writer", entry_data(), 0, blob{}, entry_data()};
  EXPECT_EQ(update_sql(tags, new_row, scratch, &current, strict_policy).params,
            (entry_data_vector{"b", 3, 7, "a"}));
  EXPECT_EQ(update_sql(tags, new_row, scratch, &current, merge_policy).params.size(), 3u);
  EXPECT_EQ(scratch[1], entry_data("other writer"));

  EXPECT_EQ(message_of([&] {
              entry_data_vector short_row(2);
              insert_sql(impl, tags, short_row, false);
            }),
            "The insert statement couldn't be generated because the column data was invalid.");
  EXPECT_EQ(
      message_of([&] { update_sql(tags, entry_data_vector(2), scratch, nullptr, merge_policy); }),
      "The update statement couldn't be generated because the column data was invalid.");
  EXPECT_EQ(message_of([&] { delete_sql(tags, entry_data_vector(2), merge_policy); }),
            "The delete statement couldn't be generated because the data was invalid.");
  EXPECT_EQ(message_of([&] { impl.column_type_word(plain_column("c", typeid(std::wstring))); }),
            "An unrecognized type was encountered while building the create table statement.");
}

}  // namespace
}  // namespace dbl::test
