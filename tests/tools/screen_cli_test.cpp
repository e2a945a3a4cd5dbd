// `vantor screen` as a user runs it: a catalog and the reference client set up through the CLI.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "environment/catalog_paths.h"
#include "tests/support/sandbox.h"
#include "tests/tools/cli_runner.h"

namespace {

using run_result = vantor_test::cli_result;

class ScreenCliTest : public ::testing::Test {
 protected:
  ScreenCliTest() {
    ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1);
    ::setenv("VANTOR_KSV_LOCAL_STATE", box_.path("ksv.json").c_str(), 1);
  }
  ~ScreenCliTest() override {
    ::unsetenv("VANTOR_KSV_LIBRARY");
    ::unsetenv("VANTOR_KSV_LOCAL_STATE");
  }

  run_result run(const std::vector<std::string>& args) { return vantor_test::run_cli(box_, args); }
  // Runs a setup step that must succeed, and gives its first output line.
  std::string setup(const std::vector<std::string>& args) {
    const run_result r = run(args);
    EXPECT_EQ(r.status, 0) << args[0] << ": " << r.err;
    return r.out.substr(0, r.out.find('\n'));
  }

  vantor_test::sandbox box_;
};

TEST_F(ScreenCliTest, PrintsBothTextsAndTheTreesOrTheResultName) {
  const std::string folder = box_.path("cat");
  const std::string catalog = folder + "/" + vantor_env::GetCatalogFileName();
  const std::string strand = "software\\norvane\\Strand";
  setup({"catalog", "create", folder});
  setup({"settings", "set", strand, "UserName", "ann"});
  setup({"settings", "set", strand, "EncryptedTicketVector", "t-1"});
  setup({"online", "set", "ticket", "t-1"});
  setup({"online", "add-album", "--title", "Trip", "--online-id", "a1", "--parents", "Travel"});
  setup({"online", "set-quota", "2048", "--used", "512"});
  // "added album group 12 'Travel'": the id is the fourth word.
  const auto id_of = [](const std::string& added) {
    const size_t end = added.find(" '");
    return added.substr(added.rfind(' ', end - 1) + 1, end - added.rfind(' ', end - 1) - 1);
  };
  const std::string group = id_of(setup({"album", "group", catalog, "Travel"}));
  const std::string album =
      id_of(setup({"album", "create", catalog, "Coast & Hills", "--group", group}));

  const run_result r = run({"screen", folder, "--mark-all", "--tree"});
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
  EXPECT_EQ(run({"screen", folder}).out.find("local albums"), std::string::npos)
      << "the tree only on request";

  setup({"sync-catalog", "set", box_.path("other")});
  const run_result refused = run({"screen", folder});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.err,
            "Vantor : Change Sync Catalog required\nvantor: change_catalog_required (7)\n");
}

TEST_F(ScreenCliTest, SaveAfterTheScreenInOneProcessKnowsWhichAlbumsAreShared) {
  const std::string folder = box_.path("cat");
  const std::string strand = "software\\norvane\\Strand";
  setup({"catalog", "create", folder});
  setup({"settings", "set", strand, "UserName", "ann"});
  setup({"settings", "set", strand, "EncryptedTicketVector", "t-1"});
  setup({"online", "set", "ticket", "t-1"});
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
  const std::string tree = run({"screen", folder, "--tree"}).out;
  EXPECT_NE(tree.find("Alone  (collection, id"), std::string::npos) << tree;
  EXPECT_NE(tree.find(", online s1, mark 1)\n  After the screen"), std::string::npos) << tree;
  EXPECT_NE(tree.find("After the screen  (collection, id"), std::string::npos);
  EXPECT_NE(tree.rfind(", online s1, mark 3)\n"), std::string::npos)
      << "a shared flat album is saved with status 3 only when the screen came first";
}

}  // namespace
