#pragma once

#include <QSettings>
#include <string>

namespace sync_reg_util {

// One key of the settings store, kept as an INI file: <root>/<hive>/<key with "\" as
// "/">.ini, values in its [General] section. The root is $VANTOR_SETTINGS_ROOT when set, else
// <XDG config home>/norvane/registry. A missing or unreadable file reads as defaults; a write
// that cannot land is dropped.
class RegSettings : public QSettings {
 public:
  RegSettings(const std::string& hive, const std::string& key);

  std::string get_string(const std::string& name, const std::string& fallback = {}) const;
  int get_int(const std::string& name, int fallback) const;
  bool get_bool(const std::string& name, bool fallback) const;
  void set_string(const std::string& name, const std::string& value);
  void set_int(const std::string& name, int value);
  void set_bool(const std::string& name, bool value);
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
