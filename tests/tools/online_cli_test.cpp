// The membership commands as a user runs them, against the reference client.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/sync_util.h"
#include "tests/support/sandbox.h"
#include "tests/tools/cli_runner.h"

namespace {

class OnlineCliTest : public ::testing::Test {
 protected:
  OnlineCliTest() { ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1); }
  ~OnlineCliTest() override { ::unsetenv("VANTOR_KSV_LIBRARY"); }

  // Runs the CLI with `args` (already quoted for the shell); gives the exit status and output.
  std::pair<int, std::string> run(const std::string& args) {
    const vantor_test::cli_result r = vantor_test::run_cli_line(box_, args);
    return {r.status, r.out + r.err};
  }

  vantor_test::sandbox box_;
};

TEST_F(OnlineCliTest, StateEditsShowAndReachTheClient) {
  EXPECT_EQ(run("online show").first, 2) << "no state file yet";
  EXPECT_EQ(run("server-time").first, 2);
  ASSERT_EQ(run("online add-album --title 'Trip & co' --online-id a1 --type 'album group'").first,
            0);
  ASSERT_EQ(run("online set-quota 2048 --used 12").first, 0);
  ASSERT_EQ(run("online set server_time 2024-05-01T10:00:00Z").first, 0);
  EXPECT_EQ(run("online set list_tags_status toolong").first, 2);

  const auto [status, out] = run("online show");
  EXPECT_EQ(status, 0);
  EXPECT_NE(out.find("quota: 2048\nstorage_used: 12\n"), std::string::npos) << out;
  EXPECT_NE(out.find("album: title=Trip & co online_id=a1 type=album group\n"), std::string::npos)
      << out;
  EXPECT_EQ(run("server-time"), std::make_pair(0, std::string("2024-05-01T10:00:00Z\n")));

  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(5, "a1", 9, "", ""), 0);
  EXPECT_EQ(run("sync-albums"), std::make_pair(0, std::string("5\ta1\t9\tclean\t\t\n")));
}

}  // namespace
