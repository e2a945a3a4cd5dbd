// The CLI's own conventions, as a user meets them: a real process in a sandboxed environment.
// The rules behind the commands are the library's and are tested with it.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/jpeg_fixture.h"
#include "tests/support/sandbox.h"
#include "tests/tools/cli_runner.h"
#include "vantor_build_config.h"

namespace {

using vantor_test::cli_result;
using vantor_test::id_in;
using vantor_test::quote;

class CliTest : public ::testing::Test {
 protected:
  CliTest() { ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1); }

  cli_result run(const std::vector<std::string>& args) { return vantor_test::run_cli(box_, args); }
  cli_result shell(const std::string& line) { return vantor_test::run_shell(box_, line); }
  // A new catalog with two imported photos, one with a tab and a line feed in its name.
  std::string catalog_with_media() {
    EXPECT_EQ(run({"catalog", "create", box_.path("pictures")}).status, 0);
    vantor_test::WriteJpeg(box_.path("pictures/plain.jpg"));
    vantor_test::WriteJpeg(box_.path("pictures/a\tb\nc.jpg"));
    const std::string catalog = box_.path("pictures/catalog.omb14db");
    EXPECT_EQ(run({"import", catalog, box_.path("pictures")}).status, 0);
    return catalog;
  }
  // The value at "0/media/1" of the JSON that `args` print; undefined when there is none.
  QJsonValue json_at(const std::vector<std::string>& args, const std::string& where) {
    const cli_result r = run(args);
    EXPECT_EQ(r.status, 0) << r.err;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(r.out));
    QJsonValue at = doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object());
    if (where.empty()) return at;
    std::istringstream steps(where);
    for (std::string step; std::getline(steps, step, '/');) {
      at = at.isArray() ? at.toArray().at(std::stoi(step)) : at.toObject().value(step.c_str());
    }
    return at;
  }

  vantor_test::sandbox box_;
};

TEST_F(CliTest, MistakesAreRefusedWithTheUsageOfTheCommandAtHand) {
  const struct {
    std::vector<std::string> args;
    std::string usage;
  } cases[] = {
      {{"tag", "move", "c.db", "1", "--parent", "2", "--bogus"}, "vantor tag move [OPTIONS]"},
      {{"media", "list", "-x", "c.db"}, "vantor media list [OPTIONS] CATALOG"},
      {{"album"}, "vantor album [OPTIONS] SUBCOMMAND"},
      {{"album", "bogus"}, "vantor album [OPTIONS] SUBCOMMAND"},
      {{"stack", "show", "c.db"}, "vantor stack show [OPTIONS] CATALOG STACK"},
      {{"eligible", "--size", "ten", "--mime", "image/png"}, "vantor eligible [OPTIONS]"},
      {{"meta", "set", "c.db", "1", "xmp:Rating", "5", "--type", "colour"}, "vantor meta set"},
  };
  for (const auto& c : cases) {
    const cli_result r = run(c.args);
    EXPECT_EQ(r.status, 2) << c.usage;
    EXPECT_EQ(r.out, "") << c.usage;
    EXPECT_EQ(r.err.rfind("vantor: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("\nUsage: " + c.usage), std::string::npos) << r.err;
  }
  EXPECT_NE(run({"album", "bogus"}).err.find("unknown command 'bogus'"), std::string::npos);
  // An unknown option is named even where a required argument is missing too.
  EXPECT_NE(run({"tag", "move", "c.db", "1", "-x"})
                .err.find("unknown option '-x'\nUsage: vantor tag move"),
            std::string::npos);
  EXPECT_NE(run({"--bogus"}).err.find("unknown option '--bogus'\nUsage: vantor [OPTIONS]"),
            std::string::npos);
}

TEST_F(CliTest, VersionHelpAndABareCall) {
  for (const char* flag : {"--version", "-V"}) {
    EXPECT_EQ(run({flag}).out, std::string(VANTOR_VERSION_TEXT) + "\n") << flag;
  }
  const cli_result help = run({"help", "version-stack", "rm"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("Usage: vantor version-stack rm [OPTIONS] CATALOG MEDIA"),
            std::string::npos)
      << help.out;
  EXPECT_EQ(help.out, run({"version-stack", "rm", "--help"}).out);
  EXPECT_EQ(run({"help", "version-stack", "bogus"}).status, 2);
  const cli_result bare = run({});
  EXPECT_EQ(bare.status, 2);
  EXPECT_EQ(bare.out, "");
  EXPECT_NE(bare.err.find("Usage: vantor [OPTIONS] SUBCOMMAND"), std::string::npos);
}

TEST_F(CliTest, TablesEscapeEveryFieldAndJsonHoldsTheValues) {
  const std::string catalog = catalog_with_media();
  const cli_result list = run({"media", "list", catalog});
  const std::size_t odd = list.out.find("\t/a\\tb\\nc.jpg\n");
  ASSERT_NE(odd, std::string::npos) << list.out;
  const std::string media = list.out.substr(0, list.out.find('\t'));
  const std::string row = list.out.substr(list.out.find('\n') + 1);
  EXPECT_EQ(std::count(row.begin(), row.end(), '\t'), 3) << row;
  EXPECT_EQ(std::count(list.out.begin(), list.out.end(), '\n'), 2);
  const std::string other = row.substr(0, row.find('\t'));
  const QJsonArray all = json_at({"media", "list", catalog, "--json"}, "").toArray();
  ASSERT_EQ(all.size(), 2);
  EXPECT_EQ(
      all.at(0).toObject().value("path").toString() + all.at(1).toObject().value("path").toString(),
      odd < list.out.find('\n') ? "/a\tb\nc.jpg/plain.jpg" : "/plain.jpg/a\tb\nc.jpg");
  const std::size_t line = list.out.rfind('\n', odd);
  const std::string odd_id = list.out.substr(line == std::string::npos ? 0 : line + 1);
  const cli_result show = run({"media", "show", catalog, odd_id.substr(0, odd_id.find('\t'))});
  EXPECT_NE(show.out.find("/a\\tb\\nc.jpg\n"), std::string::npos) << show.out;
  const std::string album = id_in(run({"album", "create", catalog, "Rome"}).out);
  ASSERT_EQ(run({"album", "add", catalog, album, media}).status, 0);
  ASSERT_EQ(run({"version-stack", "add", catalog, other, media}).status, 0);
  const struct {
    std::vector<std::string> args;
    std::string where;
    QJsonValue expected;
  } cases[] = {
      {{"media", "show", catalog, media}, "id", std::stoi(media)},
      {{"catalog", "info", catalog}, "media", 2},
      {{"catalog", "info", catalog}, "volumes/0/type", "database_relative_drive"},
      {{"catalog", "check", catalog}, "integrity_ok", true},
      {{"album", "list", catalog}, "0/media/0", std::stoi(media)},
      {{"tag", "media", "list", catalog, album}, "0", std::stoi(media)},
      {{"tag", "tree", catalog, "--namespace", "collection_ns"}, "0/children/0/name", "Rome"},
      {{"meta", "get", catalog, media, "tiff:ImageWidth"}, "0", "3"},
      {{"version-stack", "list", catalog}, "0/media/0/parent", std::stoi(media)},
      {{"namespace", "list", catalog}, "0/name", "stack_ns"},
      {{"search", catalog, "(2)(" + album + ")()"}, "ids/0", std::stoi(media)},
      {{"search", catalog, "(4)(0)", "--sql"}, "parameters/0/value", "%%"},
      {{"search", "--normalize", "(3)(2)(3)a_b(1,2)"}, "text", "(3)(2)(3)a_b(1,2)"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args = c.args;
    args.push_back("--json");
    EXPECT_EQ(json_at(args, c.where), c.expected) << args[0] << " " << args[1] << " " << c.where;
  }
}

TEST_F(CliTest, SearchPrintsAscendingIdsOrItsStatement) {
  const std::string catalog = catalog_with_media();
  const std::string list = run({"media", "list", catalog}).out;
  const std::string first = list.substr(0, list.find('\t'));
  const std::string second =
      list.substr(list.find('\n') + 1, list.find('\t', list.find('\n')) - list.find('\n') - 1);
  const std::string low = std::to_string(std::min(std::stoi(first), std::stoi(second)));
  const std::string high = std::to_string(std::max(std::stoi(first), std::stoi(second)));
  EXPECT_EQ(run({"search", catalog, "(1)"}).out, low + "\n" + high + "\n");
  EXPECT_EQ(run({"search", catalog, "(4)(3)JPG", "--in", high + ",999"}).out, high + "\n");
  const cli_result sql = run({"search", catalog, "(4)(4)a\tb_"});
  EXPECT_EQ(sql.out, "") << sql.err;
  // The statement is the library's; then a line per parameter, its value escaped.
  const std::string statement = run({"search", catalog, "(4)(4)a\tb_", "--sql"}).out;
  EXPECT_EQ(statement.rfind("SELECT ", 0), 0u) << statement;
  EXPECT_EQ(statement.substr(statement.find("\n:")), "\n:filename\t%a\\tb/_%\n");
  // A smart album from JSON runs as its stored text does.
  box_.write_file("rules.json", R"({"rules": [{"field": "file name", "op": "begins with",
                                              "text": "PLAIN"}]})");
  const cli_result stored = run({"smart-album", catalog, box_.path("rules.json"), "--stored"});
  EXPECT_EQ(stored.out.rfind("(12)(0)(1)1(1)", 0), 0u) << stored.out << stored.err;
  const std::string plain = run({"search", catalog, "(4)(5)plain"}).out;
  EXPECT_EQ(run({"smart-album", catalog, box_.path("rules.json")}).out, plain);
  EXPECT_EQ(run({"search", catalog, stored.out.substr(0, stored.out.size() - 1)}).out, plain);
}

TEST_F(CliTest, AnUnwritableOutputIsAnErrorAClosedPipeIsNot) {
  const cli_result full = shell("$VANTOR prefs defaults >/dev/full");
  EXPECT_EQ(full.status, 2);
  EXPECT_EQ(full.err, "vantor: cannot write the output: No space left on device\n");
  const cli_result closed = shell("{ sleep 0.3; $VANTOR prefs defaults; echo $? >status; } | true");
  EXPECT_EQ(closed.err, "");
  EXPECT_EQ(vantor_test::read_file(box_.path("status")), "0\n");
}

TEST_F(CliTest, ProgressOnlyOnATerminalOrOnRequest) {
  const std::string catalog = catalog_with_media();
  const std::string import = "import " + quote(catalog) + " " + quote(box_.path("pictures"));
  const struct {
    std::string line;
    bool drawn;
  } cases[] = {
      {"$VANTOR " + import, false},
      {"$VANTOR --progress " + import, true},
      {"$VANTOR " + import + " --progress --quiet", false},
      {"script -qec " + quote("$VANTOR " + import) + " /dev/null", true},
      {"script -qec " + quote("$VANTOR " + import + " --quiet") + " /dev/null", false},
  };
  for (const auto& c : cases) {
    const cli_result r = shell(c.line);
    EXPECT_EQ(r.status, 0) << c.line << r.err;
    const std::string shown = r.err + r.out;  // a terminal gets both on one device
    EXPECT_EQ(shown.find("importing") != std::string::npos, c.drawn) << c.line << "\n" << shown;
    if (c.drawn) {
      EXPECT_NE(shown.find("100%"), std::string::npos) << shown;
    }
  }
}

TEST_F(CliTest, RefusalsAreFramedAlikeAndChangeNothing) {
  const std::string catalog = catalog_with_media();
  const std::string trips = id_in(run({"album", "group", catalog, "Trips"}).out);
  ASSERT_EQ(run({"album", "create", catalog, "Rome", "--group", trips}).status, 0);
  box_.write_file("notes.txt", "not a catalog\n");
  box_.write_file("empty.db", "");
  const std::string list = run({"media", "list", catalog}).out;
  const std::string media = list.substr(0, list.find('\t'));
  const auto snapshot = [&] {
    return run({"catalog", "info", catalog, "--json"}).out +
           run({"tag", "tree", catalog, "--json"}).out + run({"album", "list", catalog}).out +
           vantor_test::read_file(box_.path("notes.txt")) + vantor_test::read_file(catalog) +
           vantor_test::read_file(box_.path("empty.db")) +
           std::to_string(std::filesystem::exists(box_.path("missing.db")));
  };
  const std::string before = snapshot();
  const struct {
    std::vector<std::string> args;
    std::string message;
  } refusals[] = {
      // a model rule, named with the tag
      {{"tag", "rm", catalog, trips}, "vantor: tag " + trips + " 'Trips': Cannot delete a tag"},
      // a rule of the library told in its own words, here a row that is not there
      {{"media", "show", catalog, "999999"}, "vantor: there is no media 999999"},
      // a value only the command can check
      {{"meta", "set", catalog, media, "xmp:Rating", "high"}, "vantor: value must be a whole"},
      // files that are not a catalog, or not there, are neither written nor made
      {{"catalog", "upgrade", box_.path("notes.txt")}, "vantor: " + box_.path("notes.txt")},
      {{"catalog", "info", box_.path("empty.db")}, "vantor: " + box_.path("empty.db")},
      {{"catalog", "check", box_.path("missing.db")}, "vantor: no catalog file at"},
      {{"catalog", "copy", box_.path("notes.txt"), catalog}, "vantor: " + box_.path("notes.txt")},
      // a stored search that does not read
      {{"search", catalog, "(15)"}, "vantor: cannot read the search text: No search_criteria"},
      {{"search", catalog, "(1)", "--in", "1,x"}, "vantor: each id of --in must be a whole"},
  };
  for (const auto& refusal : refusals) {
    const cli_result r = run(refusal.args);
    EXPECT_EQ(r.status, 2) << refusal.message;
    EXPECT_EQ(r.out, "") << refusal.message;
    EXPECT_EQ(r.err.rfind(refusal.message, 0), 0u) << r.err;
  }
  EXPECT_EQ(snapshot(), before);
}

}  // namespace
