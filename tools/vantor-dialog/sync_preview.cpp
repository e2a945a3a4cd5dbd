#include "tools/vantor-dialog/sync_preview.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

namespace vantor_dialog {
namespace {

constexpr int kTimeoutMs = 60000;

preview_row read_row(const QJsonObject& o, const QString& album) {
  preview_row row{album, 0, 0, 0};
  const QJsonObject going = o.value(QLatin1String("going")).toObject();
  row.going_files = going.value(QLatin1String("files")).toInteger();
  row.going_bytes = going.value(QLatin1String("bytes")).toInteger();
  const QJsonObject refused = o.value(QLatin1String("refused")).toObject();
  for (const QJsonValue reason : refused) {
    row.refused_files += reason.toObject().value(QLatin1String("files")).toInteger();
  }
  return row;
}

// Runs `vantor` with `args`; its standard output.
QByteArray run_cli(const QString& vantor, const QStringList& args) {
  QProcess process;
  process.start(vantor, args);
  if (!process.waitForStarted(kTimeoutMs)) {
    throw cli_error(vantor.toStdString() + ": " + process.errorString().toStdString());
  }
  if (!process.waitForFinished(kTimeoutMs)) {
    process.kill();
    process.waitForFinished();
    throw cli_error("the CLI took longer than a minute");
  }
  if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
    const QString said = QString::fromUtf8(process.readAllStandardError()).trimmed();
    throw cli_error(said.isEmpty() ? "exit status " + std::to_string(process.exitCode())
                                   : said.section(QLatin1Char('\n'), 0, 0).toStdString());
  }
  return process.readAllStandardOutput();
}

}  // namespace

sync_preview RunSyncPreview(const QString& vantor, const QString& folder) {
  const QByteArray out =
      run_cli(vantor, {QStringLiteral("sync-preview"), folder, QStringLiteral("--json")});
  QJsonParseError error{};
  const QJsonDocument doc = QJsonDocument::fromJson(out, &error);
  if (!doc.isObject()) {
    throw cli_error("the preview is no JSON object: " + error.errorString().toStdString());
  }
  const QJsonObject root = doc.object();
  sync_preview p;
  p.sync_on = root.value(QLatin1String("sync_on")).toBool();
  p.whole_catalog = root.value(QLatin1String("whole_catalog")).toBool();
  for (const QJsonValue album : root.value(QLatin1String("albums")).toArray()) {
    const QJsonObject o = album.toObject();
    p.albums.push_back(read_row(o, o.value(QLatin1String("name")).toString()));
  }
  p.total = read_row(root, {});
  if (const QJsonValue left = root.value(QLatin1String("quota_left")); left.isDouble()) {
    p.quota_left = left.toInteger();
  }
  if (const QJsonValue fits = root.value(QLatin1String("fits")); fits.isBool()) {
    p.fits = fits.toBool();
  }
  return p;
}

std::string DefaultPrefsText(const QString& vantor) {
  // The CLI ends the line; the text itself has no line end.
  return run_cli(vantor, {QStringLiteral("prefs"), QStringLiteral("defaults")})
      .trimmed()
      .toStdString();
}

}  // namespace vantor_dialog
