#pragma once

#include <QSettings>
#include <string>

namespace sync_reg_util {

// Hive folder names of the store.
inline constexpr char kCurrentUserHive[] = "HKEY_CURRENT_USER";
inline constexpr char kLocalMachineHive[] = "HKEY_LOCAL_MACHINE";

// The store's root folder: $VANTOR_SETTINGS_ROOT when set and not empty, else
// <XDG config home>/norvane/registry. Read on every call, so tests may move it.
std::string SettingsRoot();
// The INI file that holds `key` of `hive`: <root>/<hive>/<key with "\" as "/">.ini. Key paths
// are used exactly as given: the store is case-sensitive on Linux.
std::string SettingsFilePath(const std::string& hive, const std::string& key);

// One key of the settings store, kept as an INI file (see SettingsFilePath), values in its
// [General] section. People edit these files by hand: an unquoted "a,b,c", which Qt reads as a
// list, still reads as the text "a,b,c" (spaces around the commas are not kept). A missing or
// unreadable file reads as defaults; a write that cannot land is dropped, also for later
// readers in this process, and status() tells it after a set_* call. Writes go through a temporary
// file and a rename, so a reader never sees half a file. REQUIRES: External synchronization for one
// object; separate objects are independent.
class RegSettings : public QSettings {
 public:
  // `hive` is kCurrentUserHive or kLocalMachineHive; a trailing "\" is ignored.
  RegSettings(const std::string& hive, const std::string& key);

  // Each getter gives `fallback` when the file is not an INI file, or the value is missing or,
  // for numbers, not a number.
  std::string get_string(const std::string& name, const std::string& fallback = {}) const;
  int get_int(const std::string& name, int fallback) const;
  bool get_bool(const std::string& name, bool fallback) const;
  // Each setter writes the file at once; status() is NoError afterwards if it landed. A new
  // file of the current user's hive, which holds the ticket, is readable by its owner only.
  void set_string(const std::string& name, const std::string& value);
  void set_int(const std::string& name, int value);
  void set_bool(const std::string& name, bool value);

  // True if the value exists in a readable store.
  bool contains_value(const std::string& name) const;

 private:
  bool readable() const;
  bool Store(const std::string& name, const QVariant& value);

  bool private_file_;
};

// The current user's hive.
class RegSettingsCU : public RegSettings {
 public:
  explicit RegSettingsCU(const std::string& key);
};

// The machine's hive.
class RegSettingsLM : public RegSettings {
 public:
  explicit RegSettingsLM(const std::string& key);
};

}  // namespace sync_reg_util
