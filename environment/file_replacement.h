#pragma once

#include <QSaveFile>
#include <string>
#include <string_view>

namespace vantor_env {

// Who may read a file that replacement creates; an existing file keeps its own permission bits.
enum class new_file_access {
  usual,       // what the process's umask allows
  owner_only,  // 0600: files holding a ticket or the user's preferences
};

// One file being written in place of another, the only way the library and its tools replace a
// file. The bytes go to a temporary file beside the target, and only commit() puts them under
// the target's name, so a failure at any point leaves the old file (or none) in place, never a
// half-written one. A target that is a symlink is written through: the file it leads to gets
// the new bytes and the link stays. The replacement keeps the old file's permission bits.
// An uncommitted temporary is removed on destruction.
class file_replacement {
 public:
  // Creates the temporary file; is_open() tells whether that worked.
  explicit file_replacement(const std::string& path,
                            new_file_access access = new_file_access::usual);
  file_replacement(const file_replacement&) = delete;
  file_replacement& operator=(const file_replacement&) = delete;

  bool is_open() const { return file_.isOpen(); }

  // Appends `bytes`. A failure is remembered and makes commit() fail.
  // REQUIRES: is_open(), not committed yet.
  void write(std::string_view bytes);
  // False once a write failed.
  bool good() const { return !failed_; }

  // Syncs the data to disk, renames the temporary file over the target and syncs the target's
  // folder, so that the rename itself survives a crash. Returns false, with the target
  // untouched and the temporary gone, if a write or any step failed.
  // REQUIRES: is_open(), not committed yet.
  bool commit();

 private:
  QSaveFile file_;
  bool failed_ = false;
};

// Writes `content` in place of `path` through a file_replacement. False when any step fails.
bool ReplaceFileContent(const std::string& path, std::string_view content,
                        new_file_access access = new_file_access::usual);

}  // namespace vantor_env
