#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace vantor_env {

// One file being written in place of another. The bytes go to a fresh temporary file in the
// target's folder, and only commit() puts it under the target's name, so a failure at any
// point leaves the old file (or none) in place, never a half-written one. An uncommitted
// temporary is removed on destruction.
class file_replacement {
 public:
  // Creates the temporary file with the mode a plain create of the target would give it;
  // is_open() tells whether that worked.
  explicit file_replacement(std::string path);
  ~file_replacement();
  file_replacement(const file_replacement&) = delete;
  file_replacement& operator=(const file_replacement&) = delete;

  bool is_open() const { return file_ != nullptr; }
  // The temporary file's descriptor, for calls such as fchmod. REQUIRES: is_open().
  int descriptor() const;

  // Appends `bytes`. A failure is remembered and makes commit() fail.
  // REQUIRES: is_open(), not committed yet.
  void write(std::string_view bytes);
  // False once a write failed.
  bool good() const { return !failed_; }

  // Flushes the data to disk and renames the temporary file over the target. Returns false,
  // with the target untouched and the temporary gone, if a write or any step failed.
  // REQUIRES: is_open(), not committed yet.
  bool commit();
  // As commit(), but never replaces a file that stands at the target: 0 on success, EEXIST
  // when one does, another errno value when a step failed.
  int commit_without_replacing();

 private:
  // Flushes and closes the temporary; 0 or an errno value.
  int finish_writing();
  void discard();

  std::string path_;
  std::string temporary_;
  std::FILE* file_ = nullptr;
  bool failed_ = false;
};

}  // namespace vantor_env
