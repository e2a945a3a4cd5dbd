#include <iostream>

#include "preferences/pref_files.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/prefs_fields.h"
#include "vantor/vantor.h"

namespace vantor_cli {
namespace {

// The parser's defaults overlaid with `text`: what a host gets for that text.
SyncPrefs parse_prefs(const std::string& text) {
  SyncPrefs prefs{};
  VTL::GetSyncPrefsFromString(prefs, text);
  return prefs;
}

int prefs_defaults(const std::vector<std::string>& words) {
  expect_positionals(parse_args(words, {}), 0, 0);
  std::cout << vantor_prefs::SyncDefaultsXml() << "\n";
  return 0;
}

int prefs_show(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 0, 1);
  const SyncPrefs prefs =
      parse_prefs(read_text(args.positionals.empty() ? "" : args.positionals[0]));
  for (const prefs_field& field : prefs_fields()) {
    std::cout << field.name << " = " << field.get(prefs) << "\n";
  }
  return 0;
}

int prefs_write(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--folder", "--user"});
  const std::string folder = args.required("--folder");
  SyncPrefs prefs = parse_prefs("");
  for (const std::string& assignment : args.positionals) assign_prefs_field(prefs, assignment);
  if (!VTL::SetSyncPrefs(prefs, folder, args.option("--user"))) {
    throw std::runtime_error("cannot write the preference file in " + folder +
                             "/syncdb (does the folder exist?)");
  }
  return 0;
}

int eligible(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--prefs", "--size", "--mime"});
  expect_positionals(args, 0, 0);
  const long long size = parse_integer(args.required("--size"), "--size");
  const std::string mime = args.required("--mime");
  const SyncPrefs prefs =
      parse_prefs(args.options.count("--prefs") ? read_text(args.option("--prefs")) : "");
  const bool yes = VTL::IsValidMediaForSync(prefs, size, mime);
  std::cout << (yes ? "yes" : "no") << "\n";
  return yes ? 0 : 1;
}

}  // namespace

command prefs_command() {
  command defaults{"defaults", "", "Prints the default preference text.", "", prefs_defaults, {}};
  command show{"show",
               "[FILE]",
               "Parses preference text from FILE (or standard input) and prints every field.",
               "Fields the text does not set show the parser's defaults.",
               prefs_show,
               {}};
  command write{"write",
                "--folder F [--user U] [NAME=VALUE ...]",
                "Writes F/syncdb/U.pref from the parser's defaults and the given fields.",
                "Without --user the signed-in user's id names the file. NAME is a field name\n"
                "as 'vantor prefs show' prints it.",
                prefs_write,
                {}};
  return {"prefs", "", "Shows and writes sync preferences.", "", nullptr, {defaults, show, write}};
}

command eligible_command() {
  return {"eligible",
          "[--prefs FILE] --size BYTES --mime TYPE",
          "Says whether a file may go online under the preferences: prints yes or no.",
          "Without --prefs the parser's defaults apply. Exit status 0 for yes, 1 for no.",
          eligible,
          {}};
}

}  // namespace vantor_cli
