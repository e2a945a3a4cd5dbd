#include "catalog_util/catalog_files.h"

#include <signal.h>
#include <unistd.h>

#include <boost/lexical_cast.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "catalog/catalog_lookup.h"
#include "catalog/connection.h"
#include "catalog/schema/catalog_schema.h"
#include "catalog/schema/planner_statistics.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_upgrade.h"
#include "catalog/transaction.h"
#include "dbl/database_copy.h"
#include "dbl/exceptions.h"
#include "dbl/sqlite/sqlite_database.h"
#include "dbl/transaction.h"

namespace vael_util {
namespace {

namespace fs = std::filesystem;

struct opened_file {
  dbl::sqlite_database db;
  std::optional<int> version;
};

// SQLite would create a missing file, so that is refused first; a file SQLite cannot read is
// reported as not being a catalog rather than with the engine's words alone.
opened_file open_existing(const std::string& path) {
  std::error_code ignored;
  if (!fs::is_regular_file(path, ignored)) throw std::runtime_error("no catalog file at " + path);
  try {
    dbl::sqlite_database db(path);
    std::optional<int> version = vael::schema::read_schema_version(db);
    return {db, version};
  } catch (const dbl::internal_database_error& e) {
    throw std::runtime_error(path + " is not a catalog (" + e.what() + ")");
  }
}

// Removes the temporaries of `path` ("<path>.<pid>.new" and its journal) that a build killed
// before its end left behind: those whose process is gone from this machine.
void remove_stale_temporaries(const std::string& path) {
  const fs::path target(path);
  const std::string prefix = target.filename().string() + ".";
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(target.parent_path(), error)) {
    const std::string name = entry.path().filename().string();
    if (name.compare(0, prefix.size(), prefix) != 0) continue;
    const std::size_t end = name.find(".new", prefix.size());
    const std::string tail = end == std::string::npos ? "" : name.substr(end);
    pid_t pid = 0;
    if ((tail != ".new" && tail != ".new-journal") ||
        !boost::conversion::try_lexical_convert(name.substr(prefix.size(), end - prefix.size()),
                                                pid) ||
        pid <= 0 || pid == ::getpid()) {
      continue;
    }
    if (::kill(pid, 0) != 0 && errno == ESRCH) fs::remove(entry.path(), error);
  }
}

// Builds a new file with `fill` on the open database, then `finish` on the closed file's path,
// under a temporary name that is linked into place at the end.
void build_new_file(const std::string& path, const std::function<void(dbl::database&)>& fill,
                    const std::function<void(const std::string&)>& finish) {
  std::error_code ignored;
  if (fs::exists(fs::symlink_status(path, ignored))) {
    throw std::runtime_error("a catalog already exists at " + path);
  }
  const std::string temporary = path + "." + std::to_string(::getpid()) + ".new";
  // A journal stays behind when the disk fills during the build; it goes with its file.
  const auto remove_temporary = [&temporary] {
    std::remove(temporary.c_str());
    std::remove((temporary + "-journal").c_str());
  };
  remove_stale_temporaries(path);
  remove_temporary();
  try {
    dbl::sqlite_database db(temporary);
    fill(db);
    db.close();
    if (finish) finish(temporary);
  } catch (...) {
    remove_temporary();
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

void report(const file_progress& progress, long long current, long long maximum) {
  if (progress) progress(current, maximum);
}

}  // namespace

void create_catalog_file(const std::string& path, const default_tag_names& names) {
  build_new_file(
      path, [](dbl::database& db) { vael::schema::create_catalog_schema(db); },
      [&names](const std::string& made) {
        // Opened through the model, which adds what every opened catalog holds.
        vael::connection c(made);
        vael::transaction t(c.handle());
        t.begin(vael::without_undo, vael::lock_now);
        initialize_catalog_defaults(c.handle(), names);
        t.commit();
      });
}

catalog_file_check check_catalog_file(const std::string& path) {
  opened_file opened = open_existing(path);
  return {opened.version, vael::integrity_problems(opened.db)};
}

int upgrade_catalog_file(const std::string& path, const file_progress& progress) {
  opened_file opened = open_existing(path);
  const int current = vael::schema::current_schema_version;
  if (!opened.version)
    throw std::runtime_error(path + " is not a catalog: it has no schema version");
  const int before = *opened.version;
  if (before == current) return before;
  if (before > current || before < 7) {
    throw std::runtime_error(path + " has schema version " + std::to_string(before) +
                             ", which cannot be brought to " + std::to_string(current) +
                             "; it is left as it is");
  }
  const int steps = current - before;
  report(progress, 0, steps);
  if (before == 7) {
    vael::schema::upgrade_to_version_8(opened.db, nullptr);
    report(progress, 1, steps);
  }
  vael::schema::upgrade_to_version_9(opened.db);
  vael::schema::seed_planner_statistics(opened.db);
  report(progress, steps, steps);
  return before;
}

void copy_catalog_file(const std::string& source_path, const std::string& target,
                       const file_progress& progress) {
  opened_file opened = open_existing(source_path);
  dbl::database& source = opened.db;
  const int current = vael::schema::current_schema_version;
  if (opened.version != current) {
    throw std::runtime_error(source_path + " is not at schema version " + std::to_string(current) +
                             "; upgrade it first");
  }
  vael::schema::create_catalog_schema(source);
  build_new_file(
      target,
      [&](dbl::database& copy) {
        // Empty tables only: the version row and the master rendition come from the source.
        for (const dbl::table_description& table : vael::schema::current_generation().tables) {
          copy.create_table(table);
        }
        dbl::transaction transaction(copy);
        transaction.begin(dbl::strict_policy, true, true);
        dbl::copy_database(source, copy, [&progress](int at, int maximum) {
          report(progress, at, maximum);
          return true;
        });
        transaction.end();
        report(progress, 1, 1);
      },
      nullptr);
}

}  // namespace vael_util
