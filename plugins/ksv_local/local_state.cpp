#include "plugins/ksv_local/local_state.h"

#include <QByteArray>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>
#include <QStandardPaths>
#include <QString>
#include <cstdlib>
#include <mutex>
#include <stdexcept>

namespace ksv_local {
namespace {

// Thrown inside this file for any shape the file should not have.
struct malformed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

const std::pair<const char*, KSV::Code> kAlbumFields[] = {
    {"title", KSV::codes::tgti},       {"parents", KSV::codes::thie},
    {"online_id", KSV::codes::srid},   {"type", KSV::codes::ttty},
    {"access", KSV::codes::acpu},      {"privacy", KSV::codes::tpri},
    {"template_id", KSV::codes::gtmi}, {"permissions", KSV::codes::tapr}};

std::optional<std::string> text_field(const QJsonObject& object, const char* name) {
  const QJsonValue value = object.value(QLatin1String(name));
  if (value.isUndefined()) return std::nullopt;
  if (!value.isString()) throw malformed(name);
  return value.toString().toStdString();
}

// A byte count, written as a number or as a text.
std::optional<std::string> count_field(const QJsonObject& object, const char* name) {
  const QJsonValue value = object.value(QLatin1String(name));
  if (value.isUndefined()) return std::nullopt;
  if (value.isString()) return value.toString().toStdString();
  if (!value.isDouble()) throw malformed(name);
  return QString::number(value.toInteger()).toStdString();
}

// A four-letter code such as "esex", or a status number.
KSV::Status status_field(const QJsonObject& object, const char* name) {
  const QJsonValue value = object.value(QLatin1String(name));
  if (value.isUndefined()) return KSV::codes::ok;
  if (value.isDouble()) return static_cast<KSV::Status>(value.toInteger());
  const QByteArray code = value.toString().toLatin1();
  if (!value.isString() || code.size() != 4) throw malformed(name);
  const char text[5] = {code[0], code[1], code[2], code[3], '\0'};
  return KSV::MakeStatus(text);
}

}  // namespace

std::string state_path() {
  if (const char* path = std::getenv("VANTOR_KSV_LOCAL_STATE"); path != nullptr && *path != '\0') {
    return path;
  }
  return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation).toStdString() +
         "/norvane/ksv_local.json";
}

namespace {

KSV::Status parse_state(const QByteArray& bytes, state& out) {
  QJsonParseError error{};
  const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
  if (error.error != QJsonParseError::NoError || !document.isObject()) return kBadState;
  const QJsonObject root = document.object();
  try {
    state result;
    result.ticket = text_field(root, "ticket").value_or("");
    result.server_time = text_field(root, "server_time");
    result.list_tags_status = status_field(root, "list_tags_status");
    if (auto quota = count_field(root, "quota"))
      result.storage.emplace_back(KSV::codes::qsal, *quota);
    if (auto used = count_field(root, "storage_used")) {
      result.storage.emplace_back(KSV::codes::qsud, *used);
    }
    const QJsonValue albums = root.value(QLatin1String("albums"));
    if (!albums.isUndefined() && !albums.isArray()) throw malformed("albums");
    for (const QJsonValue& album : albums.toArray()) {
      if (!album.isObject()) throw malformed("albums");
      const QJsonObject fields = album.toObject();
      text_pairs pairs;
      for (const auto& [name, code] : kAlbumFields) {
        if (auto text = text_field(fields, name)) pairs.emplace_back(code, *text);
      }
      result.albums.push_back(std::move(pairs));
    }
    out = std::move(result);
    return KSV::codes::ok;
  } catch (const malformed&) {
    return kBadState;
  }
}

}  // namespace

KSV::Status load_state(state& out) {
  QFile file(QString::fromStdString(state_path()));
  if (!file.exists()) return kNoState;
  if (!file.open(QIODevice::ReadOnly)) return kBadState;
  const QByteArray bytes = file.readAll();

  // One screen asks three operations of one file, and parsing a large album list costs far
  // more than reading it; the last parse stands for as long as the bytes are the same.
  static std::mutex mutex;
  static QByteArray parsed_bytes;
  static state parsed;
  const std::lock_guard<std::mutex> lock(mutex);
  if (parsed_bytes.isNull() || bytes != parsed_bytes) {
    state fresh;
    if (const KSV::Status status = parse_state(bytes, fresh); status != KSV::codes::ok) {
      return status;
    }
    parsed = std::move(fresh);
    parsed_bytes = bytes;
  }
  out = parsed;
  return KSV::codes::ok;
}

}  // namespace ksv_local
