#include <boost/algorithm/string/split.hpp>
#include <iostream>
#include <limits>
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

int conflicts_run(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--conflicts", "--deletes", "--folder"});
  expect_positionals(args, 0, 0);
  const std::vector<int> conflicts = parse_ids(args.option("--conflicts"), "--conflicts");
  const std::vector<int> deletes = parse_ids(args.option("--deletes"), "--deletes");
  std::string folder = args.required("--folder");
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

command conflicts_command() {
  return {"conflicts",
          "[--conflicts IDS] [--deletes IDS] --folder DIR",
          "Prints the conflict resolution XML of media ids of the sync catalog.",
          "IDS are comma-separated media ids, none by default. DIR holds one folder per\n"
          "conflict id with the agent's online.xml.",
          conflicts_run,
          {}};
}

}  // namespace vantor_cli
