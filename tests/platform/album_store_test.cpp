#include "platform/album_store.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/sync_util.h"
#include "tests/support/sandbox.h"

namespace {

std::string store_file(const vantor_test::sandbox& box) {
  return box.path("home/.local/share/Norvane/Tessarin Halcyn Agent/album_sync.db");
}

TEST(AlbumStore, LinksRoundTripAndReplaceInTheAgentsDataFolder) {
  vantor_test::sandbox box;
  std::string online = "untouched";
  EXPECT_EQ(sync_util::get_sync_tag_nixie_id(7, online), sync_util::kAlbumNotFound);
  EXPECT_EQ(online, "untouched");
  EXPECT_EQ(sync_util::set_album_dirty_if_exists(7, true), sync_util::kAlbumOk);
  EXPECT_FALSE(std::filesystem::exists(store_file(box))) << "reads and marks make no store";

  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(7, "on-7", 41, "a", "b"),
            sync_util::kAlbumOk);
  EXPECT_EQ(sync_util::album_store_path(), store_file(box));
  ASSERT_TRUE(std::filesystem::exists(store_file(box)));
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(9, "on-9", 3, "", ""), sync_util::kAlbumOk);
  EXPECT_EQ(sync_util::set_album_dirty_if_exists(7, true), sync_util::kAlbumOk);
  EXPECT_EQ(sync_util::set_album_dirty_if_exists(8, true), sync_util::kAlbumOk) << "unknown id";

  // A replacement takes the new texts and change id and keeps the album's dirty flag.
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(7, "on-7b", 42, "c", "d"),
            sync_util::kAlbumOk);
  EXPECT_EQ(sync_util::get_sync_tag_nixie_id(7, online), sync_util::kAlbumOk);
  EXPECT_EQ(online, "on-7b");
  EXPECT_EQ(sync_util::get_sync_tag_nixie_id(8, online), sync_util::kAlbumNotFound);

  std::string all;
  for (const auto& r : sync_util::album_store(store_file(box), false).all()) {
    all += std::to_string(r.tag_id) + "|" + r.online_id + "|" + std::to_string(r.change_id) + "|" +
           r.first + "|" + r.second + "|" + (r.dirty ? "dirty\n" : "clean\n");
  }
  EXPECT_EQ(all, "7|on-7b|42|c|d|dirty\n9|on-9|3|||clean\n");

  EXPECT_EQ(sync_util::set_album_dirty_if_exists(7, false), sync_util::kAlbumOk);
  EXPECT_FALSE(sync_util::album_store(store_file(box), false).find(7)->dirty);
}

// Lookups keep the store open between calls; they must still see every later write, and a
// store file that was replaced or removed.
TEST(AlbumStore, LookupsFollowLaterWritesAndAReplacedStore) {
  vantor_test::sandbox box;
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(1, "on-1", 1, "", ""), sync_util::kAlbumOk);
  std::string online;
  ASSERT_EQ(sync_util::get_sync_tag_nixie_id(1, online), sync_util::kAlbumOk);
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(2, "on-2", 1, "", ""), sync_util::kAlbumOk);
  ASSERT_EQ(sync_util::get_sync_tag_nixie_id(2, online), sync_util::kAlbumOk);
  EXPECT_EQ(online, "on-2");

  std::filesystem::remove(store_file(box));
  EXPECT_EQ(sync_util::get_sync_tag_nixie_id(2, online), sync_util::kAlbumNotFound);
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(2, "on-2b", 1, "", ""), sync_util::kAlbumOk);
  EXPECT_EQ(sync_util::get_sync_tag_nixie_id(1, online), sync_util::kAlbumNotFound);
  EXPECT_EQ(sync_util::get_sync_tag_nixie_id(2, online), sync_util::kAlbumOk);
  EXPECT_EQ(online, "on-2b");
}

TEST(AlbumStore, AFileThatIsNoStoreGivesAnErrorStatusAndALogLine) {
  vantor_test::sandbox box;
  box.write_file("home/.local/share/Norvane/Tessarin Halcyn Agent/album_sync.db",
                 std::string(4096, 'x'));
  std::string online = "untouched";
  const std::string log = vantor_test::capture_stderr([&] {
    EXPECT_EQ(sync_util::get_sync_tag_nixie_id(1, online), sync_util::kAlbumStoreError);
    EXPECT_EQ(sync_util::create_or_replace_sync_tag_info(1, "x", 1, "", ""),
              sync_util::kAlbumStoreError);
    EXPECT_EQ(sync_util::set_album_dirty_if_exists(1, true), sync_util::kAlbumStoreError);
  });
  EXPECT_EQ(online, "untouched");
  EXPECT_NE(log.find("Vantor : album store: "), std::string::npos) << log;
  EXPECT_EQ(vantor_test::read_file(store_file(box)), std::string(4096, 'x'));
}

}  // namespace
