#include "environment/reg_settings.h"

#include <QStandardPaths>
#include <QStringList>
#include <QVariant>
#include <cstdlib>
#include <filesystem>

#include "environment/file_replacement.h"

namespace sync_reg_util {
namespace {

// "HKEY_CURRENT_USER\" or a bare hive name both name the hive folder.
std::string HiveFolder(const std::string& hive) {
  std::string folder = hive;
  while (!folder.empty() && (folder.back() == '\\' || folder.back() == '/')) folder.pop_back();
  return folder;
}

// The key path as folders: "\" becomes "/"; empty, "." and ".." levels vanish, so that no key
// leads out of the root. Case is kept as given: two spellings of one key are two files.
std::string KeyFolders(const std::string& key) {
  std::string out;
  std::string level;
  auto flush = [&out, &level] {
    if (level.empty() || level == "." || level == "..") {
      level.clear();
      return;
    }
    if (!out.empty()) out.push_back('/');
    out += level;
    level.clear();
  };
  for (char c : key) {
    if (c == '\\' || c == '/') {
      flush();
    } else {
      level.push_back(c);
    }
  }
  flush();
  return out;
}

QString QStr(const std::string& s) {
  return QString::fromStdString(s);
}

}  // namespace

std::string SettingsRoot() {
  const char* root = std::getenv("VANTOR_SETTINGS_ROOT");
  if (root != nullptr && root[0] != '\0') return root;
  return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdString() +
         "/norvane/registry";
}

std::string SettingsFilePath(const std::string& hive, const std::string& key) {
  return SettingsRoot() + "/" + HiveFolder(hive) + "/" + KeyFolders(key) + ".ini";
}

RegSettings::RegSettings(const std::string& hive, const std::string& key)
    : QSettings(QStr(SettingsFilePath(hive, key)), QSettings::IniFormat),
      private_file_(HiveFolder(hive) == HiveFolder(kCurrentUserHive)) {}

std::string RegSettings::get_string(const std::string& name, const std::string& fallback) const {
  if (!readable()) return fallback;
  const QVariant v = value(QStr(name));
  if (!v.isValid()) return fallback;
  // An unquoted "a,b,c" typed into the file comes back from Qt as a list.
  if (v.userType() == QMetaType::QStringList) {
    return v.toStringList().join(QLatin1Char(',')).toStdString();
  }
  return v.toString().toStdString();
}

int RegSettings::get_int(const std::string& name, int fallback) const {
  if (!readable()) return fallback;
  const QVariant v = value(QStr(name));
  bool ok = false;
  const int result = v.toInt(&ok);
  return ok ? result : fallback;
}

bool RegSettings::get_bool(const std::string& name, bool fallback) const {
  if (!readable()) return fallback;
  const QVariant v = value(QStr(name));
  if (!v.isValid()) return fallback;
  return v.toBool();
}

bool RegSettings::readable() const {
  // An AccessError may only mean that an earlier write could not land; a file that cannot be
  // read has no values to give anyway.
  return status() != QSettings::FormatError;
}

bool RegSettings::Store(const std::string& name, const QVariant& v) {
  const QString key = QStr(name);
  const QVariant old = value(key);
  setValue(key, v);
  // QSettings keeps the mode of a file it rewrites but makes a new one as the umask says.
  const std::string path = fileName().toStdString();
  std::error_code ignored;
  if (private_file_ && !std::filesystem::exists(path, ignored)) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    vantor_env::ReplaceFileContent(path, "", vantor_env::new_file_access::owner_only);
  }
  sync();
  if (status() == QSettings::NoError) return true;
  // Qt keeps an unwritten change in a cache that every QSettings of this process shares, and
  // would show it to the next reader. Put the old value back so that the write is dropped.
  if (old.isValid()) {
    setValue(key, old);
  } else {
    remove(key);
  }
  return false;
}

void RegSettings::set_string(const std::string& name, const std::string& v) {
  Store(name, QStr(v));
}

void RegSettings::set_int(const std::string& name, int v) {
  Store(name, v);
}

void RegSettings::set_bool(const std::string& name, bool v) {
  Store(name, v);
}

bool RegSettings::contains_value(const std::string& name) const {
  return readable() && contains(QStr(name));
}

RegSettingsCU::RegSettingsCU(const std::string& key) : RegSettings(kCurrentUserHive, key) {}

RegSettingsLM::RegSettingsLM(const std::string& key) : RegSettings(kLocalMachineHive, key) {}

}  // namespace sync_reg_util
