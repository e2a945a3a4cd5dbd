#include "environment/folder_walk.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <utility>

namespace fs = std::filesystem;

namespace vantor_env {
namespace {

using folder_key = std::pair<dev_t, ino_t>;

class walker {
 public:
  explicit walker(folder_walk_t& out) : out_(out) {}

  // Throws instead of warning when the top folder cannot be listed: nothing was walked.
  void walk(const std::string& folder, bool top) {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
      names.push_back(it->path().filename().string());
    }
    if (ec) {
      // A listing that broke off half way would make the result depend on directory order.
      std::string why = "Cannot read folder " + folder + ": " + ec.message();
      if (top) throw std::runtime_error(why);
      out_.warnings.push_back(std::move(why));
      return;
    }
    std::sort(names.begin(), names.end());
    std::vector<std::string> folders;
    for (const std::string& name : names) {
      const std::string path = (folder == "/" ? "" : folder) + "/" + name;
      struct stat st {};
      if (::stat(path.c_str(), &st) != 0) {
        out_.warnings.push_back("Cannot read " + path + ": " + std::strerror(errno));
      } else if (S_ISREG(st.st_mode)) {
        out_.files.push_back(path);
      } else if (S_ISDIR(st.st_mode)) {
        if (seen_.insert({st.st_dev, st.st_ino}).second) {
          folders.push_back(path);
        } else {
          out_.warnings.push_back("Skipped " + path + ": the folder was already walked");
        }
      }
    }
    for (const std::string& path : folders) walk(path, false);
  }

  void mark_seen(const struct stat& st) { seen_.insert({st.st_dev, st.st_ino}); }

 private:
  folder_walk_t& out_;
  std::set<folder_key> seen_;
};

}  // namespace

folder_walk_t WalkFolder(const std::string& folder) {
  struct stat st {};
  if (::stat(folder.c_str(), &st) != 0) {
    throw std::runtime_error("Cannot walk " + folder + ": " + std::strerror(errno));
  }
  if (!S_ISDIR(st.st_mode)) throw std::runtime_error("Cannot walk " + folder + ": not a folder");
  std::string root = folder;
  while (root.size() > 1 && root.back() == '/') root.pop_back();

  folder_walk_t out;
  walker w(out);
  w.mark_seen(st);
  w.walk(root, true);
  return out;
}

}  // namespace vantor_env
