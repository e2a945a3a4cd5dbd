#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tools/vantor/commands.h"
#include "tools/vantor/error_names.h"
#include "vantor/vantor.h"

namespace vantor_cli {
namespace {

struct save_args {
  std::string selection;
  std::string prefs;
  std::string user;
  std::string screen;
};

int save(const save_args& args) {
  const std::string selection = read_text(args.selection);
  const std::string prefs = read_text(args.prefs);
  if (!args.screen.empty()) {
    // A host builds the screen before the save, in the same process: that call is what teaches
    // the save which online albums are shared.
    std::string local;
    std::string online;
    const VTL::error_code shown = VTL::GetXMLForSyncPrefs(args.screen, local, online, {}, false);
    if (shown != VTL::success) {
      std::cerr << "vantor save: the screen gave " << code_name(shown) << " ("
                << static_cast<int>(shown) << ")\n";
      return 2;
    }
  }
  const VTL::error_code result = VTL::SaveSyncPrefs(selection, prefs, args.user);
  if (result == VTL::success) return 0;
  std::cerr << "vantor save: " << code_name(result) << " (" << static_cast<int>(result) << ")\n";
  return 2;
}

}  // namespace

void add_save_command(CLI::App& app) {
  auto args = std::make_shared<save_args>();
  CLI::App* command = add_command(
      app, "save",
      "Saves the preference text and applies an album selection to the sync catalog.\n"
      "Writes the text of --prefs to <sync catalog>/syncdb/U.pref (\".pref\" without --user)\n"
      "and brings the sync catalog's albums in line with the selection XML of --selection,\n"
      "as the host does when the user saves the preference screen. An empty file of either\n"
      "kind changes nothing. With --screen the preference screen is built first, in the same\n"
      "process, as a host does, so that shared online albums are saved with their details.\n"
      "A result other than success is printed by name, with exit status 2.",
      [args] { return save(*args); });
  command->add_option("--selection", args->selection, "Selection XML file.")->required();
  command->add_option("--prefs", args->prefs, "Preference text file.")->required();
  command->add_option("--user", args->user, "User id naming the file.");
  command->add_option("--screen", args->screen, "Catalog folder whose screen comes first.");
}

}  // namespace vantor_cli
