// The preference screen export against a real catalog and the reference membership client.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/well_known_tags.h"
#include "platform/sync_util.h"
#include "preferences/library_state.h"
#include "tests/preferences/prefs_test_env.h"

namespace vantor_test {
namespace {

namespace md = vael_util::metadata_identifier;

struct screen_result {
  VTL::error_code code;
  std::string local;
  std::string online;
  std::string log;
};

class ScreenXmlTest : public sync_catalog_test {
 protected:
  screen_result call(bool markAll) const {
    screen_result r{VTL::success, "L:", "O:", ""};
    r.log = capture_stderr(
        [&] { r.code = VTL::GetXMLForSyncPrefs(folder_, r.local, r.online, "ignored", markAll); });
    EXPECT_EQ(vantor_prefs::gCatalogConnection, nullptr) << "the connection outlived the call";
    return r;
  }
};

// One element of the local tree, as the host reads it.
std::string local_tag(const std::string& label, const std::string& type, int id,
                      const std::string& online, int height, int mark,
                      const std::string& children = "") {
  return "\n<tag label =\"" + label + "\"\n type =\"" + type + "\"\n localid =\"" +
         std::to_string(id) + "\"\n onlineid =\"" + online + "\"\n height =\"" +
         std::to_string(height) + "\"\n ismarkedforsync =\"" + std::to_string(mark) + "\">" +
         children + "\n</tag>";
}

constexpr char kLocalHead[] =
    "L:\n<syncsettings>\n<tagsdata>\n<tagnamespace type=\"collection_tag\">";
constexpr char kLocalTail[] = "\n</tagnamespace>\n</tagsdata>\n</syncsettings>";

TEST_F(ScreenXmlTest, LocalTreeIsExactAndMarksFollowTheStatus) {
  make_catalog();
  const struct {
    const char* name;
    int parent;  // index into the table, -1 for the top of collection_ns
    bool group;
    int status;  // -1: no value
    const char* acl;
  } albums[] = {
      {"Holiday & \"trip\"", -1, false, -1, nullptr},
      {"Family", -1, true, 2, nullptr},
      {"Kids", 1, false, 1, "r"},
      {"Pets", 1, false, 1, "w"},
      {"Cleared", 1, false, 0, nullptr},
  };
  std::vector<int> ids;
  write([&](const vael::connection_handle& h) {
    const auto ns = vael::get_custom_tag_namespace(h, vael_util::ns_name::collection);
    std::vector<vael::tag> tags;
    for (const auto& a : albums) {
      const vael::tag_type_t& type =
          a.group ? vael_util::album_group_type() : vael_util::album_type();
      tags.push_back(a.parent < 0 ? ns.create_tag(a.name, type)
                                  : tags[static_cast<size_t>(a.parent)].create_child(a.name, type));
      ids.push_back(tags.back().get_id());
      if (a.status >= 0) {
        vael_util::create_tag_metadata(h, md::tag_sync_status, 1, ids.back(),
                                       std::int64_t{a.status});
      }
      if (a.acl != nullptr) vael_util::create_tag_metadata(h, md::acl_public, 0, ids.back(), a.acl);
    }
    // Neither these nor their children are shown.
    ns.create_tag("Viiv", vael_util::album_intel_viiv_type())
        .create_child("Inner", vael_util::album_type());
  });
  // A group shows no online id even when the album store has one.
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(ids[2], "on-kids", 1, "", ""), 0);
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(ids[1], "on-fam", 1, "", ""), 0);

  // With markAllForSync only the albums never marked either way change: no value reads as 0.
  for (const bool all : {false, true}) {
    const screen_result r = call(all);
    ASSERT_EQ(r.code, VTL::success) << r.log;
    EXPECT_EQ(r.log, "");
    const std::string family_children =
        local_tag("Kids", "collection", ids[2], "on-kids", 2, 3) +
        local_tag("Pets", "collection", ids[3], "", 2, 1) +
        local_tag("Cleared", "collection", ids[4], "", 2, all ? 1 : 0);
    EXPECT_EQ(
        r.local,
        kLocalHead +
            local_tag("Holiday &amp; &quot;trip&quot;", "collection", ids[0], "", 1, all ? 1 : 0) +
            local_tag("Family", "collection_group", ids[1], "", 1, 2, family_children) + kLocalTail)
        << all;
  }
}

TEST_F(ScreenXmlTest, OnlineTreeIsExactAndSharingDetailsAreKept) {
  make_catalog();
  write_state(R"({"ticket": "t-1", "quota": 2048, "storage_used": "512", "albums": [
      {"title": "Trip <1>", "parents": "Travel & more", "online_id": "a1", "type": "album group",
       "access": "r", "privacy": "public", "template_id": "tm", "permissions": "rw"},
      {"title": "", "online_id": "a2", "access": "r"},
      {"title": "Bare", "online_id": "a3", "type": "album", "privacy": "Public"}]})");
  vantor_prefs::gSharedAlbums["a3"].isSharedFlat = true;
  vantor_prefs::gSharedAlbums["other"].templateId = "kept";

  const screen_result r = call(false);
  ASSERT_EQ(r.code, VTL::success) << r.log;
  EXPECT_EQ(r.online,
            "O:<syncsettings><tagsdata><tagnamespace type = \"user_tag\">"
            "\n<tag label =\"Trip &lt;1&gt;\"\n parents =\"Travel & more\"\n localid =\"\""
            "\n onlineid =\"a1\"\n type =\"collection_group\"\n height =\"1\""
            "\n isLiveAlbum =\"false\">\n</tag>"
            "\n<tag label =\"Bare\"\n parents =\"\"\n localid =\"\"\n onlineid =\"a3\""
            "\n type =\"collection\"\n height =\"1\"\n isLiveAlbum =\"false\">\n</tag>"
            "</tagnamespace></tagsdata><KSVStorage quota = \"2048\" storageused = \"512\"/>"
            "</syncsettings>");
  EXPECT_EQ(r.local, std::string(kLocalHead) + kLocalTail);

  const auto& shared = vantor_prefs::gSharedAlbums;
  ASSERT_EQ(shared.size(), 3u) << "a2 has no title, so no entry";
  const vantor_prefs::SharedAlbumInfo& a1 = shared.at("a1");
  EXPECT_EQ(std::tie(a1.onlineid, a1.isSharedFlat, a1.isPublic, a1.templateId, a1.permissions,
                     a1.first, a1.second),
            std::make_tuple("a1", true, 1u, "tm", "rw", "", ""));
  EXPECT_FALSE(shared.at("a3").isSharedFlat) << "replaced, not merged";
  EXPECT_EQ(shared.at("a3").isPublic, 0u) << "privacy compares exactly";
  EXPECT_EQ(shared.at("other").templateId, "kept");
}

TEST_F(ScreenXmlTest, FailuresGiveTheirResultsAndLogs) {
  const std::string list_fail = "Vantor : Invalid Credentials.Failed in ListTags Call\nVantor : ";
  const std::string online_ok =
      "O:<syncsettings><tagsdata><tagnamespace type = \"user_tag\"></tagnamespace></tagsdata>"
      "<KSVStorage quota = \"\" storageused = \"\"/></syncsettings>";
  const auto listing = [this](const char* status) {
    return [this, status] {
      write_state(std::string(R"({"ticket": "t-1", "list_tags_status": ")") + status + "\"}");
    };
  };
  const struct {
    const char* name;
    std::function<void()> setup;
    VTL::error_code code;
    std::string log;
    std::string online;
  } cases[] = {
      {"sync catalog elsewhere", [this] { env_.write_strand("/elsewhere", "ann", "t-1"); },
       VTL::change_catalog_required, "Vantor : Change Sync Catalog required\n", "O:"},
      {"signed out", [this] { env_.write_strand(folder_, "", ""); }, VTL::not_logged_in,
       "Vantor : Not Logged In Error\n", "O:"},
      {"no client",
       [this] { ::setenv("VANTOR_KSV_LIBRARY", env_.box().path("none.so").c_str(), 1); },
       VTL::unknown_error, "", "O:"},
      {"ticket refused", [this] { write_state(R"({"ticket": "t-2"})"); }, VTL::invalid_credentials,
       "Vantor : Invalid Credentials.Failed in SetAuthInfo Call:\n", "O:"},
      // The status goes to the log as a decimal number: the code's first letter is its top byte.
      {"invalid credentials", listing("icrd"), VTL::invalid_credentials, list_fail + "1768125028\n",
       "O:"},
      {"expired session", listing("esex"), VTL::invalid_credentials, list_fail + "1702061432\n",
       "O:"},
      {"other list failure", listing("oops"), VTL::unknown_error, list_fail + "1869574259\n", "O:"},
      {"no catalog file", [] {}, VTL::catalog_error,
       "Vantor : Unable to retrive from Vael.Connection not valid.\n", online_ok},
      {"no collection_ns", [this] { make_catalog(false); }, VTL::unknown_error,
       "Vantor : Unhandled Exception.\n", online_ok},
  };
  for (const auto& c : cases) {
    std::filesystem::remove(catalog_);
    env_.write_strand(folder_, "ann", "t-1");
    write_state(R"({"ticket": "t-1"})");
    ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1);
    c.setup();
    const screen_result r = call(false);
    EXPECT_EQ(r.code, c.code) << c.name;
    EXPECT_EQ(r.log, c.log) << c.name;
    EXPECT_EQ(r.online, c.online) << c.name;
    EXPECT_EQ(r.local, "L:") << c.name;
    EXPECT_EQ(vantor_prefs::gCatalogFolder, folder_) << c.name;
  }
}

}  // namespace
}  // namespace vantor_test
