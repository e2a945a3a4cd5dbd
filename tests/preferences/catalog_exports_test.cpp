// The exports that read or write a sync catalog, against a real catalog, album store and the
// reference membership client in a sandbox; results are read back with plain SQL. The value
// classes and the bridge that reads the client's answers come first.
#include <sys/resource.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/media.h"
#include "catalog/tag.h"
#include "catalog/transaction.h"
#include "catalog/version_stack.h"
#include "catalog/volume_manager.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/well_known_tags.h"
#include "platform/album_store.h"
#include "platform/sync_util.h"
#include "preferences/conflict_xml.h"
#include "preferences/ksv_bridge.h"
#include "preferences/ksv_values.h"
#include "preferences/library_state.h"
#include "preferences/tag_selection.h"
#include "tests/preferences/prefs_test_env.h"
#include "tests/support/sql_rows.h"
#include "vantor/ksv_client.h"

namespace vantor_test {
namespace {

namespace md = vael_util::metadata_identifier;
using vantor_prefs::gSharedAlbums;
using vantor_prefs::ksv_map;
using vantor_prefs::ksv_ref;

// A text value that counts how many of its kind are alive, so that leaks and early deletes
// show.
int live_probes = 0;
class probe final : public KSV::CBaseImpl<KSV::StringValue, KSV::codes::bStr> {
 public:
  probe() { ++live_probes; }
  ~probe() override { --live_probes; }
  KSV::Status Get(char* buffer, unsigned* size) override { return inner_.Get(buffer, size); }

 private:
  KSV::CStringValue inner_{"probe"};
};

// A map over fixed pairs. A key of 0 is handed out as a probe, which is no code, and an empty
// text as a number, which is no text.
class fixed_map final : public KSV::CBaseImpl<KSV::Map, KSV::codes::mapE> {
 public:
  explicit fixed_map(std::vector<std::pair<KSV::Code, std::string>> pairs)
      : pairs_(std::move(pairs)) {}
  KSV::Status Next(KSV::Base** key, KSV::Base** value) override {
    if (next_ == pairs_.size()) return KSV::codes::eEnd;
    const auto& [code, text] = pairs_[next_++];
    *key = code == 0 ? static_cast<KSV::Base*>(new probe()) : new KSV::CUnsignedInt32Value(code);
    *value = text.empty() ? static_cast<KSV::Base*>(new KSV::CUnsignedInt32Value(1))
                          : new KSV::CStringValue(text);
    return KSV::codes::ok;
  }

 private:
  std::vector<std::pair<KSV::Code, std::string>> pairs_;
  size_t next_ = 0;
};

TEST(KsvValues, FollowTheCountingAndCopyRules) {
  ksv_ref<KSV::StringValue> text(new KSV::CStringValue("abc"));
  char buffer[8] = "xxxxxxx";
  for (unsigned given : {3u, 100u}) {
    unsigned size = given;
    EXPECT_EQ(text->Get(given == 3 ? buffer : nullptr, &size), KSV::codes::bufI) << given;
    EXPECT_EQ(size, 4u) << given;
  }
  EXPECT_EQ(buffer[0], 'x') << "nothing copied into a buffer too small";
  unsigned size = 4;
  EXPECT_EQ(text->Get(buffer, &size), KSV::codes::ok);
  EXPECT_STREQ(buffer, "abc");

  void* out = &size;
  EXPECT_EQ(text->QueryInterface(KSV::codes::uint, &out), KSV::codes::erro);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(text->QueryInterface(KSV::codes::bStr, nullptr), KSV::codes::erro);
  ASSERT_EQ(text->QueryInterface(KSV::codes::bAsE, &out), KSV::codes::ok);
  EXPECT_EQ(out, static_cast<KSV::Base*>(text.get()));
  ASSERT_EQ(text->QueryInterface(KSV::codes::bStr, &out), KSV::codes::ok);
  EXPECT_EQ(out, text.get());
  EXPECT_EQ(text->Release(), 2) << "two references were handed out";
  EXPECT_EQ(text->Release(), 1);
}

// In the Itanium C++ ABI a pointer to a virtual member holds 1 + the byte offset of its table
// entry, which gives the place a client's table must have it at.
template <class M>
std::uintptr_t place(M member) {
  std::uintptr_t words[sizeof(M) / sizeof(std::uintptr_t)];
  static_assert(sizeof words == sizeof member);
  std::memcpy(words, &member, sizeof member);
  return (words[0] - 1) / sizeof(void*);
}

TEST(KsvClientHeader, OperationsSitAtTheirTablePlaces) {
  using namespace KSV;
  EXPECT_EQ((std::vector<std::uintptr_t>{
                place(&Base::QueryInterface), place(&Base::AddRef), place(&Base::Release),
                place(&StringValue::Get), place(&UnsignedInt32Value::Get), place(&List::Next),
                place(&Map::Next), place(&Library::SetAuthInfo), place(&Library::GetServerTime),
                place(&Library::ListTags), place(&Library::GetStorageInfo)}),
            (std::vector<std::uintptr_t>{0, 1, 2, 4, 4, 4, 4, 4, 9, 24, 52}));
}

TEST(KsvBridge, ReadsMapsAndReleasesWhatItRead) {
  fixed_map repeated(
      {{KSV::codes::tgti, "first"}, {KSV::codes::srid, "id"}, {KSV::codes::tgti, "second"}});
  EXPECT_EQ(vantor_prefs::ReadKsvMap(repeated),
            (ksv_map{{KSV::codes::tgti, "first"}, {KSV::codes::srid, "id"}}));

  // A key that is no code, or a value that is no text, ends the map with what came before.
  fixed_map bad_key({{KSV::codes::tgti, "kept"}, {0, "x"}, {KSV::codes::srid, "lost"}});
  EXPECT_EQ(vantor_prefs::ReadKsvMap(bad_key), (ksv_map{{KSV::codes::tgti, "kept"}}));
  fixed_map bad_value({{KSV::codes::thie, ""}, {KSV::codes::srid, "lost"}});
  EXPECT_TRUE(vantor_prefs::ReadKsvMap(bad_value).empty());
  EXPECT_EQ(live_probes, 0) << "every key and value handed out was released";

  ksv_ref<KSV::Base> tag(new fixed_map({{KSV::codes::ttty, "album group"}}));
  EXPECT_EQ(vantor_prefs::ReadKsvTag(*tag), (ksv_map{{KSV::codes::ttty, "album group"}}));
  ksv_ref<KSV::Base> not_a_map(new probe());
  EXPECT_TRUE(vantor_prefs::ReadKsvTag(*not_a_map).empty());

  EXPECT_EQ(vantor_prefs::ReadKsvString(ksv_ref<KSV::StringValue>(new probe())), "probe");
  EXPECT_EQ(live_probes, 1) << "ReadKsvString released its value";
}

struct screen_result {
  VTL::error_code code;
  std::string local, online, log;
};

// A signed-in user ("ann", ticket "t-1") whose sync catalog is <root>/cat, the reference
// membership client serving <root>/ksv.json for that ticket, and no shared album details.
class SyncCatalogTest : public ::testing::Test {
 protected:
  SyncCatalogTest() {
    ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1);
    env_.write_strand(folder_, "ann", "t-1");
    write_state(R"({"ticket": "t-1"})");
    std::filesystem::create_directories(folder_);
    gSharedAlbums.clear();
  }

  void write_state(const std::string& json) const { env_.box().write_file("ksv.json", json); }
  // Makes the catalog file, with the albums and namespaces of a new catalog when `defaults`.
  void make_catalog(bool defaults = true) const {
    env_.box().write_file("cat/catalog.omb14db", "");
    write([&](const vael::connection_handle& h) {
      if (!defaults) return;
      vael_util::initialize_catalog_defaults(
          h, {"", "Family", "Friends", "Colleagues", "", "", "Nature", "Travel", "Hobbies", "Misc",
              "QR Code", "", "", "Smart Albums"});
    });
  }
  // Runs `step` on a connection of its own, in a transaction that is then committed.
  void write(const std::function<void(const vael::connection_handle&)>& step) const {
    vael::connection c(catalog_);
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    step(c.handle());
    t.commit();
  }
  std::string rows(const std::string& sql) const { return sql_rows(catalog_, sql); }
  int tag_id(const std::string& name) const {
    return std::stoi(rows("SELECT id FROM tag_table WHERE name = '" + name + "'"));
  }
  // A collection in collection_ns made outside the exports, as the organizer would.
  int existing_album(const std::string& name) const {
    write([&](const vael::connection_handle& h) {
      vael::get_tag(h, tag_id("collection_ns")).create_child(name, {"collection", true});
    });
    return tag_id(name);
  }
  // The preference screen export, on output texts that start "L:" and "O:".
  screen_result screen(bool markAll) const {
    screen_result r{VTL::success, "L:", "O:", ""};
    r.log = capture_stderr(
        [&] { r.code = VTL::GetXMLForSyncPrefs(folder_, r.local, r.online, "ignored", markAll); });
    EXPECT_EQ(vantor_prefs::gCatalogConnection, nullptr) << "the connection outlived the call";
    return r;
  }

  prefs_env env_;
  const std::string folder_ = env_.box().path("cat");
  const std::string catalog_ = folder_ + "/catalog.omb14db";
};

// The album list and its failures go through the screen export's tests; these are the
// clients that cannot serve at all, and the clock, which needs no sign-in.
TEST_F(SyncCatalogTest, ServerTimeIsAppendedAndClientsThatCannotServeFail) {
  std::string time = "kept:";
  std::filesystem::remove(env_.box().path("ksv.json"));
  EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time)) << "no state file";
  write_state("{\"server_time\": \"2024-05-01T10:00:00Z\"}");
  EXPECT_TRUE(VTL::GetCurrentServerTimeFromKSV(time));
  EXPECT_EQ(time, "kept:2024-05-01T10:00:00Z");
  write_state("{\"albums\": 3}");
  EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time)) << "malformed state";
  EXPECT_EQ(time, "kept:2024-05-01T10:00:00Z");

  // Clients that cannot serve fail quietly, and a refusal is logged.
  const std::pair<std::string, std::string> cases[] = {
      {env_.box().path("nowhere.so"), ""},
      {VANTOR_TEST_KSV_NO_ENTRY, ""},
      {VANTOR_TEST_KSV_REFUSING, "Vantor : KSV Library Pointer not valid\n"}};
  for (const auto& [client, log] : cases) {
    ::setenv("VANTOR_KSV_LIBRARY", client.c_str(), 1);
    EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time)) << client;
    VTL::error_code code = VTL::success;
    EXPECT_EQ(capture_stderr([&] {
                try {
                  vantor_prefs::GetAuthenticatedKsvLibrary("t-1");
                } catch (VTL::error_code e) {
                  code = e;
                }
              }),
              log)
        << client;
    EXPECT_EQ(code, VTL::unknown_error) << client;
  }
}

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

TEST_F(SyncCatalogTest, ScreenLocalTreeIsExactAndMarksFollowTheStatus) {
  make_catalog();
  std::vector<int> ids;
  write([&](const vael::connection_handle& h) {
    const auto ns = vael::get_custom_tag_namespace(h, vael_util::ns_name::collection);
    // Keeps the tag's id; `status` -1 writes no status.
    const auto keep = [&](const vael::tag& t, int status, const char* acl = nullptr) {
      ids.push_back(t.get_id());
      if (status >= 0) {
        vael_util::create_tag_metadata(h, md::tag_sync_status, 1, t.get_id(), std::int64_t{status});
      }
      if (acl != nullptr) vael_util::create_tag_metadata(h, md::acl_public, 0, t.get_id(), acl);
      return t;
    };
    keep(ns.create_tag("Holiday & \"trip\"", vael_util::album_type()), -1);
    const vael::tag family = keep(ns.create_tag("Family", vael_util::album_group_type()), 2);
    keep(family.create_child("Kids", vael_util::album_type()), 1, "r");
    keep(family.create_child("Pets", vael_util::album_type()), 1, "w");
    keep(family.create_child("Cleared", vael_util::album_type()), 0);
    // Neither these nor their children are shown.
    ns.create_tag("Viiv", vael_util::album_intel_viiv_type())
        .create_child("Inner", vael_util::album_type());
  });
  // A group shows no online id even when the album store has one.
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(ids[2], "on-kids", 1, "", ""), 0);
  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(ids[1], "on-fam", 1, "", ""), 0);

  // With markAllForSync only the albums never marked either way change: no value reads as 0.
  for (const bool all : {false, true}) {
    const screen_result r = screen(all);
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

TEST_F(SyncCatalogTest, ScreenOnlineTreeIsExactAndSharingDetailsAreKept) {
  make_catalog();
  write_state(R"({"ticket": "t-1", "quota": 2048, "storage_used": "512", "albums": [
      {"title": "Trip <1>", "parents": "Travel & more", "online_id": "a1", "type": "album group",
       "access": "r", "privacy": "public", "template_id": "tm", "permissions": "rw"},
      {"title": "", "online_id": "a2", "access": "r"},
      {"title": "Bare", "online_id": "a3", "type": "album", "privacy": "Public"}]})");
  gSharedAlbums["a3"].isSharedFlat = true;
  gSharedAlbums["other"].templateId = "kept";

  const screen_result r = screen(false);
  ASSERT_EQ(r.code, VTL::success) << r.log;
  EXPECT_EQ(r.online,
            "O:<syncsettings><tagsdata><tagnamespace type = \"user_tag\">"
            "\n<tag label =\"Trip &lt;1&gt;\"\n parents =\"Travel &amp; more\"\n localid =\"\""
            "\n onlineid =\"a1\"\n type =\"collection_group\"\n height =\"1\""
            "\n isLiveAlbum =\"false\">\n</tag>"
            "\n<tag label =\"Bare\"\n parents =\"\"\n localid =\"\"\n onlineid =\"a3\""
            "\n type =\"collection\"\n height =\"1\"\n isLiveAlbum =\"false\">\n</tag>"
            "</tagnamespace></tagsdata><KSVStorage quota = \"2048\" storageused = \"512\"/>"
            "</syncsettings>");
  EXPECT_EQ(r.local, std::string(kLocalHead) + kLocalTail);

  ASSERT_EQ(gSharedAlbums.size(), 3u) << "a2 has no title, so no entry";
  const vantor_prefs::SharedAlbumInfo& a1 = gSharedAlbums.at("a1");
  EXPECT_EQ(std::tie(a1.onlineid, a1.isSharedFlat, a1.isPublic, a1.templateId, a1.permissions,
                     a1.first, a1.second),
            std::make_tuple("a1", true, 1u, "tm", "rw", "", ""));
  EXPECT_FALSE(gSharedAlbums.at("a3").isSharedFlat) << "replaced, not merged";
  EXPECT_EQ(gSharedAlbums.at("a3").isPublic, 0u) << "privacy compares exactly";
  EXPECT_EQ(gSharedAlbums.at("other").templateId, "kept");
}

TEST_F(SyncCatalogTest, ScreenFailuresGiveTheirResultsAndLogs) {
  const std::string list_fail = "Vantor : Invalid Credentials.Failed in ListTags Call\nVantor : ";
  const std::string online_ok =
      "O:<syncsettings><tagsdata><tagnamespace type = \"user_tag\"></tagnamespace></tagsdata>"
      "<KSVStorage quota = \"\" storageused = \"\"/></syncsettings>";
  const auto listing = [this](const char* status) {
    return [this, status] {
      write_state(std::string(R"({"ticket": "t-1", "list_tags_status": ")") + status + "\"}");
    };
  };
  // Name, setup, result, log and online text.
  const std::tuple<const char*, std::function<void()>, VTL::error_code, std::string, std::string>
      cases[] = {
          {"sync catalog elsewhere", [this] { env_.write_strand("/elsewhere", "ann", "t-1"); },
           VTL::change_catalog_required, "Vantor : Change Sync Catalog required\n", "O:"},
          {"signed out", [this] { env_.write_strand(folder_, "", ""); }, VTL::not_logged_in,
           "Vantor : Not Logged In Error\n", "O:"},
          {"ticket refused", [this] { write_state(R"({"ticket": "t-2"})"); },
           VTL::invalid_credentials, "Vantor : Invalid Credentials.Failed in SetAuthInfo Call:\n",
           "O:"},
          // The status goes to the log as a decimal number: the code's first letter is its top
          // byte.
          {"invalid credentials", listing("icrd"), VTL::invalid_credentials,
           list_fail + "1768125028\n", "O:"},
          {"expired session", listing("esex"), VTL::invalid_credentials, list_fail + "1702061432\n",
           "O:"},
          {"other list failure", listing("oops"), VTL::unknown_error, list_fail + "1869574259\n",
           "O:"},
          {"no catalog file", [] {}, VTL::catalog_error,
           "Vantor : Unable to retrive from Vael.Connection not valid.\n", online_ok},
          {"no collection_ns", [this] { make_catalog(false); }, VTL::unknown_error,
           "Vantor : Unhandled Exception.\n", online_ok},
      };
  for (const auto& [name, setup, code, log, online] : cases) {
    std::filesystem::remove(catalog_);
    env_.write_strand(folder_, "ann", "t-1");
    write_state(R"({"ticket": "t-1"})");
    ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1);
    setup();
    const screen_result r = screen(false);
    EXPECT_EQ(std::tie(r.code, r.log, r.online, r.local), std::tie(code, log, online, "L:"))
        << name;
    EXPECT_EQ(vantor_prefs::gCatalogFolder, folder_) << name;
  }
}

// One element of the selection text, attributes in the host's order.
std::string album(const std::string& localid, const std::string& onlineid, const std::string& label,
                  int state, const std::string& type = "collection",
                  const std::string& children = "") {
  return "<tag localid=\"" + localid + "\" onlineid=\"" + onlineid + "\" parents=\"\" label=\"" +
         label + "\" ismarkedforsync=\"" + std::to_string(state) +
         "\" isLiveAlbum=\"false\" type=\"" + type + "\">" + children + "</tag>";
}

std::string selection(const std::string& albums) {
  return "<syncsettings><tagsdata><tagnamespace type=\"collection_tag\">" + albums +
         "</tagnamespace></tagsdata></syncsettings>";
}

TEST_F(SyncCatalogTest, SavePrefFileAndItsFailures) {
  make_catalog();
  // Either text empty: the shared details are forgotten and nothing is written.
  for (const auto& [tags, prefs] : {std::pair<std::string, std::string>{"", "<syncon/>"},
                                    std::pair<std::string, std::string>{selection(""), ""}}) {
    gSharedAlbums["o1"].isSharedFlat = true;
    EXPECT_EQ(VTL::SaveSyncPrefs(tags, prefs, "u-1"), VTL::success);
    EXPECT_TRUE(gSharedAlbums.empty());
    EXPECT_FALSE(std::filesystem::exists(folder_ + "/syncdb"));
  }

  gSharedAlbums["o1"].isSharedFlat = true;
  EXPECT_EQ(VTL::SaveSyncPrefs(selection(""), "<syncon value = \"true\">", ""), VTL::success);
  EXPECT_EQ(read_file(folder_ + "/syncdb/.pref"), "<syncon value = \"true\">");
  EXPECT_EQ(gSharedAlbums.size(), 1u) << "a normal save keeps what the screen learnt";

  // A file that cannot be written: nothing of the selection is applied.
  std::filesystem::remove_all(folder_ + "/syncdb");
  env_.box().write_file("cat/syncdb", "a file where the folder belongs");
  EXPECT_EQ(VTL::SaveSyncPrefs(selection(album("", "", "New", 1)), "p", "u-1"), VTL::unknown_error);
  EXPECT_EQ(rows("SELECT COUNT(*) FROM tag_table WHERE name = 'New'"), "0\n");

  // No catalog file: 6, no log line, no file.
  env_.write_strand(env_.box().path("elsewhere"), "ann", "t-1");
  std::filesystem::create_directories(env_.box().path("elsewhere"));
  VTL::error_code result = VTL::success;
  EXPECT_EQ(capture_stderr([&] { result = VTL::SaveSyncPrefs(selection(""), "p", "u-1"); }), "");
  EXPECT_EQ(result, VTL::catalog_error);
  EXPECT_FALSE(std::filesystem::exists(env_.box().path("elsewhere/syncdb")));
}

// Existing albums take their marks; marked albums without local tags are made in collection_ns
// with their unsaved groups, each once, outermost first; online albums take their sharing
// details.
TEST_F(SyncCatalogTest, SaveAppliesTheSelection) {
  make_catalog();
  const int off = existing_album("Off");
  const int on = existing_album("On");
  const int skipped = existing_album("Skipped");
  sync_util::create_or_replace_sync_tag_info(off, "o-off", 1, "", "");
  sync_util::create_or_replace_sync_tag_info(on, "o-on", 1, "", "");
  sync_util::set_album_dirty_if_exists(on, true);
  gSharedAlbums["o-shared"] = {"o-shared", "", "", true, 1, "tmpl-7", "rw"};

  const std::string text = selection(
      album(std::to_string(off), "o-off", "Off", 0) + album(std::to_string(on), "", "On", 1) +
      album(std::to_string(skipped), "", "Skipped", 2) + album("", "o-online", "Online only", 2) +
      album("", "", "Top", 1) +
      album("", "g1", "Outer", 2, "collection_group",
            album("", "g2", "Inner", 0, "anything else",
                  album("", "", "First", 1) + album("", "", "Second", 3))) +
      album("", "o-shared", "Shared", 1) + album("", "o-unknown", "Unknown", 1));
  ASSERT_EQ(VTL::SaveSyncPrefs(text, "p", "u-1"), VTL::success);

  EXPECT_EQ(rows("SELECT t.name, p.name, t.type_name, t.media_is_ordered, t.can_tag_media, "
                 "t.can_have_children FROM tag_table t JOIN tag_table p ON p.id = t.parent_id "
                 "WHERE t.id > " +
                 std::to_string(skipped) + " ORDER BY t.id"),
            R"(Top|collection_ns|collection|1|1|1
Outer|collection_ns|collection_group|0|1|1
Inner|Outer|collection_group|0|1|1
First|Inner|collection|1|1|1
Second|Inner|collection|1|1|1
Shared|collection_ns|collection|1|1|1
Unknown|collection_ns|collection|1|1|1
)");
  // State 2 writes nothing; Inner was made for its child after its own mark was read.
  EXPECT_EQ(rows("SELECT t.name || ':' || d.identifier || '=' || v.value FROM tag_table t JOIN "
                 "tag_to_metadata_table l ON l.tag_id = t.id JOIN (SELECT id, description_id, "
                 "value FROM metadata_integer_table UNION ALL SELECT id, description_id, value "
                 "FROM metadata_string_table) v ON v.id = l.metadata_id JOIN "
                 "metadata_description_table d ON d.id = v.description_id WHERE t.id >= " +
                 std::to_string(off) + " ORDER BY 1"),
            R"(First:sync:HalcynTagSyncStatus=1
Off:sync:HalcynTagSyncStatus=0
On:sync:HalcynTagSyncStatus=1
Second:sync:HalcynTagSyncStatus=3
Shared:omb:aclPublic=r
Shared:omb:flatHalcynAlbumTemplateId=tmpl-7
Shared:omb:isSharedHalcynAlbumPublic=1
Shared:omb:sharedHalcynAlbumPermissions=rw
Shared:sync:HalcynTagSyncStatus=3
Top:sync:HalcynTagSyncStatus=1
Unknown:sync:HalcynTagSyncStatus=1
)");
  // The whole album store: Off set dirty, On clean with its link left alone (no online id given),
  // each new online album linked with the change id the commit gave its tag, and clean.
  std::string store;
  for (const auto& r : sync_util::album_store(sync_util::album_store_path(), false).all()) {
    store += std::to_string(r.tag_id) + "|" + r.online_id + "|" + std::to_string(r.change_id) +
             "|" + std::to_string(r.dirty) + "\n";
  }
  EXPECT_EQ(store, rows("SELECT id, CASE name WHEN 'Off' THEN 'o-off|1|1' WHEN 'On' THEN "
                        "'o-on|1|0' ELSE 'o-' || lower(name) || '|' || change_id || '|0' END "
                        "FROM tag_table WHERE name IN ('Off', 'On', 'Shared', 'Unknown') "
                        "AND change_id > 0 ORDER BY id"));
  EXPECT_FALSE(gSharedAlbums.at("o-unknown").isSharedFlat);
  EXPECT_TRUE(vantor_prefs::gTagSelectionStack.empty());
}

TEST_F(SyncCatalogTest, SaveLetsACatalogExceptionOutAndKeepsEarlierCommits) {
  make_catalog();
  std::string expected;
  try {
    write([](const vael::connection_handle& h) { vael::get_tag(h, 999999); });
  } catch (const std::logic_error& e) {
    expected = e.what();
  }
  ASSERT_FALSE(expected.empty());

  const std::string text = selection(album("", "", "Before", 1) +
                                     album("999999", "", "Missing", 0) + album("", "", "After", 1));
  try {
    VTL::SaveSyncPrefs(text, "p", "u-1");
    ADD_FAILURE() << "no exception";
  } catch (const std::logic_error& e) {
    EXPECT_EQ(e.what(), expected);
  }
  EXPECT_EQ(rows("SELECT t.name, m.value FROM tag_table t LEFT JOIN tag_to_metadata_table l ON "
                 "l.tag_id = t.id LEFT JOIN metadata_integer_table m ON m.id = l.metadata_id "
                 "WHERE t.name IN ('Before', 'After')"),
            "Before|1\n");
  EXPECT_TRUE(vantor_prefs::gTagSelectionStack.empty());
  EXPECT_EQ(vantor_prefs::gCatalogConnection, nullptr);
}

namespace pt = boost::posix_time;

// A sync catalog with four media:
//   a "a.jpg", versioned into b, so that b tops their stack;
//   b "b.JPG", with both dates (the organizer's, with a fraction of a second, wins), a size
//     and a height but no width;
//   c "c.omb", with a file date, both sizes and both pixel dimensions;
//   d "no&ext", with a size but no date.
class ConflictXml : public SyncCatalogTest {
 protected:
  ConflictXml() {
    make_catalog(false);
    write([&](const vael::connection_handle& h) {
      const int volume =
          vael::get_volume_manager(h)
              .add_volume({"S1", "one", vael::volume_type::builtin_drive, folder_, 0})
              .id;
      auto add = [&](const char* path) {
        return vael::media::create_master(h, volume, path, "image/jpeg").get_id();
      };
      a_ = add("/pics/a.jpg");
      b_ = add("/pics/b.JPG");
      c_ = add("/pics/c.omb");
      d_ = add("/pics/no&ext");
      // Metadata types: 1 an integer, 3 a date and time.
      auto set = [&](int media, const char* identifier, int type, const dbl::entry_data& value) {
        vael_util::create_media(h, identifier, type, media, value);
      };
      auto time = [](const char* text) { return dbl::entry_data(pt::time_from_string(text)); };
      set(a_, md::file_date, 3, time("2001-01-01 01:01:01"));
      set(a_, md::image_width, 1, std::int64_t{640});
      set(a_, md::image_height, 1, std::int64_t{480});
      set(b_, md::file_date, 3, time("2001-02-02 02:02:02"));
      set(b_, md::last_organizer_modified_time, 3, time("2020-12-31 23:59:58.75"));
      set(b_, md::file_size, 1, std::int64_t{10});
      set(b_, md::image_height, 1, std::int64_t{768});
      set(c_, md::file_date, 3, time("2014-03-05 07:08:09"));
      set(c_, md::file_size, 1, std::int64_t{1});
      set(c_, md::file_size_original, 1, std::int64_t{777});
      set(c_, md::image_width, 1, std::int64_t{1024});
      set(c_, md::image_height, 1, std::int64_t{768});
      set(d_, md::file_size, 1, std::int64_t{5});
      vael::version_stack::create_version(h, b_, a_);
    });
  }

  int a_ = 0, b_ = 0, c_ = 0, d_ = 0;
};

// <NameN>...</NameN>, led by the id asked about and the top of its stack.
std::string element(const std::string& name, int asked, int top, const std::string& body) {
  const std::string tag = name + std::to_string(asked);
  return "<" + tag + "><vaelid value = \"" + std::to_string(asked) + "\" tosvalue = \"" +
         std::to_string(top) + "\"/>" + body + "</" + tag + ">";
}

// The <localdata> of one media: label, date, time, file size and pixel dimensions.
std::string local_data(const std::string& label, const std::string& date, const std::string& time,
                       const std::string& size, const std::string& pixels) {
  return "<localdata><locallabel value = \"" + label + "\"/><localdate value = \"" + date +
         "\"/><localtime value = \"" + time + "\"/><localfilesize value = \"" + size +
         "\"/><localpixel value = \"" + pixels + "\"/></localdata>";
}

TEST_F(ConflictXml, DescribesTheTopOfEachItemWithItsOnlineFacts) {
  const std::string folder = env_.box().path("conflicts") + "/";
  env_.box().write_file("conflicts/" + std::to_string(a_) + "/online.xml", "<online n=\"1\"/>\n");
  const std::string b_local = local_data("b.JPG", "31/12/2020", "23:59:58", "10", "");
  const std::string c_local = local_data("c.omb", "5/3/2014", "7:8:9", "777", "1024x768");
  // d has no date but is described by what is known; 999 is unknown and gets no deletion.
  const std::string d_local = local_data("no&amp;ext", "", "", "5", "");
  std::string out = "left over", reserved = "r";
  ASSERT_EQ(VTL::GetManualConflictResolutionXML({a_, c_, d_}, {b_, 999, d_}, out, folder, reserved),
            VTL::success);
  EXPECT_EQ(out, "<ManualConflictResolution><Conflicts>" +
                     element("Conflict", a_, b_, b_local + "<online n=\"1\"/>\n") +
                     element("Conflict", c_, c_, c_local) + element("Conflict", d_, d_, d_local) +
                     "</Conflicts><Deletions>" + element("Delete", b_, b_, b_local) +
                     element("Delete", d_, d_, d_local) +
                     "</Deletions></ManualConflictResolution>");
  EXPECT_EQ(vantor_prefs::gCatalogConnection, nullptr);

  ASSERT_EQ(VTL::GetManualConflictResolutionXML({}, {}, out, folder, reserved), VTL::success);
  EXPECT_EQ(out,
            "<ManualConflictResolution><Conflicts></Conflicts><Deletions></Deletions>"
            "</ManualConflictResolution>");

  // The host's own catalog state: the top of a's stack, or a itself when there is none.
  vael::connection c(catalog_);
  EXPECT_EQ(VTL::getVersionSetTop(std::make_shared<vael::internal_connection*>(&c.get()), a_), b_);
  EXPECT_EQ(VTL::getVersionSetTop(nullptr, a_), a_);
  EXPECT_EQ(VTL::getVersionSetTop(std::make_shared<vael::internal_connection*>(nullptr), a_), a_)
      << "a catalog error is swallowed";

  // Without the catalog file only the opening is left.
  env_.write_strand(env_.box().path("elsewhere"), "ann", "t-1");
  EXPECT_EQ(VTL::GetManualConflictResolutionXML({a_}, {b_}, out, folder, reserved),
            VTL::catalog_error);
  EXPECT_EQ(out, "<ManualConflictResolution><Conflicts>");
}

// Runs `call` with the address space capped a little above what is in use, and exits with 3
// when std::bad_alloc came out of it, 4 for another exception, 0 for none.
[[noreturn]] void exit_by_exception_under_memory_cap(const std::function<void()>& call) {
  std::ifstream statm("/proc/self/statm");
  unsigned long pages = 0;
  statm >> pages;
  const rlim_t cap = static_cast<rlim_t>(pages) * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
  const rlimit limit{cap + (48u << 20), RLIM_INFINITY};
  ::setrlimit(RLIMIT_AS, &limit);
  int code = 0;
  try {
    call();
  } catch (const std::bad_alloc&) {
    code = 3;
  } catch (...) {
    code = 4;
  }
  std::_Exit(code);
}

// Out of memory has no status code: std::bad_alloc leaves the exports, with the files as they
// were, instead of a cut text or a failure told as something else.
TEST_F(ConflictXml, OutOfMemoryLeavesAsBadAlloc) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "an address space cap does not fit the sanitizer's shadow memory";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  GTEST_SKIP() << "an address space cap does not fit the sanitizer's shadow memory";
#endif
#endif
  const std::string folder = env_.box().path("conflicts") + "/";
  env_.box().write_file("conflicts/" + std::to_string(c_) + "/online.xml", "");
  std::filesystem::resize_file(folder + std::to_string(c_) + "/online.xml", 256u << 20);
  EXPECT_EXIT(exit_by_exception_under_memory_cap([&] {
                std::string out, reserved;
                VTL::GetManualConflictResolutionXML({a_, c_}, {}, out, folder, reserved);
              }),
              ::testing::ExitedWithCode(3), "");

  // The record is made before the cap: only the export's own text must not fit.
  env_.box().write_file("prefs/syncdb/u.pref", "old");
  SyncPrefs big{};
  big.downloadlocationpath.assign(96u << 20, 'x');
  EXPECT_EXIT(exit_by_exception_under_memory_cap(
                  [&] { VTL::SetSyncPrefs(std::move(big), env_.box().path("prefs"), "u"); }),
              ::testing::ExitedWithCode(3), "");
  EXPECT_EQ(read_file(env_.box().path("prefs/syncdb/u.pref")), "old");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(env_.box().path("prefs/syncdb")),
                          std::filesystem::directory_iterator()),
            1);
}

}  // namespace
}  // namespace vantor_test
