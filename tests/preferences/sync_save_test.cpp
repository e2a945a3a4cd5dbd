// SaveSyncPrefs against a real sync catalog and album store in a sandbox; results are read
// back from the catalog file with plain SQL.
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "catalog/tag.h"
#include "platform/album_store.h"
#include "platform/sync_util.h"
#include "preferences/library_state.h"
#include "preferences/tag_selection.h"
#include "tests/preferences/prefs_test_env.h"

namespace vantor_test {
namespace {

using vantor_prefs::gSharedAlbums;

// One element of the selection text, attributes in the host's order.
std::string album(const std::string& localid, const std::string& onlineid, const std::string& label,
                  int state, const std::string& type, const std::string& children = "") {
  return "<tag localid=\"" + localid + "\" onlineid=\"" + onlineid + "\" parents=\"\" label=\"" +
         label + "\" ismarkedforsync=\"" + std::to_string(state) +
         "\" isLiveAlbum=\"false\" type=\"" + type + "\">" + children + "</tag>";
}

std::string selection(const std::string& albums) {
  return "<syncsettings><tagsdata><tagnamespace type=\"collection_tag\">" + albums +
         "</tagnamespace></tagsdata></syncsettings>";
}

class SaveSyncPrefsTest : public sync_catalog_test {
 protected:
  SaveSyncPrefsTest() { make_catalog(); }

  int tag_id(const std::string& name) const {
    return std::stoi(rows("SELECT id FROM tag_table WHERE name = '" + name + "'"));
  }
  std::string count(const std::string& name) const {
    return rows("SELECT COUNT(*) FROM tag_table WHERE name = '" + name + "'");
  }
  // The tag's metadata values, "identifier=value" by identifier.
  std::string values(int tag) const {
    std::string sql;
    for (const char* table : {"metadata_integer_table", "metadata_string_table"}) {
      sql += std::string(sql.empty() ? "" : " UNION ALL ") +
             "SELECT d.identifier || '=' || v.value FROM tag_to_metadata_table l JOIN " + table +
             " v ON v.id = l.metadata_id JOIN metadata_description_table d ON "
             "d.id = v.description_id WHERE l.tag_id = " +
             std::to_string(tag);
    }
    return rows(sql + " ORDER BY 1");
  }
  // A collection in collection_ns made outside the export, as the organizer would.
  int existing_album(const std::string& name) const {
    write([&](const vael::connection_handle& h) {
      vael::get_tag(h, tag_id("collection_ns")).create_child(name, {"collection", true});
    });
    return tag_id(name);
  }
  std::optional<sync_util::album_record> stored(int tag) const {
    if (!std::filesystem::exists(sync_util::album_store_path())) return std::nullopt;
    return sync_util::album_store(sync_util::album_store_path(), false).find(tag);
  }
};

TEST_F(SaveSyncPrefsTest, PrefFileAndItsFailures) {
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
  EXPECT_EQ(VTL::SaveSyncPrefs(selection(album("", "", "New", 1, "collection")), "p", "u-1"),
            VTL::unknown_error);
  EXPECT_EQ(count("New"), "0\n");

  // No catalog file: 6, no log line, no file.
  env_.write_strand(env_.box().path("elsewhere"), "ann", "t-1");
  std::filesystem::create_directories(env_.box().path("elsewhere"));
  VTL::error_code result = VTL::success;
  EXPECT_EQ(capture_stderr([&] { result = VTL::SaveSyncPrefs(selection(""), "p", "u-1"); }), "");
  EXPECT_EQ(result, VTL::catalog_error);
  EXPECT_FALSE(std::filesystem::exists(env_.box().path("elsewhere/syncdb")));
}

TEST_F(SaveSyncPrefsTest, MarksOfExistingAlbums) {
  const int off = existing_album("Off");
  const int on = existing_album("On");
  const int skipped = existing_album("Skipped");
  sync_util::create_or_replace_sync_tag_info(off, "o-off", 1, "", "");
  sync_util::create_or_replace_sync_tag_info(on, "o-on", 1, "", "");
  sync_util::set_album_dirty_if_exists(on, true);

  const std::string text =
      selection(album(std::to_string(off), "o-off", "Off", 0, "collection") +
                album(std::to_string(on), "", "On", 1, "collection") +
                album(std::to_string(skipped), "", "Skipped", 2, "collection") +
                album("", "o-online-only", "Online only", 2, "collection"));
  ASSERT_EQ(VTL::SaveSyncPrefs(text, "p", "u-1"), VTL::success);

  EXPECT_EQ(values(off), "sync:HalcynTagSyncStatus=0\n");
  EXPECT_TRUE(stored(off)->dirty);
  EXPECT_EQ(values(on), "sync:HalcynTagSyncStatus=1\n");
  EXPECT_FALSE(stored(on)->dirty);
  EXPECT_EQ(stored(on)->online_id, "o-on") << "no online id: the link is left alone";
  EXPECT_EQ(values(skipped), "");
  EXPECT_EQ(count("Online only"), "0\n");
  EXPECT_TRUE(vantor_prefs::gTagSelectionStack.empty());
}

TEST_F(SaveSyncPrefsTest, MarkedAlbumsWithoutLocalTagsAreMadeWithTheirParents) {
  // A top-level album: an ordered collection in collection_ns, not linked to anything.
  ASSERT_EQ(VTL::SaveSyncPrefs(selection(album("", "", "Top", 1, "collection")), "p", "u-1"),
            VTL::success);
  const int top = tag_id("Top");
  EXPECT_EQ(rows("SELECT p.name, t.type_name, t.media_is_ordered, t.can_tag_media, "
                 "t.can_have_children FROM tag_table t JOIN tag_table p ON p.id = t.parent_id "
                 "WHERE t.id = " +
                 std::to_string(top)),
            "collection_ns|collection|1|1|1\n");
  EXPECT_EQ(values(top), "sync:HalcynTagSyncStatus=1\n");
  EXPECT_FALSE(stored(top).has_value());

  // Two unsaved groups above two marked children: the groups are made once, outermost first.
  const std::string text = selection(album(
      "", "g1", "Outer", 2, "collection_group",
      album("", "g2", "Inner", 0, "anything else",
            album("", "", "First", 1, "collection") + album("", "", "Second", 3, "collection"))));
  ASSERT_EQ(VTL::SaveSyncPrefs(text, "p", "u-1"), VTL::success);
  EXPECT_EQ(rows("SELECT t.name, p.name, t.type_name, t.media_is_ordered FROM tag_table t "
                 "JOIN tag_table p ON p.id = t.parent_id WHERE t.id > " +
                 std::to_string(top) + " ORDER BY t.id"),
            "Outer|collection_ns|collection_group|0\n"
            "Inner|Outer|collection_group|0\n"
            "First|Inner|collection|1\n"
            "Second|Inner|collection|1\n");
  EXPECT_EQ(values(tag_id("Outer")), "") << "state 2 writes nothing";
  EXPECT_EQ(values(tag_id("Inner")), "") << "made for its child, its own mark was read before";
  EXPECT_EQ(values(tag_id("Second")), "sync:HalcynTagSyncStatus=3\n");
}

TEST_F(SaveSyncPrefsTest, OnlineAlbumsTakeTheirSharingDetails) {
  vantor_prefs::SharedAlbumInfo& shared = gSharedAlbums["o-shared"];
  shared.onlineid = "o-shared";
  shared.isSharedFlat = true;
  shared.isPublic = 1;
  shared.templateId = "tmpl-7";
  shared.permissions = "rw";

  const std::string text = selection(album("", "o-shared", "Shared", 1, "collection") +
                                     album("", "o-unknown", "Unknown", 1, "collection"));
  ASSERT_EQ(VTL::SaveSyncPrefs(text, "p", "u-1"), VTL::success);

  EXPECT_EQ(values(tag_id("Shared")),
            "omb:aclPublic=r\nomb:flatHalcynAlbumTemplateId=tmpl-7\n"
            "omb:isSharedHalcynAlbumPublic=1\nomb:sharedHalcynAlbumPermissions=rw\n"
            "sync:HalcynTagSyncStatus=3\n");
  EXPECT_EQ(values(tag_id("Unknown")), "sync:HalcynTagSyncStatus=1\n");
  ASSERT_EQ(gSharedAlbums.count("o-unknown"), 1u);
  EXPECT_FALSE(gSharedAlbums["o-unknown"].isSharedFlat);

  for (const char* name : {"Shared", "Unknown"}) {
    const int id = tag_id(name);
    const auto record = stored(id);
    ASSERT_TRUE(record.has_value()) << name;
    EXPECT_EQ(record->online_id, std::string("o-") + (name[0] == 'S' ? "shared" : "unknown"));
    EXPECT_EQ(record->change_id,
              std::stoul(rows("SELECT change_id FROM tag_table WHERE id = " + std::to_string(id))))
        << name << ": the change id the commit gave the tag";
    EXPECT_NE(record->change_id, 0u) << name;
    EXPECT_FALSE(record->dirty) << name;
  }
}

TEST_F(SaveSyncPrefsTest, CatalogExceptionLeavesAsItselfAndKeepsEarlierCommits) {
  std::string expected;
  write([&](const vael::connection_handle& h) {
    try {
      vael::get_tag(h, 999999);
    } catch (const std::logic_error& e) {
      expected = e.what();
    }
  });
  ASSERT_FALSE(expected.empty());

  const std::string text = selection(album("", "", "Before", 1, "collection") +
                                     album("999999", "", "Missing", 0, "collection") +
                                     album("", "", "After", 1, "collection"));
  try {
    VTL::SaveSyncPrefs(text, "p", "u-1");
    ADD_FAILURE() << "no exception";
  } catch (const std::logic_error& e) {
    EXPECT_EQ(e.what(), expected);
  }
  EXPECT_EQ(values(tag_id("Before")), "sync:HalcynTagSyncStatus=1\n");
  EXPECT_EQ(count("After"), "0\n");
  EXPECT_TRUE(vantor_prefs::gTagSelectionStack.empty());
  EXPECT_EQ(vantor_prefs::gCatalogConnection, nullptr);

  // The next save starts clean.
  EXPECT_EQ(VTL::SaveSyncPrefs(selection(album("", "", "After", 1, "collection")), "p", "u-1"),
            VTL::success);
  EXPECT_EQ(rows("SELECT p.name FROM tag_table t JOIN tag_table p ON p.id = t.parent_id "
                 "WHERE t.name = 'After'"),
            "collection_ns\n");
}

}  // namespace
}  // namespace vantor_test
