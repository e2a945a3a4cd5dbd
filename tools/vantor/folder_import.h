#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "environment/mount_table.h"

namespace vantor_cli {

struct import_options {
  // Files written per transaction: an interrupted import keeps every finished batch.
  std::size_t batch_size = 250;
  // Called after each file with the count done and the count found.
  std::function<void(long long done, long long total)> progress;
  // Where the mounts and the facts of their devices are read; tests point them at crafted
  // tables and trees.
  std::string mount_table = "/proc/self/mountinfo";
  vantor_env::system_folders_t system_folders;
};

struct import_summary {
  long long imported = 0;
  long long already_present = 0;
  long long skipped = 0;  // files the catalog cannot hold
  std::vector<std::string> warnings;
  double seconds = 0;
};

// Brings every image, video and audio file under `folder` into the catalog as a master, with
// its search date and the metadata a host shows (file size and date; capture date, pixel size
// and rating where the file has them). A file under the catalog's own folder goes on the
// database relative volume; any other on the volume of its mount: the file system, known by
// its serial, and the folder of it that the mount shows (a subvolume, a bound folder), so a
// disk mounted elsewhere or a catalog moved with its pictures keeps its media, and two mounts
// of one file system never mix their paths. Files already in the catalog are left alone, so a
// second import adds nothing. A file whose embedded metadata cannot be read is imported without it,
// with a warning; so is a name that differs only in case from one in the catalog, which is passed
// over. Throws std::runtime_error when `folder` is not a readable folder; an error while writing
// rolls back the batch being written and passes on.
// REQUIRES: no transaction is open on the connection.
import_summary import_folder(const vael::connection_handle& handle, const std::string& folder,
                             const import_options& options = {});

}  // namespace vantor_cli
