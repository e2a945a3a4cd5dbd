#include <iostream>
#include <string>
#include <vector>

#include "tools/vantor/commands.h"
#include "tools/vantor/error_names.h"
#include "vantor/vantor.h"

namespace vantor_cli {
namespace {

int save(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--selection", "--prefs", "--user", "--screen"}, {});
  expect_positionals(args, 0, 0);
  const std::string selection = read_text(args.required("--selection"));
  const std::string prefs = read_text(args.required("--prefs"));
  if (args.options.count("--screen") != 0) {
    // A host builds the screen before the save, in the same process: that call is what teaches
    // the save which online albums are shared.
    std::string local;
    std::string online;
    const VTL::error_code shown =
        VTL::GetXMLForSyncPrefs(args.option("--screen"), local, online, {}, false);
    if (shown != VTL::success) {
      std::cerr << "vantor save: the screen gave " << code_name(shown) << " ("
                << static_cast<int>(shown) << ")\n";
      return 2;
    }
  }
  const VTL::error_code result = VTL::SaveSyncPrefs(selection, prefs, args.option("--user"));
  if (result == VTL::success) return 0;
  std::cerr << "vantor save: " << code_name(result) << " (" << static_cast<int>(result) << ")\n";
  return 2;
}

}  // namespace

command save_command() {
  return {"save",
          "--selection FILE --prefs FILE [--user U] [--screen CATALOG_FOLDER]",
          "Saves the preference text and applies an album selection to the sync catalog.",
          "Writes the text of --prefs to <sync catalog>/syncdb/U.pref (\".pref\" without --user)\n"
          "and brings the sync catalog's albums in line with the selection XML of --selection,\n"
          "as the host does when the user saves the preference screen. An empty file of either\n"
          "kind changes nothing. With --screen the preference screen is built first, in the same\n"
          "process, as a host does, so that shared online albums are saved with their details.\n"
          "A result other than success is printed by name, with exit status 2.",
          save,
          {}};
}

}  // namespace vantor_cli
