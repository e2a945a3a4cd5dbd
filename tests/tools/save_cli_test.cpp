// `vantor save` as a user runs it: a real process on a catalog made by `vantor catalog create`.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"
#include "catalog_util/well_known_tags.h"
#include "platform/sync_util.h"
#include "tests/support/sandbox.h"
#include "tests/tools/cli_runner.h"

namespace {

class SaveCliTest : public ::testing::Test {
 protected:
  // Runs the CLI with `args` (already quoted for the shell); gives the exit status and output.
  std::pair<int, std::string> run(const std::string& args) {
    const vantor_test::cli_result r = vantor_test::run_cli_line(box_, args);
    return {r.status, r.out + r.err};
  }

  vantor_test::sandbox box_;
};

TEST_F(SaveCliTest, SavesIntoTheSyncCatalogAndNamesAFailure) {
  const std::string folder = box_.path("cat");
  ASSERT_EQ(run("catalog create '" + folder + "'").first, 0);
  ASSERT_EQ(sync_util::set_sync_catalog(folder), 0);
  box_.write_file("prefs.xml", "<syncon value = \"true\"/>");
  box_.write_file("selection.xml",
                  "<tags><tag localid=\"\" onlineid=\"\" parents=\"\" label=\"Beach\" "
                  "ismarkedforsync=\"1\" isLiveAlbum=\"false\" type=\"collection\"/></tags>");
  const std::string files =
      " --selection '" + box_.path("selection.xml") + "' --prefs '" + box_.path("prefs.xml") + "'";

  EXPECT_EQ(run("save" + files + " --user u-7"), std::make_pair(0, std::string()));
  EXPECT_EQ(vantor_test::read_file(folder + "/syncdb/u-7.pref"), "<syncon value = \"true\"/>");
  {
    vael::connection c(folder + "/catalog.omb14db");
    vael::tag beach;
    EXPECT_TRUE(vael_util::find_top_level_tag(
        vael::get_custom_tag_namespace(c.handle(), vael_util::ns_name::collection), "Beach",
        beach));
  }

  ASSERT_EQ(sync_util::set_sync_catalog(box_.path("no-catalog-here")), 0);
  EXPECT_EQ(run("save" + files),
            std::make_pair(2, std::string("vantor save: catalog_error (6)\n")));
}

}  // namespace
