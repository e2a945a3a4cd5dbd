#include "environment/ini_file.h"

#include <QSettings>
#include <QStringList>
#include <utility>

#include "environment/catalog_paths.h"
#include "environment/file_helpers.h"

namespace vantor_env {
namespace {

constexpr qsizetype kReadLimit = 2047;  // a buffer of 2048 wide characters with its zero

int StatusOf(const QSettings& settings) {
  switch (settings.status()) {
    case QSettings::NoError:
      return ini_file::kOk;
    case QSettings::AccessError:
      return ini_file::kAccessError;
    case QSettings::FormatError:
      return ini_file::kFormatError;
  }
  return ini_file::kAccessError;
}

QString KeyOf(const std::string& section, const std::string& key) {
  return QString::fromStdString(section + "/" + key);
}

}  // namespace

ini_file::ini_file(std::string path) : path_(std::move(path)) {}

std::string ini_file::read_string(const std::string& section, const std::string& key) {
  if (status_ != kOk) return {};
  if (!FileExists(path_)) {
    status_ = kNotFound;
    return {};
  }
  const QSettings settings(QString::fromStdString(path_), QSettings::IniFormat);
  status_ = StatusOf(settings);
  if (status_ != kOk) return {};
  const QVariant v = settings.value(KeyOf(section, key));
  if (!v.isValid()) {
    status_ = kNotFound;
    return {};
  }
  // A hand-typed "a,b" comes back from Qt as a list.
  const QString text = v.userType() == QMetaType::QStringList
                           ? v.toStringList().join(QLatin1Char(','))
                           : v.toString();
  return text.left(kReadLimit).toStdString();
}

bool ini_file::write_string(const std::string& section, const std::string& key,
                            const std::string& value) {
  if (status_ != kOk) return false;
  QSettings settings(QString::fromStdString(path_), QSettings::IniFormat);
  const QString name = KeyOf(section, key);
  const QVariant old = settings.value(name);
  settings.setValue(name, QString::fromStdString(value));
  settings.sync();
  status_ = StatusOf(settings);
  if (status_ == kOk) return true;
  // Qt would show the unwritten value to the next reader in this process.
  if (old.isValid()) {
    settings.setValue(name, old);
  } else {
    settings.remove(name);
  }
  return false;
}

std::string GetTessarinIniPath() {
  return GetAppDataFolder(true, "Tessarin", "14.0") + "Tessarin.ini";
}

std::string GetVdlIniPath() {
  return GetAppDataFolder(true, "Tessarin", "14.0") + "VDL.ini";
}

std::string GetUuidIniPath() {
  return GetAppDataFolder(true, "Tessarin", "") + "UUID.ini";
}

}  // namespace vantor_env
