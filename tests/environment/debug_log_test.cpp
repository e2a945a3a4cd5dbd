#include "environment/debug_log.h"

#include <gtest/gtest.h>

#include "tests/support/sandbox.h"

namespace {

TEST(DebugLog, OneFlushedLinePerMessage) {
  const std::string text = vantor_test::capture_stderr([] {
    vantor_env::DebugLog("Not Logged In Error");
    vantor_env::DebugLog("MoveFileWithProgress failed with 2.\n");
    vantor_env::DebugLog("");
  });
  EXPECT_EQ(text,
            "Vantor : Not Logged In Error\n"
            "Vantor : MoveFileWithProgress failed with 2.\n"
            "Vantor : \n");
}

}  // namespace
