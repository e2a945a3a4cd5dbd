#include "tools/vantor-dialog/conflict_xml.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QXmlStreamReader>
#include <cassert>

#include "tools/vantor-dialog/album_xml.h"

namespace vantor_dialog {
namespace {

int id_attribute(const QXmlStreamReader& reader, const char* name) {
  bool ok = false;
  const int id = reader.attributes().value(QLatin1String(name)).toInt(&ok);
  if (!ok) {
    throw xml_error("the conflict text, line " + std::to_string(reader.lineNumber()) + ": " + name +
                    " is not an id");
  }
  return id;
}

}  // namespace

std::vector<conflict_item> ParseConflicts(const std::string& xml) {
  QXmlStreamReader reader(QString::fromStdString(xml));
  std::vector<conflict_item> items;
  // Depth 1 is <ManualConflictResolution>, 2 <Conflicts> or <Deletions>, 3 one item.
  int depth = 0;
  bool deletions = false;
  bool in_local = false;
  QString element;  // the innermost open element, for text that holds a value
  while (!reader.atEnd()) {
    reader.readNext();
    if (reader.isEndElement()) {
      if (reader.name() == QLatin1String("localdata")) in_local = false;
      --depth;
      element.clear();
      continue;
    }
    if (reader.isCharacters() && !reader.isWhitespace() && depth > 3 && !in_local) {
      items.back().online.emplace_back(element, reader.text().toString().trimmed());
      continue;
    }
    if (!reader.isStartElement()) continue;
    ++depth;
    const QString name = reader.name().toString();
    element = name;
    if (depth == 2) {
      deletions = name == QLatin1String("Deletions");
    } else if (depth == 3) {
      items.push_back({deletions, 0, 0, {}, {}});
    } else if (depth > 3 && name == QLatin1String("vaelid")) {
      items.back().id = id_attribute(reader, "value");
      items.back().top = id_attribute(reader, "tosvalue");
    } else if (depth > 3 && name == QLatin1String("localdata")) {
      in_local = true;
    } else if (depth > 3) {
      const QXmlStreamAttributes attributes = reader.attributes();
      facts& into = in_local ? items.back().local : items.back().online;
      for (const QXmlStreamAttribute& a : attributes) {
        const bool plain = a.name() == QLatin1String("value");
        QString fact = plain ? name : name + QLatin1Char('.') + a.name().toString();
        if (in_local && fact.startsWith(QLatin1String("local"))) fact.remove(0, 5);
        into.emplace_back(fact, a.value().toString());
      }
    }
  }
  if (reader.hasError()) {
    throw xml_error("the conflict text, line " + std::to_string(reader.lineNumber()) + ", column " +
                    std::to_string(reader.columnNumber()) + ": " +
                    reader.errorString().toStdString());
  }
  return items;
}

std::vector<QString> ChoicesFor(const conflict_item& item) {
  if (item.deletion) return {QStringLiteral("delete"), QStringLiteral("keep")};
  return {QStringLiteral("keep_local"), QStringLiteral("keep_online"), QStringLiteral("keep_both")};
}

QByteArray ChoicesJson(const std::vector<conflict_item>& items,
                       const std::vector<QString>& choices) {
  assert(choices.size() == items.size());
  QJsonArray conflicts;
  QJsonArray deletions;
  for (std::size_t i = 0; i < items.size(); ++i) {
    (items[i].deletion ? deletions : conflicts)
        .append(QJsonObject{{"id", items[i].id}, {"choice", choices[i]}});
  }
  return QJsonDocument(QJsonObject{{"conflicts", conflicts}, {"deletions", deletions}})
      .toJson(QJsonDocument::Compact);
}

}  // namespace vantor_dialog
