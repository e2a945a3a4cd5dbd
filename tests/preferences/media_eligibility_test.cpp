#include "preferences/media_eligibility.h"

#include "tests/preferences/prefs_test_env.h"

namespace vantor_test {
namespace {

using vantor_prefs::IsAllowedSyncMimeType;
using vantor_prefs::IsRawImageExtension;
using vantor_prefs::IsSyncMediaExtension;

TEST(MediaEligibility, PreferencesDecide) {
  SyncPrefs all{};
  all.syncPhotos = all.syncVideo = all.syncAudio = all.syncPDFs = all.syncCreations = true;
  auto without = [&all](bool SyncPrefs::*kind) {
    SyncPrefs p = all;
    p.*kind = false;
    return p;
  };
  auto limit = [&all](bool selected, double mebibytes) {
    SyncPrefs p = all;
    p.restrictfilesizeSelected = selected;
    p.restrictfilesize = mebibytes;
    return p;
  };
  const struct {
    const char* name;
    SyncPrefs prefs;
    long long size;
    const char* mime;
    bool valid;
  } cases[] = {
      {"png, photos off", without(&SyncPrefs::syncPhotos), 1, "image/png", false},
      {"png, all on", all, 1, "image/png", true},
      {"ombra is an image", without(&SyncPrefs::syncPhotos), 1, "application/vnd.norvane.ombra",
       false},
      {"omb is a creation", without(&SyncPrefs::syncCreations), 1, "application/omb", false},
      {"zip is a creation", without(&SyncPrefs::syncCreations), 1, "application/zip", false},
      {"empty is a creation", without(&SyncPrefs::syncCreations), 1, "", false},
      {"pdf", without(&SyncPrefs::syncPDFs), 1, "application/pdf", false},
      {"audio", without(&SyncPrefs::syncAudio), 1, "audio/mpeg", false},
      {"video", without(&SyncPrefs::syncVideo), 1, "video/mp4", false},
      {"main type exact", without(&SyncPrefs::syncCreations), 1, "images/png", false},
      {"at the limit", limit(true, 10), 10485760, "image/png", true},
      {"over the limit", limit(true, 10), 10485761, "image/png", false},
      {"limit not selected", limit(false, 10), 1LL << 40, "image/png", true},
      {"zero limit", limit(true, 0), 1LL << 40, "image/png", true},
      {"fractional limit", limit(true, 0.5), 524289, "image/png", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(VTL::IsValidMediaForSync(c.prefs, c.size, c.mime), c.valid) << c.name;
  }

  for (const char* m : {"image/jpeg", "video/"}) EXPECT_TRUE(IsAllowedSyncMimeType(m)) << m;
  for (const char* m : {"image/png", "x-video/mp4", "image/jpeg2"}) {
    EXPECT_FALSE(IsAllowedSyncMimeType(m)) << m;
  }
}

TEST(MediaEligibility, ExtensionListsLoadOnceUntilCleared) {
  prefs_env env;
  vantor_prefs::ClearSyncExtensionLists();
  env.write_user_key("software\\norvane\\vidalune\\14.0\\Settings\\Organizer",
                     "VideoExtensions=MP4,mov\nAudioExtensions=mp3\nImageExtensions=\n");
  env.write_user_key("software\\norvane\\tessarin\\14.0\\Organizer",
                     "PluginACRSupportedFormatExtensions=\"CR2,nef\"\n"
                     "PluginImageFormatExtensions=\"JPG,png\"\n");

  for (const char* p : {"a.b/c.mp4", "C.MOV", "s.Mp3"}) EXPECT_TRUE(IsSyncMediaExtension(p)) << p;
  for (const char* p : {"mp4", "clip.mp4.txt", "clip."}) EXPECT_FALSE(IsSyncMediaExtension(p)) << p;
  EXPECT_TRUE(IsRawImageExtension("x.cr2"));
  EXPECT_FALSE(IsRawImageExtension("x.mp4"));
  EXPECT_EQ(vantor_prefs::OrganizerImageExtensions(), (std::vector<std::string>{"jpg", "png"}));

  // Kept until cleared, then read again.
  env.write_user_key("software\\norvane\\vidalune\\14.0\\Settings\\Organizer",
                     "VideoExtensions=avi\n");
  EXPECT_TRUE(IsSyncMediaExtension("clip.mp4"));
  vantor_prefs::ClearSyncExtensionLists();
  EXPECT_FALSE(IsSyncMediaExtension("clip.mp4"));
  EXPECT_TRUE(IsSyncMediaExtension("clip.avi"));
  vantor_prefs::ClearSyncExtensionLists();
}

}  // namespace
}  // namespace vantor_test
