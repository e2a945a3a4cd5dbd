#include "environment/uuid.h"

#include <QByteArray>
#include <QUuid>
#include <cstring>

#include "environment/file_helpers.h"
#include "environment/ini_file.h"

namespace vantor_env {

std::string NewUuid() {
  return QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
}

std::string UuidToText(const uuid_bytes& id) {
  const QByteArray raw(reinterpret_cast<const char*>(id.data()), static_cast<qsizetype>(id.size()));
  return QUuid::fromRfc4122(raw).toString(QUuid::WithoutBraces).toStdString();
}

bool UuidFromText(const std::string& text, uuid_bytes& id) {
  const QUuid parsed = QUuid::fromString(QString::fromStdString(text));
  // QUuid takes the nil text for a failure too; nobody stores the nil UUID on purpose.
  if (parsed.isNull()) return false;
  const QByteArray raw = parsed.toRfc4122();
  std::memcpy(id.data(), raw.constData(), id.size());
  return true;
}

std::string GetStoredUuid(const std::string& section, const std::string& key) {
  ini_file reader(GetUuidIniPath());
  const std::string stored = reader.read_string(section, key);
  uuid_bytes ignored{};
  if (UuidFromText(stored, ignored)) return stored;
  const std::string path = GetUuidIniPath();
  CreateFolderTree(path.substr(0, path.rfind('/')));
  ini_file writer(path);
  const std::string fresh = NewUuid();
  return writer.write_string(section, key, fresh) ? fresh : std::string();
}

}  // namespace vantor_env
