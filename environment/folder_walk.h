#pragma once

#include <string>
#include <vector>

namespace vantor_env {

struct folder_walk_t {
  std::vector<std::string> files;     // `folder` + "/" + relative path, in walk order
  std::vector<std::string> warnings;  // one per folder or entry that was passed over
};

// Lists the regular files under `folder`, for an import that must give the same result each
// time. Each folder's files come first, sorted by name in byte order, then its subfolders the
// same way, depth first. Links are followed to files and folders, but a folder reached a second
// time (a link loop, or two links to one place) is not walked again. A folder that cannot be
// read, or an entry whose type cannot be read (a broken link), is passed over with a warning;
// other kinds of entry (sockets, devices) are passed over silently.
// Throws std::runtime_error when `folder` itself is not a readable folder.
folder_walk_t WalkFolder(const std::string& folder);

}  // namespace vantor_env
