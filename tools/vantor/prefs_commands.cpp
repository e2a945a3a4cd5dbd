#include <iostream>
#include <memory>

#include "preferences/pref_files.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"
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

}  // namespace

void add_prefs_commands(CLI::App& app) {
  CLI::App* family = add_family(app, "prefs", "Shows and writes sync preferences.");
  add_command(*family, "defaults", "Prints the default preference text.", [] {
    std::cout << vantor_prefs::SyncDefaultsXml() << "\n";
    return 0;
  });

  struct show_args {
    std::string file;
    bool json = false;
  };
  auto show = std::make_shared<show_args>();
  CLI::App* show_command = add_command(
      *family, "show",
      "Parses preference text from FILE (or standard input) and prints every field: name, "
      "value.\nFields the text does not set show the parser's defaults.",
      [show] {
        const SyncPrefs prefs = parse_prefs(read_text(show->file));
        QJsonObject fields;
        for (const prefs_field& field : prefs_fields()) {
          if (show->json) {
            fields.insert(field.name, json_text(field.get(prefs)));
          } else {
            print_row({field.name, field.get(prefs)});
          }
        }
        if (show->json) print_json(fields);
        return 0;
      });
  show_command->add_option("FILE", show->file, "Preference file; standard input when none.");
  add_json_flag(show_command, show->json);

  struct write_args {
    std::string folder;
    std::string user;
    std::vector<std::string> assignments;
  };
  auto write = std::make_shared<write_args>();
  CLI::App* write_command =
      add_command(*family, "write",
                  "Writes F/syncdb/U.pref from the parser's defaults and the given fields.\n"
                  "Without --user the signed-in user's id names the file. NAME is a field name as "
                  "'vantor prefs show' prints it.",
                  [write] {
                    SyncPrefs prefs = parse_prefs("");
                    for (const std::string& assignment : write->assignments) {
                      assign_prefs_field(prefs, assignment);
                    }
                    if (!VTL::SetSyncPrefs(prefs, write->folder, write->user)) {
                      throw std::runtime_error("cannot write the preference file in " +
                                               write->folder + "/syncdb (does the folder exist?)");
                    }
                    return 0;
                  });
  write_command->add_option("--folder", write->folder, "Catalog folder.")->required();
  write_command->add_option("--user", write->user, "User id naming the file.");
  write_command->add_option("NAME=VALUE", write->assignments, "Fields to set.");

  struct eligible_args {
    std::string prefs;
    long long size = 0;
    std::string mime;
  };
  auto eligible = std::make_shared<eligible_args>();
  CLI::App* eligible_command = add_command(
      app, "eligible",
      "Says whether a file may go online under the preferences: prints yes or no.\n"
      "Without --prefs the parser's defaults apply. Exit status 0 for yes, 1 for no.",
      [eligible] {
        const SyncPrefs prefs =
            parse_prefs(eligible->prefs.empty() ? "" : read_text(eligible->prefs));
        const bool yes = VTL::IsValidMediaForSync(prefs, eligible->size, eligible->mime);
        std::cout << (yes ? "yes" : "no") << "\n";
        return yes ? 0 : 1;
      });
  eligible_command->add_option("--prefs", eligible->prefs, "Preference file.");
  eligible_command->add_option("--size", eligible->size, "File size in bytes.")->required();
  eligible_command->add_option("--mime", eligible->mime, "MIME type.")->required();
}

}  // namespace vantor_cli
