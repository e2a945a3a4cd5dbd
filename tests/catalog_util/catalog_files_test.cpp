#include "catalog_util/catalog_files.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "catalog/connection.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_v7.h"
#include "dbl/query.h"
#include "dbl/sqlite/sqlite_database.h"
#include "tests/catalog/catalog_test_support.h"

namespace {

using vael_test::message_of;

std::set<std::string> files_in(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

TEST(CatalogFiles, MadeWholeUnderTheirNameAndRefusedWithoutTouchingWhatStandsThere) {
  const vantor_test::sandbox box;
  std::filesystem::create_directory(box.path("c"));
  const std::string made = box.path("c/a.db"), copy = box.path("c/b.db"), text = box.path("c/t");
  vael_util::default_tag_names names(14);
  names[1] = "Family";
  // What builds killed before their end left goes with the next build; a live one's stays.
  const pid_t gone = ::fork();
  if (gone == 0) ::_exit(0);
  ::waitpid(gone, nullptr, 0);
  const std::string live = "a.db." + std::to_string(::getppid()) + ".new";
  for (const char* name : {".new", ".new-journal"})
    box.write_file("c/a.db." + std::to_string(gone) + name, "x");
  box.write_file("c/" + live, "x");
  vael_util::create_catalog_file(made, names);
  const vael_util::catalog_file_check checked = vael_util::check_catalog_file(made);
  EXPECT_EQ(checked.schema_version, 9);
  EXPECT_TRUE(checked.problems.empty());
  EXPECT_EQ(vael_util::upgrade_catalog_file(made, [](long long, long long) { FAIL(); }), 9);

  std::vector<long long> reports;
  vael_util::copy_catalog_file(made, copy, [&](long long at, long long) { reports.push_back(at); });
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports.back(), 1);
  const auto tags = [](const std::string& file) {
    dbl::sqlite_database db(file);
    return vael_test::text(db,
                           "SELECT group_concat(id || ':' || name, ',') FROM (SELECT id, "
                           "name FROM tag_table ORDER BY id)");
  };
  EXPECT_NE(tags(made).find(":Family,"), std::string::npos) << "the host's name for entry 1";
  EXPECT_EQ(tags(copy), tags(made)) << "rows keep their ids";

  box.write_file("c/t", "hello");
  const std::string bytes = vantor_test::read_file(made);
  const struct {
    std::function<void()> call;
    std::string message;
  } refusals[] = {
      {[&] { vael_util::create_catalog_file(made, names); }, "a catalog already exists at " + made},
      {[&] { vael_util::copy_catalog_file(made, text); }, "a catalog already exists at " + text},
      {[&] { vael_util::upgrade_catalog_file(box.path("c/none.db")); },
       "no catalog file at " + box.path("c/none.db")},
      {[&] { vael_util::check_catalog_file(text); },
       text + " is not a catalog (An error was encountered in the sqlite database: file is not a "
              "database)"},
  };
  for (const auto& r : refusals) {
    EXPECT_EQ(message_of<std::runtime_error>(r.call), r.message);
  }
  EXPECT_EQ(vantor_test::read_file(made), bytes);
  EXPECT_EQ(vantor_test::read_file(text), "hello");
  EXPECT_EQ(files_in(box.path("c")), (std::set<std::string>{"a.db", "b.db", "t", live}))
      << "no temporary file or refused target is left behind";
}

// An upgraded catalog gets the planner statistics a new one has, and an index that an
// earlier ANALYZE did not know gets them beside the rows ANALYZE wrote, which stay.
TEST(CatalogFiles, UpgradedAndOpenedCatalogsPlanLikeNewOnes) {
  const vantor_test::sandbox box;
  const std::string made = box.path("new.db"), old = box.path("old.db");
  vael_util::create_catalog_file(made, vael_util::default_tag_names(14));
  {
    dbl::sqlite_database db(old);
    vael::schema::create_schema(db, vael::schema::v7::generation());
  }
  EXPECT_EQ(vael_util::upgrade_catalog_file(old), 7);
  const auto statistics = [](const std::string& file) {
    dbl::sqlite_database db(file);
    return vael_test::text(db,
                           "SELECT group_concat(idx || '=' || stat, ',') FROM (SELECT idx, stat "
                           "FROM sqlite_stat1 WHERE tbl != 'sqlite_master' ORDER BY idx)");
  };
  const std::string typical = statistics(made);
  ASSERT_NE(typical.find("media_table_volume_index=100000 25000 1"), std::string::npos);
  EXPECT_EQ(statistics(old), typical);

  {
    dbl::sqlite_database db(old);
    dbl::query(db, "DELETE FROM sqlite_stat1 WHERE idx = 'tag_table_change_id_index'").execute();
    dbl::query(db,
               "UPDATE sqlite_stat1 SET stat = '7 7 1' WHERE idx = "
               "'media_table_volume_index'")
        .execute();
  }
  { vael::connection c(old); }
  const std::string analysed = statistics(old);
  EXPECT_NE(analysed.find("media_table_volume_index=7 7 1"), std::string::npos);
  EXPECT_NE(analysed.find("tag_table_change_id_index=10000 100 1"), std::string::npos);
}

}  // namespace
