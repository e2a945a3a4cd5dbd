#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "catalog_util/catalog_defaults.h"

namespace vael_util {

// Whole catalog files: made, upgraded, checked and copied as a host does it. A new file is
// built under a temporary name in the target's folder and linked into place, so a failure
// half way, or a second creator racing this one, never leaves a partial catalog under the
// real name. Failures throw std::runtime_error with a message that names the file.

// Reports how far a long step has come, `current` of `maximum`.
using file_progress = std::function<void(long long current, long long maximum)>;

// A new catalog at `path`: the schema, what every opened catalog holds, and the defaults of a
// new catalog with the host's `names` for its first tags. Throws "a catalog already exists at
// PATH" when anything stands there, "cannot create PATH: REASON" when linking fails.
void create_catalog_file(const std::string& path, const default_tag_names& names);

struct catalog_file_check {
  std::optional<int> schema_version;  // none in a file without a version table
  std::vector<std::string> problems;  // what SQLite's integrity check finds; empty when none
};
// Reads an existing file without changing it. Throws "no catalog file at PATH", and "PATH is
// not a catalog (REASON)" for a file SQLite cannot read.
catalog_file_check check_catalog_file(const std::string& path);

// Brings a catalog of schema version 7 or 8 to the current one, each version step a
// transaction of its own; returns the version it had. A current file is left alone. Throws as
// check_catalog_file(), "PATH is not a catalog: it has no schema version", and "PATH has
// schema version N, which cannot be brought to M; it is left as it is".
int upgrade_catalog_file(const std::string& path, const file_progress& progress = nullptr);

// Copies a current catalog into a new file at `target`, rows keeping their ids. Throws as
// check_catalog_file() and create_catalog_file(), and "SOURCE is not at schema version M;
// upgrade it first".
void copy_catalog_file(const std::string& source, const std::string& target,
                       const file_progress& progress = nullptr);

}  // namespace vael_util
