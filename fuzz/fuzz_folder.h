#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

// A folder of its own for one fuzz process, removed at its exit: in memory (/dev/shm) unless
// TMPDIR names another place, since the library syncs what it writes to disk at every
// commit, which would cost more than the rest of a run.
class fuzz_folder {
 public:
  explicit fuzz_folder(const std::string& prefix) {
    std::error_code ignored;
    const std::filesystem::path base =
        ::getenv("TMPDIR") == nullptr && std::filesystem::is_directory("/dev/shm", ignored)
            ? std::filesystem::path("/dev/shm")
            : std::filesystem::temp_directory_path();
    std::string pattern = (base / (prefix + "-XXXXXX")).string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~fuzz_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  fuzz_folder(const fuzz_folder&) = delete;
  fuzz_folder& operator=(const fuzz_folder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};
