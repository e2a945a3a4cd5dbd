#include "tools/vantor-dialog/album_xml.h"

#include <QXmlStreamReader>
#include <QXmlStreamWriter>

namespace vantor_dialog {
namespace {

QString attribute(const QXmlStreamReader& reader, const char* name) {
  return reader.attributes().value(QLatin1String(name)).toString();
}

[[noreturn]] void fail(const QXmlStreamReader& reader, const char* what, const QString& why) {
  throw xml_error(std::string(what) + ", line " + std::to_string(reader.lineNumber()) +
                  ", column " + std::to_string(reader.columnNumber()) + ": " + why.toStdString());
}

// The reader's error, if any, or a missing <tagnamespace>, which every screen text holds
// even when it lists no album.
void finish(const QXmlStreamReader& reader, bool saw_namespace, const char* what) {
  if (reader.hasError()) fail(reader, what, reader.errorString());
  if (!saw_namespace) fail(reader, what, QStringLiteral("no <tagnamespace> element"));
}

int number(const QXmlStreamReader& reader, const char* name, const char* what) {
  bool ok = false;
  const int value = attribute(reader, name).toInt(&ok);
  if (!ok) fail(reader, what, QStringLiteral("%1 is not a number").arg(QLatin1String(name)));
  return value;
}

std::optional<qint64> optional_count(const QXmlStreamReader& reader, const char* name,
                                     const char* what) {
  const QString text = attribute(reader, name);
  if (text.isEmpty()) return std::nullopt;
  bool ok = false;
  const qint64 value = text.toLongLong(&ok);
  if (!ok || value < 0) {
    fail(reader, what, QStringLiteral("%1 is not a count of bytes").arg(QLatin1String(name)));
  }
  return value;
}

void write_entry(QXmlStreamWriter& writer, const selection_entry& e) {
  writer.writeStartElement(QStringLiteral("tag"));
  writer.writeAttribute(QStringLiteral("localid"), e.localid);
  writer.writeAttribute(QStringLiteral("onlineid"), e.onlineid);
  writer.writeAttribute(QStringLiteral("parents"), e.parents);
  writer.writeAttribute(QStringLiteral("label"), e.label);
  writer.writeAttribute(QStringLiteral("state"), QString::number(e.state));
  writer.writeAttribute(QStringLiteral("flag"), QStringLiteral("false"));
  writer.writeAttribute(QStringLiteral("type"), e.type);
  for (const selection_entry& child : e.children) write_entry(writer, child);
  writer.writeEndElement();
}

}  // namespace

std::vector<local_album> ParseLocalAlbums(const std::string& xml) {
  constexpr char what[] = "the local album text";
  QXmlStreamReader reader(QString::fromStdString(xml));
  std::vector<local_album> top;
  // The albums open at the reader's position, outermost first; each is moved into its parent
  // (or the top list) when its element closes.
  std::vector<local_album> open;
  bool saw_namespace = false;
  while (!reader.atEnd()) {
    reader.readNext();
    if (reader.isStartElement() && reader.name() == QLatin1String("tagnamespace")) {
      saw_namespace = true;
    } else if (reader.isStartElement() && reader.name() == QLatin1String("tag")) {
      open.push_back({attribute(reader, "label"),
                      attribute(reader, "type"),
                      attribute(reader, "localid"),
                      attribute(reader, "onlineid"),
                      number(reader, "ismarkedforsync", what),
                      {}});
    } else if (reader.isEndElement() && reader.name() == QLatin1String("tag")) {
      local_album done = std::move(open.back());
      open.pop_back();
      (open.empty() ? top : open.back().children).push_back(std::move(done));
    }
  }
  finish(reader, saw_namespace, what);
  return top;
}

online_albums ParseOnlineAlbums(const std::string& xml) {
  constexpr char what[] = "the online album text";
  QXmlStreamReader reader(QString::fromStdString(xml));
  online_albums out;
  bool saw_namespace = false;
  while (!reader.atEnd()) {
    reader.readNext();
    if (!reader.isStartElement()) continue;
    if (reader.name() == QLatin1String("tagnamespace")) {
      saw_namespace = true;
    } else if (reader.name() == QLatin1String("tag")) {
      out.albums.push_back({attribute(reader, "label"), attribute(reader, "parents"),
                            attribute(reader, "onlineid"), attribute(reader, "type")});
    } else if (reader.name() == QLatin1String("KSVStorage")) {
      out.quota = optional_count(reader, "quota", what);
      out.used = optional_count(reader, "storageused", what);
    }
  }
  finish(reader, saw_namespace, what);
  return out;
}

std::string BuildSelectionXml(const std::vector<selection_entry>& entries) {
  QString text;
  QXmlStreamWriter writer(&text);
  writer.writeStartElement(QStringLiteral("tagselection"));
  for (const selection_entry& e : entries) write_entry(writer, e);
  writer.writeEndElement();
  return text.toStdString();
}

}  // namespace vantor_dialog
