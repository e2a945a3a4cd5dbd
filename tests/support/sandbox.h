#pragma once

#include <functional>
#include <string>
#include <vector>

namespace vantor_test {

// A private world for one test: a new temporary folder that stands in for HOME, the settings
// root and the XDG folders while the object lives; no membership client is chosen, and the
// reference client's state is root()/ksv.json. The previous environment comes back and
// the folder is removed on destruction.
// REQUIRES: one sandbox at a time per process.
class sandbox {
 public:
  sandbox();
  ~sandbox();
  sandbox(const sandbox&) = delete;
  sandbox& operator=(const sandbox&) = delete;

  // The sandbox folder, without a trailing slash.
  const std::string& root() const { return root_; }
  // root() + "/" + relative.
  std::string path(const std::string& relative) const { return root_ + "/" + relative; }
  // Writes `content` to root()/relative, creating parent folders.
  void write_file(const std::string& relative, const std::string& content) const;

 private:
  std::string root_;
  std::vector<std::pair<std::string, std::string>> saved_;  // name, old value or a mark for unset
};

// Reads a whole file; throws std::runtime_error when it cannot be opened.
std::string read_file(const std::string& path);

// Runs `fn` with standard error sent to a temporary file, and returns what it wrote.
std::string capture_stderr(const std::function<void()>& fn);

}  // namespace vantor_test
