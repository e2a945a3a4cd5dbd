#include <iostream>
#include <string>
#include <vector>

#include "tools/vantor/commands.h"
#include "vantor/vantor.h"

namespace vantor_cli {
namespace {

const char* code_name(VTL::error_code code) {
  switch (code) {
    case VTL::success:
      return "success";
    case VTL::no_valid_user:
      return "no_valid_user";
    case VTL::unknown_error:
      return "unknown_error";
    case VTL::invalid_argument:
      return "invalid_argument";
    case VTL::not_logged_in:
      return "not_logged_in";
    case VTL::invalid_credentials:
      return "invalid_credentials";
    case VTL::catalog_error:
      return "catalog_error";
    case VTL::change_catalog_required:
      return "change_catalog_required";
  }
  return "unknown error code";
}

int save(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--selection", "--prefs", "--user"});
  expect_positionals(args, 0, 0);
  const std::string selection = read_text(args.required("--selection"));
  const std::string prefs = read_text(args.required("--prefs"));
  const VTL::error_code result = VTL::SaveSyncPrefs(selection, prefs, args.option("--user"));
  if (result == VTL::success) return 0;
  std::cerr << "vantor save: " << code_name(result) << " (" << static_cast<int>(result) << ")\n";
  return 2;
}

}  // namespace

command save_command() {
  return {"save",
          "--selection FILE --prefs FILE [--user U]",
          "Saves the preference text and applies an album selection to the sync catalog.",
          "Writes the text of --prefs to <sync catalog>/syncdb/U.pref (\".pref\" without --user)\n"
          "and brings the sync catalog's albums in line with the selection XML of --selection,\n"
          "as the host does when the user saves the preference screen. An empty file of either\n"
          "kind changes nothing. A result other than success is printed by name, with exit\n"
          "status 2.",
          save,
          {}};
}

}  // namespace vantor_cli
