#include <iostream>
#include <memory>
#include <optional>

#include "catalog/schema/catalog_schema.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/catalog_files.h"
#include "environment/catalog_paths.h"
#include "environment/file_helpers.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"
#include "tools/vantor/progress_display.h"

namespace vantor_cli {
namespace {

int current_version() {
  return vael::schema::current_schema_version;
}

// The names a host would give a new catalog's first tags, by entry number; entries the
// library does not read stay empty.
const vael_util::default_tag_names& english_default_tag_names() {
  static const vael_util::default_tag_names names = {
      "",       "Family",  "Friends",       "Colleagues", "", "", "Nature",
      "Travel", "Hobbies", "Miscellaneous", "QR Code",    "", "", "Smart Albums"};
  return names;
}

int catalog_create(const std::string& folder) {
  vantor_env::CreateFolderTree(folder);
  if (!vantor_env::FolderExists(folder)) throw std::runtime_error("cannot create folder " + folder);
  const std::string target = folder + "/" + vantor_env::GetCatalogFileName();
  vael_util::create_catalog_file(target, english_default_tag_names());
  std::cout << "created " << target << " (schema version " << current_version() << ")\n";
  return 0;
}

int catalog_upgrade(const std::string& path) {
  int before = 0;
  {
    progress_display progress("upgrading");
    before = vael_util::upgrade_catalog_file(
        path, [&progress](long long at, long long maximum) { progress.update(at, maximum); });
  }
  if (before == current_version()) {
    std::cout << path << " is at schema version " << before << " already\n";
  } else {
    std::cout << "upgraded " << path << " from schema version " << before << " to "
              << current_version() << "\n";
  }
  return 0;
}

int catalog_check(const std::string& path, bool json) {
  const vael_util::catalog_file_check checked = vael_util::check_catalog_file(path);
  const std::optional<int>& version = checked.schema_version;
  const std::vector<std::string>& problems = checked.problems;
  const bool version_ok = version == current_version();
  const bool integrity_ok = problems.empty();

  if (json) {
    QJsonArray damage;
    for (const std::string& line : problems) damage.append(json_text(line));
    print_json(QJsonObject{{"schema_version", version ? QJsonValue(*version) : QJsonValue()},
                           {"expected_schema_version", current_version()},
                           {"integrity_ok", integrity_ok},
                           {"problems", damage}});
    return version_ok && integrity_ok ? 0 : 1;
  }
  std::cout << "schema version: " << (version ? std::to_string(*version) : "none")
            << (version_ok ? "" : " (expected " + std::to_string(current_version()) + ")")
            << "\nintegrity: " << (integrity_ok ? "ok" : "damaged") << "\n";
  for (const std::string& line : problems) std::cout << "  " << line << "\n";
  return version_ok && integrity_ok ? 0 : 1;
}

int catalog_copy(const std::string& source_path, std::string target_path) {
  if (vantor_env::FolderExists(target_path)) {
    target_path += "/" + vantor_env::GetCatalogFileName();
  }
  progress_display progress("copying");
  vael_util::copy_catalog_file(
      source_path, target_path,
      [&progress](long long at, long long maximum) { progress.update(at, maximum); });
  progress.finish();
  std::cout << "copied " << source_path << " to " << target_path << "\n";
  return 0;
}

}  // namespace

void add_catalog_commands(CLI::App& app) {
  CLI::App* catalog =
      add_family(app, "catalog", "Creates, upgrades, checks and copies catalog files.");
  auto folder = std::make_shared<std::string>();
  add_command(*catalog, "create",
              "Makes a new catalog, FOLDER/catalog.omb14db.\n"
              "Refuses a folder that holds a catalog already.",
              [folder] { return catalog_create(*folder); })
      ->add_option("FOLDER", *folder, "Folder of the new catalog.")
      ->required();
  auto upgraded = std::make_shared<std::string>();
  add_command(*catalog, "upgrade",
              "Brings a catalog of schema version 7 or 8 to the current one.\n"
              "Each version step is a transaction of its own: an interrupted upgrade leaves\n"
              "the file at a whole version, and running the command again goes on from there.",
              [upgraded] { return catalog_upgrade(*upgraded); })
      ->add_option("FILE", *upgraded, "Catalog file.")
      ->required();
  struct check_args {
    std::string file;
    bool json = false;
  };
  auto checked = std::make_shared<check_args>();
  CLI::App* check = add_command(
      *catalog, "check",
      "Checks a catalog's schema version and integrity.\n"
      "Exit status 0 only when the version is current and SQLite finds no damage, else 1.",
      [checked] { return catalog_check(checked->file, checked->json); });
  check->add_option("FILE", checked->file, "Catalog file.")->required();
  add_json_flag(check, checked->json);
  auto copied = std::make_shared<std::pair<std::string, std::string>>();
  CLI::App* copy = add_command(
      *catalog, "copy",
      "Copies a catalog into a new catalog file.\n"
      "TARGET is a file that must not exist yet, or a folder that gets catalog.omb14db.\n"
      "Rows keep their ids; the new file appears only once it is complete.",
      [copied] { return catalog_copy(copied->first, copied->second); });
  copy->add_option("SOURCE", copied->first, "Catalog file to copy.")->required();
  copy->add_option("TARGET", copied->second, "New file, or folder.")->required();
  add_catalog_model_commands(app, *catalog);
}

}  // namespace vantor_cli
