#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace vantor_prefs {

// One file being replaced. The new bytes go to a fresh temporary file in the target's folder,
// and only commit() renames it over the target, so a failure at any point leaves the old file
// (or none) in place, never a half-written one. An uncommitted temporary is removed on
// destruction.
class file_replacement {
 public:
  // Creates the temporary file; is_open() tells whether that worked.
  explicit file_replacement(std::string path);
  ~file_replacement();
  file_replacement(const file_replacement&) = delete;
  file_replacement& operator=(const file_replacement&) = delete;

  bool is_open() const { return file_ != nullptr; }

  // Appends `bytes`. A failure is remembered and makes commit() fail.
  // REQUIRES: is_open(), commit() not called yet.
  void write(std::string_view bytes);

  // Flushes the data to disk and renames the temporary file to the target. Returns false, with
  // the target untouched and the temporary gone, if a write or any of these steps failed.
  // REQUIRES: is_open(), commit() not called yet.
  bool commit();

 private:
  void discard();

  std::string path_;
  std::string temporary_;
  std::FILE* file_ = nullptr;
  bool failed_ = false;
};

}  // namespace vantor_prefs
