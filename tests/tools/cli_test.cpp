// The CLI as a user runs it: a real process in a sandboxed environment.
#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/media.h"
#include "catalog/metadata_view.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_v7.h"
#include "catalog/transaction.h"
#include "catalog/volume_manager.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/well_known_tags.h"
#include "dbl/query.h"
#include "dbl/sqlite/sqlite_database.h"
#include "tests/support/jpeg_fixture.h"
#include "tests/support/sandbox.h"
#include "tests/tools/cli_runner.h"

namespace {

using vantor_test::quote;
using run_result = vantor_test::cli_result;

class CliTest : public ::testing::Test {
 protected:
  run_result run(const std::vector<std::string>& args, const std::string& input = {}) {
    return vantor_test::run_cli(box_, args, input);
  }

  vantor_test::sandbox box_;
};

TEST_F(CliTest, HelpAtEveryLevelAndErrorsGoToStandardError) {
  const run_result top = run({"--help"});
  EXPECT_EQ(top.status, 0);
  for (const char* name : {"prefs", "eligible", "settings", "sync-catalog"}) {
    EXPECT_NE(top.out.find(name), std::string::npos) << name;
  }
  const run_result leaf = run({"prefs", "write", "--help"});
  EXPECT_EQ(leaf.status, 0);
  EXPECT_NE(leaf.out.find("usage: vantor prefs write --folder F"), std::string::npos);

  const run_result unknown = run({"prefs", "shwo"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_TRUE(unknown.out.empty());
  EXPECT_NE(unknown.err.find("unknown command 'shwo'"), std::string::npos) << unknown.err;

  const run_result bad_option = run({"eligible", "--size", "ten", "--mime", "image/png"});
  EXPECT_EQ(bad_option.status, 2);
  EXPECT_NE(bad_option.err.find("--size must be a whole number"), std::string::npos);
}

TEST_F(CliTest, WrittenPreferencesShowAndDecideEligibility) {
  const std::string folder = box_.path("catalog");
  ASSERT_EQ(run({"prefs", "write", "--folder", folder}).status, 2) << "folder does not exist yet";
  box_.write_file("catalog/.keep", "");
  const run_result write =
      run({"prefs", "write", "--folder", folder, "--user", "u1", "syncon=true",
           "restrictfilesizeSelected=true", "restrictfilesize=10", "syncPhotos=false"});
  ASSERT_EQ(write.status, 0) << write.err;
  const std::string file = folder + "/syncdb/u1.pref";

  const run_result show = run({"prefs", "show", file});
  ASSERT_EQ(show.status, 0) << show.err;
  EXPECT_NE(show.out.find("syncon = true\n"), std::string::npos) << show.out;
  EXPECT_NE(show.out.find("syncPhotos = false\n"), std::string::npos);
  EXPECT_NE(show.out.find("restrictfilesize = 10\n"), std::string::npos);
  EXPECT_NE(show.out.find("deleteMediaPref = 1\n"), std::string::npos) << "parser default";

  const run_result from_stdin = run({"prefs", "show"}, "<version value=\"12\"/>");
  EXPECT_NE(from_stdin.out.find("version = 12\n"), std::string::npos) << from_stdin.out;

  struct {
    const char* size;
    const char* mime;
    int status;
    const char* answer;
  } const cases[] = {
      {"10485760", "video/mp4", 0, "yes\n"},  // exactly the limit passes
      {"10485761", "video/mp4", 1, "no\n"},   // one byte over
      {"100", "image/jpeg", 1, "no\n"},       // photos switched off
      {"100", "application/zip", 1, "no\n"},  // creations off by default
  };
  for (const auto& c : cases) {
    const run_result r = run({"eligible", "--prefs", file, "--size", c.size, "--mime", c.mime});
    EXPECT_EQ(r.status, c.status) << c.size << " " << c.mime << ": " << r.err;
    EXPECT_EQ(r.out, c.answer) << c.size << " " << c.mime;
  }
  EXPECT_EQ(run({"prefs", "write", "--folder", folder, "syncon=maybe"}).status, 2);
  EXPECT_EQ(run({"prefs", "write", "--folder", folder, "nosuchfield=1"}).status, 2);
}

TEST_F(CliTest, SettingsAndSyncCatalogRoundTrip) {
  ASSERT_EQ(run({"settings", "set", "software\\norvane\\tessarin\\14.0", "CurrentCatalogPath",
                 "/photos/a,b"})
                .status,
            0);
  const run_result get =
      run({"settings", "get", "software\\norvane\\tessarin\\14.0", "CurrentCatalogPath"});
  EXPECT_EQ(get.status, 0) << get.err;
  EXPECT_EQ(get.out, "/photos/a,b\n");
  EXPECT_EQ(run({"settings", "get", "--machine", "software\\norvane\\tessarin\\14.0",
                 "CurrentCatalogPath"})
                .status,
            2)
      << "the machine's hive is another store";

  EXPECT_EQ(run({"sync-catalog"}).out, "\n");
  ASSERT_EQ(run({"sync-catalog", "set", "/photos/main/"}).status, 0);
  EXPECT_EQ(run({"sync-catalog"}).out, "/photos/main/\n");
  const std::string store =
      vantor_test::read_file(box_.path("registry/HKEY_CURRENT_USER/software/norvane/Strand.ini"));
  EXPECT_NE(store.find("OMB10SyncCatalogPath=/photos/main/"), std::string::npos) << store;
}

TEST_F(CliTest, CatalogsAreCreatedCheckedUpgradedAndBadFilesLeftAlone) {
  const std::string catalog = box_.path("pictures/catalog.omb14db");
  const run_result created = run({"catalog", "create", box_.path("pictures")});
  ASSERT_EQ(created.status, 0) << created.err;
  EXPECT_EQ(created.out, "created " + catalog + " (schema version 9)\n");
  const run_result again = run({"catalog", "create", box_.path("pictures")});
  EXPECT_EQ(again.status, 2);
  EXPECT_NE(again.err.find("a catalog already exists"), std::string::npos);

  const run_result check = run({"catalog", "check", catalog});
  EXPECT_EQ(check.status, 0) << check.err;
  EXPECT_EQ(check.out, "schema version: 9\nintegrity: ok\n");

  {
    dbl::sqlite_database old(box_.path("old.db"));
    vael::schema::create_schema(old, vael::schema::v7::generation());
  }
  EXPECT_EQ(run({"catalog", "check", box_.path("old.db")}).status, 1);
  const run_result upgraded = run({"catalog", "upgrade", box_.path("old.db")});
  ASSERT_EQ(upgraded.status, 0) << upgraded.err;
  EXPECT_EQ(upgraded.out, "upgraded " + box_.path("old.db") + " from schema version 7 to 9\n");
  EXPECT_NE(upgraded.err.find("upgrading: 100%"), std::string::npos) << "plain progress lines";
  EXPECT_EQ(run({"catalog", "check", box_.path("old.db")}).status, 0);

  box_.write_file("copies/.keep", "");
  const run_result copy = run({"catalog", "copy", box_.path("old.db"), box_.path("copies")});
  ASSERT_EQ(copy.status, 0) << copy.err;
  EXPECT_NE(copy.err.find("copying: 100%"), std::string::npos) << copy.err;
  EXPECT_EQ(run({"catalog", "check", box_.path("copies/catalog.omb14db")}).status, 0);
  EXPECT_EQ(run({"catalog", "copy", box_.path("old.db"), box_.path("copies")}).status, 2)
      << "an existing target is never overwritten";

  box_.write_file("notes.txt", "not a catalog\n");
  for (const char* command : {"check", "upgrade", "copy"}) {
    auto args = [&](const std::string& file) {
      std::vector<std::string> words = {"catalog", command, file};
      if (std::string(command) == "copy") words.push_back(box_.path("copy-target.db"));
      return words;
    };
    const run_result refused = run(args(box_.path("notes.txt")));
    EXPECT_EQ(refused.status, 2) << command;
    EXPECT_NE(refused.err.find("is not a catalog"), std::string::npos) << refused.err;
    EXPECT_EQ(vantor_test::read_file(box_.path("notes.txt")), "not a catalog\n") << command;
    const run_result missing = run(args(box_.path("missing.db")));
    EXPECT_EQ(missing.status, 2) << command;
    EXPECT_FALSE(std::filesystem::exists(box_.path("missing.db"))) << command;
    EXPECT_FALSE(std::filesystem::exists(box_.path("copy-target.db"))) << command;
  }
}

TEST_F(CliTest, CatalogInfoAndVolumesGoThroughTheCatalogModel) {
  const std::string catalog = box_.path("pictures/catalog.omb14db");
  ASSERT_EQ(run({"catalog", "create", box_.path("pictures")}).status, 0);
  // The default tags and metadata descriptions of a new catalog take the ids below 111.
  const run_result added =
      run({"volume", "add", catalog, "builtin_drive", "S1", "--path", "/mnt/a"});
  ASSERT_EQ(added.status, 0) << added.err;
  EXPECT_EQ(added.out, "volume 111: builtin_drive /mnt/a online\n");
  EXPECT_EQ(run({"volume", "add", catalog, "network_drive", "S2"}).status, 0);
  const run_result moved = run({"volume", "set-path", catalog, "111", "/mnt/b"});
  EXPECT_EQ(moved.out, "volume 111: builtin_drive /mnt/b online\n") << moved.err;

  const run_result refused =
      run({"volume", "add", catalog, "removable_drive", "S3", "--path", "/x"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.err,
            "vantor: A path may only be specified for a builtin drive or a 'no drive' drive.\n");
  EXPECT_EQ(run({"volume", "set-path", catalog, "2", "/x"}).err,
            "vantor: Cannot change a 'database relative drive'.\n");

  const run_result info = run({"catalog", "info", catalog});
  ASSERT_EQ(info.status, 0) << info.err;
  EXPECT_EQ(info.out,
            "schema version: 9\ncurrent change id: 6\nmedia: 0\ntags: 21\nvolumes: 3\n"
            "volume 2: database_relative_drive " +
                box_.path("pictures") +
                " online\nvolume 111: builtin_drive /mnt/b online\n"
                "volume 112: network_drive (no path) offline\n");
  EXPECT_EQ(run({"volume", "list", catalog}).out, info.out.substr(info.out.find("volume 2")));

  box_.write_file("empty.db", "");
  const run_result empty = run({"catalog", "info", box_.path("empty.db")});
  EXPECT_EQ(empty.status, 2);
  EXPECT_EQ(vantor_test::read_file(box_.path("empty.db")), "");
  EXPECT_EQ(run({"catalog", "info", box_.path("missing.db")}).err,
            "vantor: The database file " + box_.path("missing.db") + " does not exist.\n");
}

}  // namespace

namespace {

TEST_F(CliTest, TagsAreEditedThroughTheModelAndRefusalsNameTheTagAndRule) {
  const std::string catalog = box_.path("pictures/catalog.omb14db");
  ASSERT_EQ(run({"catalog", "create", box_.path("pictures")}).status, 0);
  const std::vector<std::vector<std::string>> steps = {
      {"namespace", "add", catalog, "people_ns"},
      {"tag", "add", catalog, "--namespace", "people_ns", "Anna", "--type", "user_person"},
      {"tag", "add", catalog, "--parent", "112", "Kids"},
      {"tag", "add", catalog, "--namespace", "people_ns", "Ben"},
      {"namespace", "add", catalog, "trips_ns"},
      {"tag", "add", catalog, "--namespace", "trips_ns", "Rome", "--type", "collection"},
  };
  for (const auto& step : steps) {
    const run_result r = run(step);
    ASSERT_EQ(r.status, 0) << r.err;
  }
  {
    dbl::sqlite_database db(catalog);
    for (const char* id : {"101", "102"}) {
      dbl::query(db, std::string("INSERT INTO media_table VALUES (") + id +
                         ", 0, 'a.jpg', 'a', 'a', 'image/jpeg', 2, '2020-01-01', '2020-01-01', 0)")
          .execute();
    }
  }
  EXPECT_EQ(run({"tag", "media", catalog, "112", "add", "101", "102"}).status, 0);
  EXPECT_EQ(run({"tag", "media", catalog, "116", "add", "102", "101"}).status, 0);
  EXPECT_EQ(run({"tag", "media", catalog, "116", "list"}).out, "102\n101\n");
  EXPECT_EQ(run({"tag", "move", catalog, "113", "--parent", "114"}).out,
            "moved tag 113 'Kids' to tag 114 'Ben' at 0\n");
  const std::string tree =
      "people_ns (111, namespace)\n  Anna (112, user_person, 2 media)\n  Ben (114, user_custom, 0 "
      "media)\n    Kids (113, user_custom, 0 media)\n";
  EXPECT_EQ(run({"tag", "tree", catalog, "--namespace", "people_ns"}).out, tree);

  const struct {
    std::vector<std::string> args;
    std::string err;
  } refusals[] = {
      {{"tag", "rm", catalog, "112"},
       "vantor: tag 112 'Anna': The record could not be removed.  There were existing references "
       "to the record in the database.\n"},
      {{"tag", "rm", catalog, "114"},
       "vantor: tag 114 'Ben': Cannot delete a tag with children.  All child tags should be either "
       "moved or removed before deleting a tag.\n"},
      {{"tag", "move", catalog, "114", "--parent", "113"},
       "vantor: tag 114 'Ben': A tag cannot become a child of itself or of its descendants.\n"},
      {{"tag", "add", catalog, "--parent", "116", "Day 1"},
       "vantor: tag 116 'Rome': This tag cannot have children.\n"},
      {{"tag", "media", catalog, "112", "add", "9"}, "vantor: there is no media 9\n"},
      {{"namespace", "add", catalog, "people_ns"},
       "vantor: namespace 'people_ns': There is already a custom tag namespace named people_ns\n"},
  };
  for (const auto& refusal : refusals) {
    const run_result r = run(refusal.args);
    EXPECT_EQ(r.status, 2) << refusal.err;
    EXPECT_EQ(r.err, refusal.err);
  }
  EXPECT_EQ(run({"tag", "tree", catalog, "--namespace", "people_ns"}).out, tree);

  EXPECT_EQ(run({"tag", "rm", catalog, "112", "--force"}).status, 0);
  EXPECT_EQ(run({"tag", "rename", catalog, "114", "Benjamin"}).status, 0);
  const std::string spaces = run({"namespace", "list", catalog}).out;
  const std::string ours = "111 people_ns (2 tags)\n115 trips_ns (1 tags)\n";
  EXPECT_EQ(spaces.substr(0, 20), "1 stack_ns (0 tags)\n");
  ASSERT_GE(spaces.size(), ours.size());
  EXPECT_EQ(spaces.substr(spaces.size() - ours.size()), ours) << spaces;
}

}  // namespace

TEST_F(CliTest, ImportTwiceThenReadAndWriteMetadata) {
  ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);
  ASSERT_EQ(run({"catalog", "create", box_.path("pictures")}).status, 0);
  const std::string catalog = box_.path("pictures/catalog.omb14db");
  std::filesystem::create_directories(box_.path("pictures/2020"));
  vantor_test::WriteJpeg(box_.path("pictures/2020/a.jpg"));
  box_.write_file("pictures/2020/readme.txt", "text");

  const run_result first = run({"import", catalog, box_.path("pictures")});
  ASSERT_EQ(first.status, 0) << first.err;
  // The readme and the catalog file itself are no media.
  EXPECT_NE(first.out.find("imported: 1\nalready present: 0\nskipped (not media): 2\n"),
            std::string::npos)
      << first.out;
  const run_result second = run({"import", catalog, box_.path("pictures")});
  EXPECT_NE(second.out.find("imported: 0\nalready present: 1\n"), std::string::npos);
  EXPECT_NE(second.out.find("nothing new"), std::string::npos);

  const run_result list = run({"media", "list", catalog});
  ASSERT_EQ(list.status, 0);
  const std::string id = list.out.substr(0, list.out.find('\t'));
  EXPECT_NE(list.out.find("image/jpeg\t/2020/a.jpg\n"), std::string::npos) << list.out;
  EXPECT_EQ(run({"meta", "set", catalog, id, "xmp:Rating", "5"}).status, 0);
  EXPECT_EQ(run({"meta", "set", catalog, id, "xmp:Rating", "3"}).status, 0);
  EXPECT_EQ(run({"meta", "get", catalog, id, "xmp:Rating"}).out, "3\n") << "single valued";
  const run_result bad = run({"meta", "set", catalog, id, "xmp:Rating", "high"});
  EXPECT_EQ(bad.status, 2);
  EXPECT_EQ(run({"meta", "get", catalog, id, "xmp:Rating"}).out, "3\n");
  const run_result show = run({"media", "show", catalog, id});
  EXPECT_NE(show.out.find("path: " + box_.path("pictures/2020/a.jpg")), std::string::npos)
      << show.out;
  EXPECT_NE(show.out.find("metadata: tiff:ImageWidth = 3\n"), std::string::npos) << show.out;
  ASSERT_EQ(run({"sample-photos", box_.path("pictures/samples"), "--count", "4"}).status, 0);
  const run_result samples = run({"import", catalog, box_.path("pictures")});
  EXPECT_NE(samples.out.find("imported: 4\nalready present: 1\n"), std::string::npos)
      << samples.out;
  EXPECT_NE(run({"media", "list", catalog}).out.find("/samples/2020 Winter/IMG_1001.jpg"),
            std::string::npos);
  const run_result missing = run({"media", "show", catalog, "999999"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("there is no media 999999"), std::string::npos);
}

TEST_F(CliTest, AlbumsKeepTheirOrderAndRefusalsChangeNothing) {
  ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);
  ASSERT_EQ(run({"catalog", "create", box_.path("pictures")}).status, 0);
  const std::string catalog = box_.path("pictures/catalog.omb14db");
  {
    // What a host expects of a catalog the tool made.
    vael::connection c(catalog);
    EXPECT_EQ(vael_util::read_initialize_revision(c.handle()), 19);
    EXPECT_EQ(vael_util::load_hidden_tag(c.handle()).get_name(), "Hidden");
    EXPECT_EQ(vael_util::load_rejected_face_tag(c.handle()).get_name(), "");
    EXPECT_EQ(vael::get_custom_tag_namespaces(c.handle()).size(), 11u);
    EXPECT_TRUE(vael::metadata_view_t(c.handle()).has_description("omb:TagDate"));
  }
  std::filesystem::create_directories(box_.path("pictures/2020"));
  for (const char* name : {"a", "b", "c"}) {
    vantor_test::WriteJpeg(box_.path(std::string("pictures/2020/") + name + ".jpg"));
  }
  ASSERT_EQ(run({"import", catalog, box_.path("pictures")}).status, 0);
  std::vector<std::string> media;
  std::istringstream list(run({"media", "list", catalog}).out);
  for (std::string line; std::getline(list, line);)
    media.push_back(line.substr(0, line.find('\t')));
  ASSERT_EQ(media.size(), 3u);
  // The id in "added album 12 'Rome'": the word before the name.
  auto made = [&](const std::vector<std::string>& args) {
    const run_result r = run(args);
    EXPECT_EQ(r.status, 0) << r.err;
    const std::string head = r.out.substr(0, r.out.find(" '"));
    return head.substr(head.rfind(' ') + 1);
  };
  const std::string trips = made({"album", "group", catalog, "Trips"});
  const std::string rome = made({"album", "create", catalog, "Rome", "--group", trips});
  const std::string loose = made({"album", "create", catalog, "Loose"});
  const std::string rome_tag = "tag " + rome + " 'Rome'";

  EXPECT_EQ(run({"album", "add", catalog, rome, media[2], media[0]}).out,
            "added 2 media to " + rome_tag + ", which holds 2\n");
  EXPECT_EQ(run({"album", "add", catalog, rome, media[1]}).status, 0);
  EXPECT_EQ(run({"album", "rm", catalog, rome, media[0]}).status, 0);
  const std::string order = media[2] + "\n" + media[1] + "\n";
  EXPECT_EQ(run({"tag", "media", catalog, rome, "list"}).out, order);

  const struct {
    std::vector<std::string> args;
    std::string err;
  } refusals[] = {
      {{"album", "add", catalog, rome, media[0], media[1]},
       "vantor: media " + media[1] + " is in " + rome_tag +
           " already: an album holds a media once\n"},
      {{"album", "rm", catalog, rome, media[0]},
       "vantor: media " + media[0] + " is not in " + rome_tag + "\n"},
      {{"album", "add", catalog, trips, media[0]},
       "vantor: tag " + trips +
           " 'Trips' is not an album: media go into the albums of collection_ns, which keep "
           "them in order\n"},
      {{"album", "create", catalog, "Day 1", "--group", rome},
       "vantor: " + rome_tag +
           " is not an album group: albums and groups go at the top of collection_ns or under "
           "an album group\n"},
      {{"album", "add", catalog, rome, "999999"}, "vantor: there is no media 999999\n"},
  };
  for (const auto& refusal : refusals) {
    const run_result r = run(refusal.args);
    EXPECT_EQ(r.status, 2) << refusal.err;
    EXPECT_EQ(r.err, refusal.err);
  }
  EXPECT_EQ(run({"tag", "media", catalog, rome, "list"}).out, order);
  EXPECT_EQ(run({"album", "list", catalog}).out,
            "Trips (" + trips + ", collection_group)\n  Rome (" + rome +
                ", collection, 2 media)\nLoose (" + loose + ", collection, 0 media)\n");
}

namespace {

// Media made through the model on the catalog's own volume, a day apart, as an import would
// make them; their ids in order.
std::vector<std::string> add_media(const std::string& catalog, int count) {
  vael::connection c(catalog);
  vael::transaction t(c.handle());
  t.begin(vael::without_undo, vael::lock_now);
  const int volume =
      vael::get_volume_manager(c.handle()).get_volume_id_of_type("database_relative_drive");
  std::vector<std::string> ids;
  for (int i = 0; i < count; ++i) {
    vael::media m = vael::media::create_master(c.handle(), volume,
                                               "img" + std::to_string(i) + ".jpg", "image/jpeg");
    m.set_date(
        {boost::posix_time::time_from_string("2020-01-0" + std::to_string(i + 1) + " 00:00:00"),
         0});
    ids.push_back(std::to_string(m.get_id()));
  }
  t.commit();
  return ids;
}

TEST_F(CliTest, StacksAndVersionsRoundTripAndRefusalsLeaveTheCatalogAsItWas) {
  const std::string catalog = box_.path("pictures/catalog.omb14db");
  ASSERT_EQ(run({"catalog", "create", box_.path("pictures")}).status, 0);
  const std::vector<std::string> m = add_media(catalog, 5);

  const run_result versioned = run({"version", "add", catalog, m[1], m[0]});
  ASSERT_EQ(versioned.status, 0) << versioned.err;
  const std::string version_id = versioned.out.substr(14, versioned.out.find(':') - 14);
  EXPECT_EQ(versioned.out, "version stack " + version_id + ": " + m[1] + " " + m[0] + "\n");
  const run_result piled = run({"stack", "create", catalog, m[2], m[1], m[0]});
  ASSERT_EQ(piled.status, 0) << piled.err;
  const std::string stack_id = piled.out.substr(12, piled.out.find(':') - 12);
  EXPECT_EQ(run({"version", "add", catalog, m[3], m[0]}).status, 0);
  EXPECT_EQ(run({"stack", "list", catalog}).out,
            stack_id + ": " + m[2] + " " + m[3] + " " + m[1] + " " + m[0] + "\n")
      << "the new version goes just before the former lead";
  EXPECT_EQ(run({"stack", "show", catalog, stack_id}).out,
            m[2] + "\n" + m[3] + " (version stack " + version_id + ")\n" + m[1] +
                " (version stack " + version_id + ")\n" + m[0] + " (version stack " + version_id +
                ")\n");
  EXPECT_EQ(run({"version", "top", catalog, m[0]}).out, m[3] + "\n");
  EXPECT_EQ(run({"version", "top", catalog, m[4]}).out, m[4] + "\n");
  const std::string versions =
      version_id + ": " + m[3] + "<" + m[0] + " " + m[1] + "<" + m[0] + " " + m[0] + "\n";
  EXPECT_EQ(run({"version", "list", catalog}).out, versions);

  const std::string info = run({"catalog", "info", catalog}).out;
  const struct {
    std::vector<std::string> args;
    std::string err;
  } refusals[] = {
      {{"stack", "create", catalog, m[4], m[0]},
       "vantor: media stack of " + m[4] + " " + m[0] +
           ": Could not set the stack media, since some of the media was already stacked.\n"},
      {{"stack", "create", catalog, m[4]},
       "vantor: media stack of " + m[4] +
           ": A media_stack must be comprised of at least 2 media.\n"},
      {{"version", "rm", catalog, m[1]},
       "vantor: media " + m[1] +
           ": If media in a version_stack is stacked, it must all be added to the stack\n"},
      {{"version", "add", catalog, m[2], m[4]},
       "vantor: version " + m[2] + " of " + m[4] +
           ": Can't create a version_stack if the child is in a media_stack.\n"},
      {{"stack", "dissolve", catalog, version_id},
       "vantor: there is no media stack " + version_id + "\n"},
  };
  for (const auto& refusal : refusals) {
    const run_result r = run(refusal.args);
    EXPECT_EQ(r.status, 2) << refusal.err;
    EXPECT_EQ(r.err, refusal.err);
  }
  EXPECT_EQ(run({"catalog", "info", catalog}).out, info) << "no change id, tag or media moved";
  EXPECT_EQ(run({"version", "list", catalog}).out, versions);

  EXPECT_EQ(run({"stack", "dissolve", catalog, stack_id}).out,
            "dissolved media stack " + stack_id + "\n");
  EXPECT_EQ(run({"stack", "list", catalog}).out, "");
  EXPECT_EQ(run({"version", "rm", catalog, m[1]}).status, 0);
  EXPECT_EQ(run({"version", "list", catalog}).out,
            version_id + ": " + m[3] + "<" + m[0] + " " + m[0] + "\n");
}

}  // namespace
