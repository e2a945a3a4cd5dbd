#pragma once

#include <string>

namespace vantor_env {

// One ini file of the shared settings, read and written through QSettings. The object keeps
// the status of its last operation; once one failed, every later one fails at once and gives
// "". A missing file or key is a failure, as with the profile-string calls it replaces.
// REQUIRES: External synchronization.
class ini_file {
 public:
  // Status values, errno numbers.
  static constexpr int kOk = 0;
  static constexpr int kNotFound = 2;      // ENOENT: no such file, section or key
  static constexpr int kAccessError = 13;  // EACCES: the file cannot be read or written
  static constexpr int kFormatError = 22;  // EINVAL: the file is not an ini file

  explicit ini_file(std::string path);

  // The value of `key` in `section`, cut to 2047 UTF-16 units as the original buffer was; ""
  // on failure.
  std::string read_string(const std::string& section, const std::string& key);
  // Writes `value`; the file is replaced as a whole. False on failure.
  bool write_string(const std::string& section, const std::string& key, const std::string& value);

  int status() const { return status_; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  int status_ = kOk;
};

// The ini files of the organizer's machine data folder (GetAppDataFolder(true, "Tessarin",
// ...)): "Tessarin.ini" and "VDL.ini" in its "14.0" level, "UUID.ini" without it.
std::string GetTessarinIniPath();
std::string GetVdlIniPath();
std::string GetUuidIniPath();

}  // namespace vantor_env
