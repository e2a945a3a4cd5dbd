// The commands that reach the library's exports and the membership client, as a user runs
// them: what they print, and how they name a result other than success. Catalogs and the
// reference client are set up through the CLI.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "environment/catalog_paths.h"
#include "platform/sync_util.h"
#include "tests/support/jpeg_fixture.h"
#include "tests/support/sandbox.h"
#include "tests/tools/cli_runner.h"

namespace {

class HostCliTest : public ::testing::Test {
 protected:
  HostCliTest() { ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1); }

  // Runs the CLI with `args` (already quoted for the shell); gives the exit status and output.
  std::pair<int, std::string> run(const std::string& args) {
    const vantor_test::cli_result r = vantor_test::run_cli_line(box_, args);
    return {r.status, r.out + r.err};
  }
  vantor_test::cli_result cli(const std::vector<std::string>& args) {
    return vantor_test::run_cli(box_, args);
  }
  // Runs a setup step that must succeed, and gives its first output line.
  std::string setup(const std::vector<std::string>& args) {
    const vantor_test::cli_result r = cli(args);
    EXPECT_EQ(r.status, 0) << args[0] << ": " << r.err;
    return r.out.substr(0, r.out.find('\n'));
  }
  // A catalog in `folder`, a user signed in and the client holding the user's ticket.
  void sign_in(const std::string& folder) {
    const std::string strand = "software\\norvane\\Strand";
    setup({"catalog", "create", folder});
    setup({"settings", "set", strand, "UserName", "ann"});
    setup({"settings", "set", strand, "EncryptedTicketVector", "t-1"});
    setup({"online", "set", "ticket", "t-1"});
  }

  vantor_test::sandbox box_;
};
TEST_F(HostCliTest, StateEditsShowAndReachTheClient) {
  EXPECT_EQ(run("online show").first, 2) << "no state file yet";
  EXPECT_EQ(run("server-time").first, 2);
  ASSERT_EQ(run("online add-album --title 'Trip & co' --online-id a1 --type 'album group'").first,
            0);
  ASSERT_EQ(run("online set-quota 2048 --used 12").first, 0);
  ASSERT_EQ(run("online set server_time 2024-05-01T10:00:00Z").first, 0);
  EXPECT_EQ(run("online set list_tags_status toolong").first, 2);

  const auto [status, out] = run("online show");
  EXPECT_EQ(status, 0);
  EXPECT_NE(out.find("quota: 2048\nstorage_used: 12\n"), std::string::npos) << out;
  EXPECT_NE(out.find("album: title=Trip & co online_id=a1 type=album group\n"), std::string::npos)
      << out;
  EXPECT_EQ(run("server-time"), std::make_pair(0, std::string("2024-05-01T10:00:00Z\n")));

  ASSERT_EQ(sync_util::create_or_replace_sync_tag_info(5, "a1", 9, "", ""), 0);
  EXPECT_EQ(run("sync-albums"), std::make_pair(0, std::string("5\ta1\t9\tclean\t\t\n")));
}

TEST_F(HostCliTest, SavesIntoTheSyncCatalogAndNamesAFailure) {
  const std::string folder = box_.path("cat");
  ASSERT_EQ(run("catalog create '" + folder + "'").first, 0);
  ASSERT_EQ(sync_util::set_sync_catalog(folder), 0);
  box_.write_file("prefs.xml", "<syncon value = \"true\"/>");
  box_.write_file("selection.xml",
                  "<tags><tag localid=\"\" onlineid=\"\" parents=\"\" label=\"Beach\" "
                  "ismarkedforsync=\"1\" isLiveAlbum=\"false\" type=\"collection\"/></tags>");
  const std::string files =
      " --selection '" + box_.path("selection.xml") + "' --prefs '" + box_.path("prefs.xml") + "'";

  EXPECT_EQ(run("save" + files + " --user u-7"), std::make_pair(0, std::string()));
  EXPECT_EQ(vantor_test::read_file(folder + "/syncdb/u-7.pref"), "<syncon value = \"true\"/>");
  EXPECT_NE(cli({"album", "list", folder + "/catalog.omb14db"}).out.find("Beach"),
            std::string::npos);

  ASSERT_EQ(sync_util::set_sync_catalog(box_.path("no-catalog-here")), 0);
  EXPECT_EQ(run("save" + files),
            std::make_pair(2, std::string("vantor save: catalog_error (6)\n")));
}

TEST_F(HostCliTest, PrintsTheDocumentOrTheCodeName) {
  const std::string folder = box_.path("cat");
  ASSERT_EQ(run("sync-catalog set '" + folder + "'").first, 0);
  const std::string conflicts = " --folder '" + box_.path("conflicts") + "'";
  EXPECT_EQ(run("conflicts --conflicts 1" + conflicts),
            std::make_pair(2, std::string("vantor: catalog_error\n")));

  // The document is the library's, tested with it; here the ids and the folder reach it and
  // it is printed whole.
  ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);  // the importer's MIME database
  setup({"catalog", "create", folder});
  vantor_test::WriteJpeg(folder + "/x.jpg");
  setup({"import", folder + "/catalog.omb14db", folder});
  const std::string list = cli({"media", "list", folder + "/catalog.omb14db"}).out;
  const std::string n = list.substr(0, list.find('\t'));
  box_.write_file("conflicts/" + n + "/online.xml", "<o/>");
  const auto [status, out] = run("conflicts --conflicts " + n + " --deletes ''" + conflicts);
  EXPECT_EQ(status, 0) << out;
  EXPECT_EQ(
      out.rfind("<ManualConflictResolution><Conflicts><Conflict" + n + "><vaelid value = \"" + n +
                    "\" tosvalue = \"" + n + "\"/><localdata><locallabel value = \"x.jpg\"/>",
                0),
      0u)
      << out;
  EXPECT_EQ(out.substr(out.find("</localdata>")),
            "</localdata><o/></Conflict" + n +
                "></Conflicts><Deletions></Deletions></ManualConflictResolution>\n");
  EXPECT_EQ(run("conflicts --conflicts 1,x" + conflicts).first, 2);
}

TEST_F(HostCliTest, PrintsBothTextsAndTheTreesOrTheResultName) {
  const std::string folder = box_.path("cat");
  const std::string catalog = folder + "/" + vantor_env::GetCatalogFileName();
  sign_in(folder);
  setup({"online", "add-album", "--title", "Trip", "--online-id", "a1", "--parents", "Travel"});
  setup({"online", "set-quota", "2048", "--used", "512"});
  const std::string group = vantor_test::id_in(setup({"album", "group", catalog, "Travel"}));
  const std::string album =
      vantor_test::id_in(setup({"album", "create", catalog, "Coast & Hills", "--group", group}));

  const vantor_test::cli_result r = cli({"screen", folder, "--mark-all", "--tree"});
  ASSERT_EQ(r.status, 0) << r.err;
  // The texts are the library's, tested with it; here they only need to come first, in order.
  const std::string tree = "local albums\n  Travel  (collection_group, id " + group +
                           ", mark 1)\n    Coast & Hills  (collection, id " + album +
                           ", mark 1)\nonline albums\n  Trip  (collection, online a1, parents "
                           "Travel)\nstorage used: 512 of 2048\n";
  EXPECT_EQ(r.out.rfind("\n<syncsettings>\n<tagsdata>\n", 0), 0u) << r.out;
  ASSERT_GT(r.out.size(), tree.size());
  EXPECT_EQ(r.out.substr(r.out.size() - tree.size()), tree) << r.out;
  EXPECT_NE(
      r.out.find("</syncsettings>\n<syncsettings><tagsdata><tagnamespace type = \"user_tag\">"),
      std::string::npos);
  EXPECT_EQ(cli({"screen", folder}).out.find("local albums"), std::string::npos)
      << "the tree only on request";

  setup({"sync-catalog", "set", box_.path("other")});
  const vantor_test::cli_result refused = cli({"screen", folder});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.err,
            "Vantor : Change Sync Catalog required\nvantor: change_catalog_required (7)\n");
}

// The figures are the library's, tested with it; here only their framing.
TEST_F(HostCliTest, PreviewsTheCatalogAgainstTheQuota) {
  const std::string folder = box_.path("cat");
  const vantor_test::cli_result signed_out = cli({"sync-preview", folder});
  EXPECT_EQ(signed_out.status, 2);
  EXPECT_EQ(signed_out.err.rfind("vantor: no user is signed in", 0), 0u) << signed_out.err;

  sign_in(folder);
  setup({"prefs", "write", "--folder", folder, "syncEntireCatalog=true"});
  setup({"online", "set-quota", "100", "--used", "6"});
  const vantor_test::cli_result text = cli({"sync-preview", folder});
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.out,
            "sync\toff\twhole_catalog\n-\t(in no "
            "album)\tgoing\t0\t0\ntotal\t\tgoing\t0\t0\nquota\t100\tused\t6\tleft\t94\tfits\n");
  EXPECT_NE(cli({"sync-preview", folder, "--json"}).out.find("\"fits\": true"), std::string::npos);
}

TEST_F(HostCliTest, SaveAfterTheScreenInOneProcessKnowsWhichAlbumsAreShared) {
  const std::string folder = box_.path("cat");
  sign_in(folder);
  setup({"online", "add-album", "--title", "Shared", "--online-id", "s1", "--access", "r"});
  setup({"screen", folder});  // makes `folder` the sync catalog
  box_.write_file("prefs.xml", "<prefs/>");
  const auto save_marking = [&](const std::string& label, bool screen) {
    box_.write_file("selection.xml", "<s><tag localid=\"\" onlineid=\"s1\" parents=\"\" label=\"" +
                                         label +
                                         "\" state=\"1\" flag=\"false\" "
                                         "type=\"collection\"/></s>");
    std::vector<std::string> args = {"save", "--selection", box_.path("selection.xml"), "--prefs",
                                     box_.path("prefs.xml")};
    if (screen) args.insert(args.end(), {"--screen", folder});
    setup(args);
  };
  save_marking("Alone", false);
  save_marking("After the screen", true);
  const std::string tree = cli({"screen", folder, "--tree"}).out;
  EXPECT_NE(tree.find("Alone  (collection, id"), std::string::npos) << tree;
  EXPECT_NE(tree.find(", online s1, mark 1)\n  After the screen"), std::string::npos) << tree;
  EXPECT_NE(tree.find("After the screen  (collection, id"), std::string::npos);
  EXPECT_NE(tree.rfind(", online s1, mark 3)\n"), std::string::npos)
      << "a shared flat album is saved with status 3 only when the screen came first";
}

}  // namespace
