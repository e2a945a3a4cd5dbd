// The preference screen export against a real catalog and the reference membership client.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"
#include "catalog/transaction.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/well_known_tags.h"
#include "environment/catalog_paths.h"
#include "platform/sync_util.h"
#include "preferences/library_state.h"
#include "tests/preferences/prefs_test_env.h"
#include "vantor/vantor.h"

namespace vantor_test {
namespace {

namespace md = vael_util::metadata_identifier;

struct screen_result {
  VTL::error_code code;
  std::string local;
  std::string online;
  std::string log;
};

class ScreenXmlTest : public ::testing::Test {
 protected:
  ScreenXmlTest() {
    ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1);
    ::setenv("VANTOR_KSV_LOCAL_STATE", env_.box().path("ksv.json").c_str(), 1);
    env_.write_strand(folder_, "ann", "t-1");
    write_state(R"({"ticket": "t-1"})");
    std::filesystem::create_directories(folder_);
    vantor_prefs::gSharedAlbums.clear();
  }
  ~ScreenXmlTest() override {
    ::unsetenv("VANTOR_KSV_LIBRARY");
    ::unsetenv("VANTOR_KSV_LOCAL_STATE");
  }

  void write_state(const std::string& json) const { env_.box().write_file("ksv.json", json); }

  // A new catalog file, given the defaults of a new catalog when `defaults` is set.
  void make_catalog(bool defaults) {
    std::ofstream(catalog_).close();
    catalog_connection_ = std::make_unique<vael::connection>(catalog_);
    if (!defaults) return;
    write([&] {
      vael_util::initialize_catalog_defaults(
          h(), {"", "Family", "Friends", "Colleagues", "", "", "Nature", "Travel", "Hobbies",
                "Misc", "QR Code", "", "", "Smart Albums"});
    });
  }
  const vael::connection_handle& h() const { return catalog_connection_->handle(); }
  void write(const std::function<void()>& step) const {
    vael::transaction t(h());
    t.begin(true, 1);
    step();
    t.commit();
  }
  // Closes the test's own connection, as the host's organizer would have it closed.
  void close_catalog() { catalog_connection_.reset(); }

  screen_result call(bool markAll) const {
    screen_result r{VTL::success, "L:", "O:", ""};
    r.log = capture_stderr(
        [&] { r.code = VTL::GetXMLForSyncPrefs(folder_, r.local, r.online, "ignored", markAll); });
    EXPECT_EQ(vantor_prefs::gCatalogConnection, nullptr) << "the connection outlived the call";
    return r;
  }

  prefs_env env_;
  const std::string folder_ = env_.box().path("cat");
  const std::string catalog_ = folder_ + "/" + vantor_env::GetCatalogFileName();
  std::unique_ptr<vael::connection> catalog_connection_;
};

// The mark shown for the album labelled `label`, or -1 when it is not in `xml`.
int mark_of(const std::string& xml, const std::string& label) {
  const auto at = xml.find("<tag label =\"" + label + "\"");
  if (at == std::string::npos) return -1;
  const std::string key = "ismarkedforsync =\"";
  return std::stoi(xml.substr(xml.find(key, at) + key.size()));
}

TEST_F(ScreenXmlTest, LocalTreeIsExactAndMarksFollowTheStatus) {
  make_catalog(true);
  struct album {
    const char* name;
    int parent;  // index into the table, -1 for the top of collection_ns
    bool group;
    int status;  // -1: no value
    const char* acl;
    int mark;
    int mark_with_mark_all;
  };
  const album albums[] = {
      {"Holiday & \"trip\"", -1, false, -1, nullptr, 0, 1},
      {"Family", -1, true, 2, nullptr, 2, 2},
      {"Kids", 1, false, 1, "r", 3, 3},
      {"Pets", 1, false, 1, "w", 1, 1},
      {"Cleared", 1, false, 0, nullptr, 0, 1},
  };
  std::vector<vael::tag> tags;
  write([&] {
    const auto ns = vael::get_custom_tag_namespace(h(), vael_util::ns_name::collection);
    for (const album& a : albums) {
      const vael::tag_type_t& type =
          a.group ? vael_util::album_group_type() : vael_util::album_type();
      tags.push_back(a.parent < 0 ? ns.create_tag(a.name, type)
                                  : tags[static_cast<size_t>(a.parent)].create_child(a.name, type));
      const int id = tags.back().get_id();
      if (a.status >= 0) {
        vael_util::create_tag_metadata(h(), md::tag_sync_status, 1, id, std::int64_t{a.status});
      }
      if (a.acl != nullptr) vael_util::create_tag_metadata(h(), md::acl_public, 0, id, a.acl);
    }
    // Neither these nor their children are shown.
    ns.create_tag("Viiv", vael_util::album_intel_viiv_type())
        .create_child("Inner", vael_util::album_type());
  });
  const auto id = [&](size_t i) { return std::to_string(tags[i].get_id()); };
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(tags[2].get_id(), "on-kids", 1, "", ""), 0);
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(tags[1].get_id(), "on-fam", 1, "", ""), 0);
  close_catalog();

  const screen_result r = call(false);
  ASSERT_EQ(r.code, VTL::success) << r.log;
  EXPECT_EQ(r.log, "");
  EXPECT_EQ(r.local,
            "L:\n<syncsettings>\n<tagsdata>\n<tagnamespace type=\"collection_tag\">"
            "\n<tag label =\"Holiday &amp; &quot;trip&quot;\"\n type =\"collection\""
            "\n localid =\"" +
                id(0) +
                "\"\n onlineid =\"\"\n height =\"1\""
                "\n ismarkedforsync =\"0\">\n</tag>"
                "\n<tag label =\"Family\"\n type =\"collection_group\"\n localid =\"" +
                id(1) +
                "\"\n onlineid =\"\"\n height =\"1\"\n ismarkedforsync =\"2\">"
                "\n<tag label =\"Kids\"\n type =\"collection\"\n localid =\"" +
                id(2) +
                "\"\n onlineid =\"on-kids\"\n height =\"2\"\n ismarkedforsync =\"3\">\n</tag>"
                "\n<tag label =\"Pets\"\n type =\"collection\"\n localid =\"" +
                id(3) +
                "\"\n onlineid =\"\"\n height =\"2\"\n ismarkedforsync =\"1\">\n</tag>"
                "\n<tag label =\"Cleared\"\n type =\"collection\"\n localid =\"" +
                id(4) +
                "\"\n onlineid =\"\"\n height =\"2\"\n ismarkedforsync =\"0\">\n</tag>"
                "\n</tag>\n</tagnamespace>\n</tagsdata>\n</syncsettings>");

  const screen_result all = call(true);
  ASSERT_EQ(all.code, VTL::success) << all.log;
  for (size_t i = 0; i < std::size(albums); ++i) {
    const std::string label = i == 0 ? "Holiday &amp; &quot;trip&quot;" : albums[i].name;
    EXPECT_EQ(mark_of(r.local, label), albums[i].mark) << albums[i].name;
    EXPECT_EQ(mark_of(all.local, label), albums[i].mark_with_mark_all) << albums[i].name;
  }
}

TEST_F(ScreenXmlTest, OnlineTreeIsExactAndSharingDetailsAreKept) {
  make_catalog(true);
  close_catalog();
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
  EXPECT_EQ(r.local,
            "L:\n<syncsettings>\n<tagsdata>\n<tagnamespace type=\"collection_tag\">"
            "\n</tagnamespace>\n</tagsdata>\n</syncsettings>");

  const auto& shared = vantor_prefs::gSharedAlbums;
  ASSERT_EQ(shared.size(), 3u) << "a2 has no title, so no entry";
  const vantor_prefs::SharedAlbumInfo& a1 = shared.at("a1");
  EXPECT_EQ(a1.onlineid, "a1");
  EXPECT_TRUE(a1.isSharedFlat);
  EXPECT_EQ(a1.isPublic, 1u);
  EXPECT_EQ(a1.templateId, "tm");
  EXPECT_EQ(a1.permissions, "rw");
  EXPECT_TRUE(a1.first.empty() && a1.second.empty());
  EXPECT_FALSE(shared.at("a3").isSharedFlat) << "replaced, not merged";
  EXPECT_EQ(shared.at("a3").isPublic, 0u) << "privacy compares exactly";
  EXPECT_EQ(shared.at("other").templateId, "kept");
}

TEST_F(ScreenXmlTest, FailuresGiveTheirResultsAndLogs) {
  const std::string list_fail = "Vantor : Invalid Credentials.Failed in ListTags Call\nVantor : ";
  const std::string online_ok =
      "O:<syncsettings><tagsdata><tagnamespace type = \"user_tag\"></tagnamespace></tagsdata>"
      "<KSVStorage quota = \"\" storageused = \"\"/></syncsettings>";
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
      {"no ticket", [this] { env_.write_strand(folder_, "ann", ""); }, VTL::no_valid_user,
       "Vantor : No Valid User\n", "O:"},
      {"no client",
       [this] { ::setenv("VANTOR_KSV_LIBRARY", env_.box().path("none.so").c_str(), 1); },
       VTL::unknown_error, "", "O:"},
      {"ticket refused", [this] { write_state(R"({"ticket": "t-2"})"); }, VTL::invalid_credentials,
       "Vantor : Invalid Credentials.Failed in SetAuthInfo Call:\n", "O:"},
      {"invalid credentials",
       [this] { write_state(R"({"ticket": "t-1", "list_tags_status": "icrd"})"); },
       VTL::invalid_credentials, list_fail + "1768125028\n", "O:"},
      {"expired session",
       [this] { write_state(R"({"ticket": "t-1", "list_tags_status": "esex"})"); },
       VTL::invalid_credentials, list_fail + "1702061432\n", "O:"},
      {"other list failure",
       [this] { write_state(R"({"ticket": "t-1", "list_tags_status": "oops"})"); },
       VTL::unknown_error, list_fail + "1869574259\n", "O:"},
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
    close_catalog();
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
