#include "platform/sync_util.h"

#include <gtest/gtest.h>

#include "tests/support/sandbox.h"

namespace {

TEST(SyncUtil, ReadsTheAgentsValues) {
  vantor_test::sandbox box;
  EXPECT_FALSE(sync_util::get_is_user_signed_in());
  EXPECT_EQ(sync_util::get_ticket_vector(), "");
  EXPECT_EQ(sync_util::get_sync_catalog(10), "");
  box.write_file("registry/HKEY_CURRENT_USER/software/norvane/Strand.ini",
                 "[General]\nUserName=ann\nEncryptedTicketVector=\"t1,t2\"\nUserId=u42\n"
                 "OMB9SyncCatalogPath=/old\n");
  EXPECT_TRUE(sync_util::get_is_user_signed_in());
  EXPECT_EQ(sync_util::get_ticket_vector(), "t1,t2");
  EXPECT_EQ(sync_util::get_ksvuser_id(), "u42");
  EXPECT_EQ(sync_util::get_sync_catalog(9), "/old");
}

}  // namespace
