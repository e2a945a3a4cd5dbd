// The sync preview against a catalog of files of known sizes on an online and an offline
// volume; every expected figure is counted here from the test's own table.
#include "preferences/sync_preview.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/connection.h"
#include "catalog/media.h"
#include "catalog/transaction.h"
#include "catalog/volume_manager.h"
#include "catalog_util/albums.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/well_known_tags.h"
#include "preferences/pref_files.h"
#include "tests/preferences/prefs_test_env.h"

namespace vantor_test {
namespace {

namespace md = vael_util::metadata_identifier;
using vantor_prefs::refusal_reason;

constexpr std::int64_t kMiB = 1024 * 1024;

// where: 'a' on the online disk, 'g' gone from it, 'b' on the unplugged disk. albums: letters
// of the albums holding it: Trip (mark 1), Work (3, in a group), Old (0), Skip (2), None (no
// mark).
struct item {
  const char* name;
  const char* mime;
  const char* kind;  // what the test takes the type for
  std::int64_t size;
  char where;
  const char* albums;
};
const item kItems[] = {
    {"a.jpg", "image/jpeg", "photo", 1000, 'a', "T"},
    {"big.jpg", "image/jpeg", "photo", 3 * kMiB, 'a', "TW"},
    {"v.mp4", "video/mp4", "video", 2 * kMiB, 'a', "W"},
    {"s.mp3", "audio/mpeg", "audio", 500, 'a', "T"},
    {"d.pdf", "application/pdf", "pdf", 700, 'a', "W"},
    {"x.bin", "application/octet-stream", "unknown", 50, 'a', "T"},
    {"c.omb", "application/omb", "creation", 60, 'a', "T"},
    {"gone.jpg", "image/jpeg", "photo", 4000, 'g', "T"},
    {"off.mp4", "video/mp4", "video", 9000, 'b', "W"},
    {"o.jpg", "image/jpeg", "photo", 800, 'a', "O"},
    {"loose.png", "image/png", "photo", 1200, 'a', ""},
    {"s2.jpg", "image/jpeg", "photo", 300, 'a', "S"},
    {"n.jpg", "image/jpeg", "photo", 111, 'a', "TN"},
};
const std::map<char, std::pair<const char*, int>> kAlbums = {{'T', {"Trip", 1}},
                                                             {'W', {"Work", 3}},
                                                             {'O', {"Old", 0}},
                                                             {'S', {"Skip", 2}},
                                                             {'N', {"None", -1}}};

// Photos and videos on, the rest off, files up to 2 MiB.
SyncPrefs test_prefs() {
  SyncPrefs p{};
  p.syncon = p.syncPhotos = p.syncVideo = true;
  p.restrictfilesizeSelected = true;
  p.restrictfilesize = 2;
  return p;
}

std::optional<refusal_reason> expected_reason(const item& i) {
  if (i.where == 'b') return refusal_reason::volume_offline;
  if (i.where == 'g') return refusal_reason::missing_file;
  const std::string kind = i.kind;
  if (kind == "unknown") return refusal_reason::unknown_type;
  if (kind != "photo" && kind != "video") return refusal_reason::kind_off;
  if (i.size > 2 * kMiB) return refusal_reason::too_large;
  return std::nullopt;
}

struct tally {
  vantor_prefs::preview_count_t going;
  std::array<vantor_prefs::preview_count_t, vantor_prefs::kRefusalReasons> refused{};
  void add(const item& i) {
    const auto r = expected_reason(i);
    (r ? refused[static_cast<std::size_t>(*r)] : going).add(i.size);
  }
};

class SyncPreviewTest : public ::testing::Test {
 protected:
  SyncPreviewTest() {
    const std::string disk = env_.box().path("disk");
    std::filesystem::create_directories(disk);
    std::filesystem::create_directories(folder_);
    env_.box().write_file("cat/catalog.omb14db", "");
    vael::connection c(folder_ + "/catalog.omb14db");
    const vael::connection_handle& h = c.handle();
    vael::transaction t(h);
    t.begin(vael::without_undo, vael::lock_now);
    vael_util::create_or_load_ns(h, vael_util::ns_name::collection);
    vael::volume_manager volumes = vael::get_volume_manager(h);
    const int online =
        volumes.add_volume({"disk-a", "a", vael::volume_type::builtin_drive, disk}).id;
    const int offline =
        volumes.add_volume({"usb-b", "b", vael::volume_type::removable_drive, ""}).id;
    const int group = vael_util::create_album_group(h, "Jobs").get_id();
    std::map<char, vael::tag> albums;
    for (const auto& [letter, album] : kAlbums) {
      vael::tag tag = vael_util::create_album(h, album.first, letter == 'W' ? group : 0);
      if (album.second >= 0) {
        vael_util::create_tag_metadata(h, md::tag_sync_status, 1, tag.get_id(),
                                       dbl::entry_data(std::int64_t{album.second}));
      }
      albums.emplace(letter, tag);
    }
    for (const item& i : kItems) {
      const int id = vael::media::create_master(h, i.where == 'b' ? offline : online,
                                                std::string("/") + i.name, i.mime)
                         .get_id();
      ids_[i.name] = id;
      // Files on disk record a stale size: the preview must read the file's own.
      if (i.where == 'a') {
        env_.box().write_file(std::string("disk/") + i.name, "");
        std::filesystem::resize_file(disk + "/" + i.name, static_cast<std::uintmax_t>(i.size));
      }
      vael_util::create_media(h, md::file_size, 1, id,
                              dbl::entry_data(i.where == 'a' ? i.size + 7 : i.size));
      for (const char* a = i.albums; *a; ++a) vael_util::add_to_album(h, albums.at(*a), {id});
    }
    t.commit();
  }

  vantor_prefs::sync_preview_t preview(const SyncPrefs& prefs,
                                       const vantor_prefs::storage_texts_t& storage,
                                       std::size_t largest = 5) const {
    vael::connection c(folder_ + "/catalog.omb14db");
    return vantor_prefs::PreviewSync(c.handle(), prefs, storage, largest);
  }

  prefs_env env_;
  std::string folder_ = env_.box().path("cat");
  std::map<std::string, int> ids_;
};

TEST_F(SyncPreviewTest, CountsWhatGoesAndWhyTheRestStays) {
  for (const bool whole : {false, true}) {
    SyncPrefs prefs = test_prefs();
    prefs.syncEntireCatalog = whole;
    const auto got = preview(prefs, {}, 2);
    const std::string mode = whole ? "whole catalog" : "marked albums";

    std::map<std::string, std::vector<const item*>> by_album;
    std::set<std::string> counted;
    for (const item& i : kItems) {
      if (!*i.albums && whole) by_album[""].push_back(&i);
      for (const char* a = i.albums; *a; ++a) {
        const int mark = kAlbums.at(*a).second;
        if (whole || mark == 1 || mark == 3) by_album[kAlbums.at(*a).first].push_back(&i);
      }
    }
    tally total;
    ASSERT_EQ(got.albums.size(), by_album.size()) << mode;
    for (const auto& album : got.albums) {
      SCOPED_TRACE(mode + ", album '" + album.name + "'");
      ASSERT_EQ(by_album.count(album.name), 1u);
      tally want;
      std::vector<const item*> refused;
      for (const item* i : by_album[album.name]) {
        want.add(*i);
        if (expected_reason(*i)) refused.push_back(i);
        if (counted.insert(i->name).second) total.add(*i);
      }
      EXPECT_TRUE(album.going == want.going);
      EXPECT_TRUE(album.refused == want.refused) << "refused, by reason";
      std::stable_sort(refused.begin(), refused.end(),
                       [](const item* a, const item* b) { return a->size > b->size; });
      ASSERT_EQ(album.largest_refused.size(), std::min<std::size_t>(refused.size(), 2));
      for (std::size_t k = 0; k < album.largest_refused.size(); ++k) {
        EXPECT_EQ(album.largest_refused[k].media_id, ids_[refused[k]->name]) << k;
      }
    }
    EXPECT_TRUE(got.going == total.going) << mode << ": going over distinct media";
    EXPECT_TRUE(got.refused == total.refused) << mode << ": refused";
  }
}

TEST_F(SyncPreviewTest, ComparesTheBytesThatGoWithTheQuotaLeft) {
  const std::int64_t going = preview(test_prefs(), {}).going.bytes;
  struct {
    std::string quota, used;
    std::optional<bool> fits;
  } cases[] = {
      {std::to_string(going + 100), "100", true},
      {std::to_string(going + 100), "101", false},
      {"", "0", std::nullopt},
      {"lots", "0", std::nullopt},
  };
  for (const auto& c : cases) {
    const auto got = preview(test_prefs(), {c.quota, c.used});
    EXPECT_EQ(got.fits(), c.fits) << c.quota << " " << c.used;
  }
}

TEST_F(SyncPreviewTest, ReadsTheSignedInUsersPreferencesAndQuota) {
  ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1);
  env_.box().write_file("ksv.json", R"({"ticket": "t-1", "quota": 5000000, "storage_used": 7})");
  EXPECT_THROW(vantor_prefs::PreviewSyncOfCatalog(folder_), std::runtime_error) << "signed out";

  env_.write_strand(folder_, "ann", "t-1", "u-1");
  SyncPrefs prefs = test_prefs();
  prefs.syncVideo = false;
  env_.box().write_file("cat/syncdb/u-1.pref", VTL::GetXMLForSyncPrefs(prefs));
  const auto got = vantor_prefs::PreviewSyncOfCatalog(folder_);
  const auto want = preview(prefs, {"5000000", "7"});
  EXPECT_EQ(got.going.bytes, want.going.bytes);
  EXPECT_EQ(got.refused, want.refused);
  EXPECT_EQ(got.quota_left(), 5000000 - 7);

  env_.box().write_file("ksv.json", R"({"ticket": "other"})");
  EXPECT_THROW(vantor_prefs::PreviewSyncOfCatalog(folder_), std::runtime_error) << "refused";
}

}  // namespace
}  // namespace vantor_test
