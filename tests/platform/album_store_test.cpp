#include "platform/album_store.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/sync_util.h"
#include "tests/support/sandbox.h"

namespace {

namespace su = sync_util;

std::string store_file(const vantor_test::sandbox& box) {
  return box.path("home/.local/share/Norvane/Tessarin Halcyn Agent/album_sync.db");
}

// Lookups keep the store open between calls; they must still see every later write, and a
// store file that was removed and made again.
TEST(AlbumStore, LinksRoundTripAndReplaceInTheAgentsDataFolder) {
  vantor_test::sandbox box;
  std::string online = "untouched";
  EXPECT_EQ(su::get_sync_tag_nixie_id(7, online), su::kAlbumNotFound);
  EXPECT_EQ(online, "untouched");
  EXPECT_EQ(su::set_album_dirty_if_exists(7, true), su::kAlbumOk);
  EXPECT_FALSE(std::filesystem::exists(store_file(box))) << "reads and marks make no store";

  ASSERT_EQ(su::create_or_replace_sync_tag_info(7, "on-7", 41, "a", "b"), su::kAlbumOk);
  EXPECT_EQ(su::album_store_path(), store_file(box));
  ASSERT_EQ(su::get_sync_tag_nixie_id(7, online), su::kAlbumOk);
  ASSERT_EQ(su::create_or_replace_sync_tag_info(9, "on-9", 3, "", ""), su::kAlbumOk);
  EXPECT_EQ(su::set_album_dirty_if_exists(7, true), su::kAlbumOk);
  EXPECT_EQ(su::set_album_dirty_if_exists(8, true), su::kAlbumOk) << "unknown id";

  // A replacement takes the new texts and change id and keeps the album's dirty flag.
  ASSERT_EQ(su::create_or_replace_sync_tag_info(7, "on-7b", 42, "c", "d"), su::kAlbumOk);
  EXPECT_EQ(su::get_sync_tag_nixie_id(7, online), su::kAlbumOk);
  EXPECT_EQ(online, "on-7b");
  EXPECT_EQ(su::get_sync_tag_nixie_id(8, online), su::kAlbumNotFound);

  std::string all;
  for (const auto& r : su::album_store(store_file(box), false).all()) {
    all += std::to_string(r.tag_id) + "|" + r.online_id + "|" + std::to_string(r.change_id) + "|" +
           r.first + "|" + r.second + "|" + (r.dirty ? "dirty\n" : "clean\n");
  }
  EXPECT_EQ(all, "7|on-7b|42|c|d|dirty\n9|on-9|3|||clean\n");
  EXPECT_EQ(su::set_album_dirty_if_exists(7, false), su::kAlbumOk);
  EXPECT_FALSE(su::album_store(store_file(box), false).find(7)->dirty);

  std::filesystem::remove(store_file(box));
  EXPECT_EQ(su::get_sync_tag_nixie_id(7, online), su::kAlbumNotFound);
  ASSERT_EQ(su::create_or_replace_sync_tag_info(2, "on-2", 1, "", ""), su::kAlbumOk);
  EXPECT_EQ(su::get_sync_tag_nixie_id(2, online), su::kAlbumOk);
  EXPECT_EQ(online, "on-2");

  // A copy put in its place is another file; a read opens it, and a write after the read must
  // open it again for writing.
  std::filesystem::copy_file(store_file(box), store_file(box) + ".copy");
  std::filesystem::rename(store_file(box) + ".copy", store_file(box));
  std::vector<int> unfinished;
  EXPECT_EQ(su::get_unfinished_sync_tag_ids("on-2", unfinished), su::kAlbumOk);
  EXPECT_EQ(su::set_album_dirty_if_exists(2, true), su::kAlbumOk);
  EXPECT_TRUE(su::album_store(store_file(box), false).find(2)->dirty);
}

TEST(AlbumStore, AFileThatIsNoStoreGivesAnErrorStatusAndALogLine) {
  vantor_test::sandbox box;
  box.write_file("home/.local/share/Norvane/Tessarin Halcyn Agent/album_sync.db",
                 std::string(4096, 'x'));
  std::string online = "untouched";
  const std::string log = vantor_test::capture_stderr([&] {
    EXPECT_EQ(su::get_sync_tag_nixie_id(1, online), su::kAlbumStoreError);
    EXPECT_EQ(su::create_or_replace_sync_tag_info(1, "x", 1, "", ""), su::kAlbumStoreError);
    EXPECT_EQ(su::set_album_dirty_if_exists(1, true), su::kAlbumStoreError);
  });
  EXPECT_EQ(online, "untouched");
  EXPECT_NE(log.find("Vantor : album store: "), std::string::npos) << log;
  EXPECT_EQ(vantor_test::read_file(store_file(box)), std::string(4096, 'x'));
}

}  // namespace
