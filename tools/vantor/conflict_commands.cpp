#include <boost/algorithm/string/split.hpp>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tools/vantor/commands.h"
#include "tools/vantor/error_names.h"
#include "vantor/vantor.h"

namespace vantor_cli {
namespace {

// "1,2,3" as ids; "" as none.
std::vector<int> parse_ids(const std::string& text, const std::string& what) {
  std::vector<int> ids;
  if (text.empty()) return ids;
  std::vector<std::string> words;
  boost::split(words, text, [](char c) { return c == ','; });
  for (const std::string& word : words) {
    const long long id = parse_integer(word, what);
    if (id < std::numeric_limits<int>::min() || id > std::numeric_limits<int>::max()) {
      throw usage_error(what + " holds an id out of range: " + word);
    }
    ids.push_back(static_cast<int>(id));
  }
  return ids;
}

struct conflicts_args {
  std::string conflicts;
  std::string deletes;
  std::string folder;
};

int conflicts_run(const conflicts_args& args) {
  const std::vector<int> conflicts = parse_ids(args.conflicts, "--conflicts");
  const std::vector<int> deletes = parse_ids(args.deletes, "--deletes");
  std::string folder = args.folder;
  if (folder.empty()) throw usage_error("--folder must name a folder");
  if (folder.back() != '/') folder += '/';

  std::string out, reserved;
  const VTL::error_code code =
      VTL::GetManualConflictResolutionXML(conflicts, deletes, out, folder, reserved);
  if (code != VTL::success) {
    std::cerr << "vantor: " << code_name(code) << "\n";
    return 2;
  }
  std::cout << out << "\n";
  return 0;
}

}  // namespace

void add_conflicts_command(CLI::App& app) {
  auto args = std::make_shared<conflicts_args>();
  CLI::App* command =
      add_command(app, "conflicts",
                  "Prints the conflict resolution XML of media ids of the sync catalog.\n"
                  "IDS are comma-separated media ids, none by default. DIR holds one folder per\n"
                  "conflict id with the agent's online.xml.",
                  [args] { return conflicts_run(*args); });
  command->add_option("--conflicts", args->conflicts, "Media ids in conflict, e.g. 1,2,3.");
  command->add_option("--deletes", args->deletes, "Media ids deleted online.");
  command->add_option("--folder", args->folder, "Folder of the conflicts.")->required();
}

}  // namespace vantor_cli
