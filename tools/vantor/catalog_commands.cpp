#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>

#include "catalog/catalog_lookup.h"
#include "catalog/connection.h"
#include "catalog/schema/catalog_schema.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_upgrade.h"
#include "catalog/transaction.h"
#include "catalog_util/catalog_defaults.h"
#include "dbl/database_copy.h"
#include "dbl/exceptions.h"
#include "dbl/sqlite/sqlite_database.h"
#include "dbl/transaction.h"
#include "environment/catalog_paths.h"
#include "environment/file_helpers.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"
#include "tools/vantor/progress_display.h"

namespace vantor_cli {
namespace {

// An existing catalog file, opened, with its stored schema version. SQLite would create a
// missing file, so that is refused first; a file SQLite cannot read is reported as not being
// a catalog rather than with the engine's words alone.
struct opened_catalog {
  dbl::sqlite_database db;
  std::optional<int> version;
};

opened_catalog open_catalog_file(const std::string& path) {
  if (!vantor_env::FileExists(path)) throw std::runtime_error("no catalog file at " + path);
  try {
    dbl::sqlite_database db(path);
    std::optional<int> version = vael::schema::read_schema_version(db);
    return {db, version};
  } catch (const dbl::internal_database_error& e) {
    throw std::runtime_error(path + " is not a catalog (" + e.what() + ")");
  }
}

// A new catalog file at `path` built by `fill`, which gets the open database, then by
// `finish`, which gets the closed file's path: made under a temporary name and linked into
// place, so that a failure half way, or a second creator racing this one, never leaves a
// partial catalog under the real name.
void build_new_catalog(const std::string& path, const std::function<void(dbl::database&)>& fill,
                       const std::function<void(const std::string&)>& finish = nullptr) {
  if (vantor_env::FileExists(path) || vantor_env::FolderExists(path)) {
    throw std::runtime_error("a catalog already exists at " + path);
  }
  const std::string temporary = path + "." + std::to_string(::getpid()) + ".new";
  std::remove(temporary.c_str());
  try {
    dbl::sqlite_database db(temporary);
    fill(db);
    db.close();
    if (finish) finish(temporary);
  } catch (...) {
    std::remove(temporary.c_str());
    throw;
  }
  const int linked = ::link(temporary.c_str(), path.c_str());
  const int error = errno;
  std::remove(temporary.c_str());
  if (linked != 0) {
    if (error == EEXIST) throw std::runtime_error("a catalog already exists at " + path);
    throw std::runtime_error("cannot create " + path + ": " + std::strerror(error));
  }
}

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

// Opens the new file through the catalog model, which adds what every opened catalog holds,
// and gives it the defaults a host expects of a new catalog.
void add_catalog_defaults(const std::string& path) {
  vael::connection c(path);
  vael::transaction t(c.handle());
  t.begin(vael::without_undo, vael::lock_now);
  vael_util::initialize_catalog_defaults(c.handle(), english_default_tag_names());
  t.commit();
}

int catalog_create(const std::string& folder) {
  vantor_env::CreateFolderTree(folder);
  if (!vantor_env::FolderExists(folder)) throw std::runtime_error("cannot create folder " + folder);
  const std::string target = folder + "/" + vantor_env::GetCatalogFileName();
  build_new_catalog(
      target, [](dbl::database& db) { vael::schema::create_catalog_schema(db); },
      add_catalog_defaults);
  std::cout << "created " << target << " (schema version " << current_version() << ")\n";
  return 0;
}

int catalog_upgrade(const std::string& path) {
  auto [db, before] = open_catalog_file(path);
  if (!before) throw std::runtime_error(path + " is not a catalog: it has no schema version");
  if (*before == current_version()) {
    std::cout << path << " is at schema version " << *before << " already\n";
    return 0;
  }
  if (*before > current_version() || *before < 7) {
    throw std::runtime_error(path + " has schema version " + std::to_string(*before) +
                             ", which cannot be brought to " + std::to_string(current_version()) +
                             "; it is left as it is");
  }
  {
    progress_display progress("upgrading");
    const int steps = current_version() - *before;
    progress.update(0, steps);
    if (*before == 7) {
      vael::schema::upgrade_to_version_8(db, nullptr);
      progress.update(1, steps);
    }
    vael::schema::upgrade_to_version_9(db);
    progress.update(steps, steps);
  }
  std::cout << "upgraded " << path << " from schema version " << *before << " to "
            << current_version() << "\n";
  return 0;
}

int catalog_check(const std::string& path, bool json) {
  auto [db, version] = open_catalog_file(path);
  const std::vector<std::string> problems = vael::integrity_problems(db);
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
  opened_catalog opened = open_catalog_file(source_path);
  dbl::database& source = opened.db;
  if (opened.version != current_version()) {
    throw std::runtime_error(source_path + " is not at schema version " +
                             std::to_string(current_version()) + "; upgrade it first");
  }
  vael::schema::create_catalog_schema(source);
  build_new_catalog(target_path, [&source](dbl::database& target) {
    // Empty tables only: the version row and the master rendition come from the source.
    for (const dbl::table_description& table : vael::schema::current_generation().tables) {
      target.create_table(table);
    }
    progress_display progress("copying");
    dbl::transaction transaction(target);
    transaction.begin(dbl::strict_policy, true, true);
    dbl::copy_database(source, target, [&progress](int current, int maximum) {
      progress.update(current, maximum);
      return true;
    });
    transaction.end();
    progress.update(1, 1);
  });
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
