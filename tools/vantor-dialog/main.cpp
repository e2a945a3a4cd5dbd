// vantor-dialog: the reference host's dialogs over the library's exports.
//   vantor-dialog [preferences] --folder DIR [--user ID] [--mark-all] [--vantor PATH]
//   vantor-dialog conflicts --folder DIR [--conflicts IDS] [--deletes IDS]
// With --screenshot FILE the dialog is drawn into a PNG instead of being shown.
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <cstdio>
#include <vector>

#include "tools/vantor-dialog/conflict_dialog.h"
#include "tools/vantor-dialog/preferences_dialog.h"

namespace {

// "1,2,3" as ids, "" as none; false for anything else.
bool parse_ids(const QString& text, std::vector<int>& ids) {
  if (text.isEmpty()) return true;
  for (const QString& word : text.split(QLatin1Char(','))) {
    bool ok = false;
    ids.push_back(word.trimmed().toInt(&ok));
    if (!ok) return false;
  }
  return true;
}

// The CLI that computes the preview: the option, else $VANTOR_CLI, else the one beside us.
QString cli_path(const QString& option) {
  if (!option.isEmpty()) return option;
  const QString env = qEnvironmentVariable("VANTOR_CLI");
  if (!env.isEmpty()) return env;
  return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("vantor"));
}

int fail(const QString& message) {
  std::fprintf(stderr, "vantor-dialog: %s\n", qPrintable(message));
  return 2;
}

// Shows `dialog`, or draws it into `screenshot`, which counts as a cancel; the dialog's
// result, -1 when the picture cannot be written.
int run(QDialog& dialog, const QString& screenshot) {
  if (screenshot.isEmpty()) return dialog.exec();
  dialog.show();
  QCoreApplication::processEvents();
  if (dialog.grab().save(screenshot, "PNG")) return QDialog::Rejected;
  fail("cannot write " + screenshot);
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("vantor-dialog"));
  QCommandLineParser parser;
  parser.setApplicationDescription(QStringLiteral(
      "The sync preference dialog of a catalog, or with the command 'conflicts' the conflict "
      "dialog, whose choices are printed as JSON when it closes with OK."));
  parser.addHelpOption();
  parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("preferences|conflicts"));
  const QCommandLineOption folder({QStringLiteral("folder")},
                                  QStringLiteral("The catalog folder, or the conflicts folder."),
                                  QStringLiteral("DIR"));
  const QCommandLineOption user({QStringLiteral("user")},
                                QStringLiteral("User id naming the preference file."),
                                QStringLiteral("ID"));
  const QCommandLineOption mark_all({QStringLiteral("mark-all")},
                                    QStringLiteral("Shows albums never marked as marked."));
  const QCommandLineOption vantor({QStringLiteral("vantor")},
                                  QStringLiteral("The vantor CLI that computes the preview."),
                                  QStringLiteral("PATH"));
  const QCommandLineOption conflicts({QStringLiteral("conflicts")},
                                     QStringLiteral("Media ids in conflict, e.g. 1,2."),
                                     QStringLiteral("IDS"));
  const QCommandLineOption deletes({QStringLiteral("deletes")},
                                   QStringLiteral("Media ids deleted online."),
                                   QStringLiteral("IDS"));
  const QCommandLineOption screenshot({QStringLiteral("screenshot")},
                                      QStringLiteral("Draws the dialog into a PNG file."),
                                      QStringLiteral("FILE"));
  parser.addOptions({folder, user, mark_all, vantor, conflicts, deletes, screenshot});
  parser.process(app);

  const QStringList words = parser.positionalArguments();
  const QString command = words.value(0, QStringLiteral("preferences"));
  if (words.size() > 1) return fail("one command at most");
  if (!parser.isSet(folder)) return fail("--folder is required");
  const QString shot = parser.value(screenshot);

  if (command == QLatin1String("preferences")) {
    vantor_dialog::preferences_dialog dialog({parser.value(folder), parser.value(user),
                                              cli_path(parser.value(vantor)),
                                              parser.isSet(mark_all)});
    return run(dialog, shot) >= 0 ? 0 : 2;
  }
  if (command != QLatin1String("conflicts")) return fail("unknown command: " + command);
  std::vector<int> conflict_ids;
  std::vector<int> delete_ids;
  if (!parse_ids(parser.value(conflicts), conflict_ids)) return fail("--conflicts: not ids");
  if (!parse_ids(parser.value(deletes), delete_ids)) return fail("--deletes: not ids");
  vantor_dialog::conflict_dialog dialog(conflict_ids, delete_ids, parser.value(folder));
  const int result = run(dialog, shot);
  if (result < 0) return 2;
  if (shot.isEmpty() && result == QDialog::Accepted) {
    std::printf("%s\n", dialog.choices_json().constData());
  }
  return 0;
}
