// The conflict command as a user runs it, against a sync catalog made in the sandbox.
#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdlib>
#include <string>

#include "catalog/connection.h"
#include "catalog/media.h"
#include "catalog/transaction.h"
#include "catalog/volume_manager.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "tests/support/sandbox.h"
#include "tests/tools/cli_runner.h"

namespace {

class ConflictCliTest : public ::testing::Test {
 protected:
  // Runs the CLI with `args` (already quoted for the shell).
  vantor_test::cli_result run(const std::string& args) {
    return vantor_test::run_cli_line(box_, args);
  }

  vantor_test::sandbox box_;
};

TEST_F(ConflictCliTest, PrintsTheDocumentOrTheCodeName) {
  const std::string folder = box_.path("cat");
  ASSERT_EQ(run("sync-catalog set '" + folder + "'").status, 0);
  const std::string conflicts = " --folder '" + box_.path("conflicts") + "'";
  const vantor_test::cli_result missing = run("conflicts --conflicts 1" + conflicts);
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.out, "");
  EXPECT_EQ(missing.err, "vantor: catalog_error\n");

  box_.write_file("cat/catalog.omb14db", "");
  int id = 0;
  {
    vael::connection c(folder + "/catalog.omb14db");
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    const int volume = vael::get_volume_manager(c.handle())
                           .add_volume({"S1", "one", vael::volume_type::builtin_drive, folder, 0})
                           .id;
    id = vael::media::create_master(c.handle(), volume, "/p/x.png", "image/png").get_id();
    vael_util::create_media(c.handle(), vael_util::metadata_identifier::file_date, 3, id,
                            boost::posix_time::time_from_string("2014-03-05 17:08:09"));
    t.commit();
  }
  const std::string n = std::to_string(id);
  box_.write_file("conflicts/" + n + "/online.xml", "<o/>");
  const vantor_test::cli_result found =
      run("conflicts --conflicts " + n + " --deletes ''" + conflicts);
  EXPECT_EQ(found.status, 0) << found.err;
  EXPECT_EQ(found.out, "<ManualConflictResolution><Conflicts><Conflict" + n +
                           "><vaelid value = \"" + n + "\" tosvalue = \"" + n +
                           "\"/><localdata><locallabel value = \"x.png\"/><localdate value = "
                           "\"5/3/2014\"/><localtime value = \"17:8:9\"/><localfilesize value = "
                           "\"\"/><localpixel value = \"\"/></localdata><o/></Conflict" +
                           n + "></Conflicts><Deletions></Deletions></ManualConflictResolution>\n");

  EXPECT_EQ(run("conflicts --conflicts 1,x" + conflicts).status, 2);
}

}  // namespace
