// The reference host's dialogs over a catalog, a signed-in user and the reference membership
// client, all set up through the CLI in a sandbox; what Save does is read back with SQLite.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <cstdlib>
#include <string>

#include "tests/support/sandbox.h"
#include "tests/support/sql_rows.h"
#include "tools/vantor-dialog/conflict_dialog.h"
#include "tools/vantor-dialog/preferences_dialog.h"

namespace {

using vantor_dialog::preferences_dialog;

class DialogTest : public ::testing::Test {
 protected:
  DialogTest() {
    ::setenv("VANTOR_KSV_LIBRARY", VANTOR_TEST_KSV_LOCAL, 1);
    ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);  // the MIME types, for import
    const QString strand = QStringLiteral("software\\norvane\\Strand");
    for (const auto& [name, value] : {std::pair{"UserName", "ann"}, std::pair{"UserId", "u-1"},
                                      std::pair{"EncryptedTicketVector", "t-1"}}) {
      cli({"settings", "set", strand, name, value});
    }
    cli({"sync-catalog", "set", folder_});
    cli({"catalog", "create", folder_});
    const QString trips = cli({"album", "group", catalog_, "Trips"}).section(' ', 3, 3);
    cli({"album", "create", catalog_, "Rome", "--group", trips});
    cli({"album", "create", catalog_, "Garden"});
    cli({"online", "set", "ticket", "t-1"});
    cli({"online", "add-album", "--title", "Family", "--type", "album group", "--online-id", "g"});
    cli({"online", "add-album", "--title", "Wedding", "--parents", "Family", "--online-id", "w"});
    cli({"online", "set-quota", "1000", "--used", "250"});
  }

  // Runs a CLI step that must succeed; gives its output.
  QString cli(const QStringList& args) const {
    QProcess p;
    p.start(QStringLiteral(VANTOR_CLI_PATH), args);
    EXPECT_TRUE(p.waitForFinished(60000));
    EXPECT_EQ(p.exitCode(), 0) << args.join(' ').toStdString() << ": "
                               << p.readAllStandardError().toStdString();
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
  }
  std::string rows(const std::string& sql) const {
    return vantor_test::sql_rows(catalog_.toStdString(), sql);
  }
  template <class W>
  static W& find(const QWidget& parent, const char* name) {
    W* w = parent.findChild<W*>(QLatin1String(name));
    if (w == nullptr) throw std::runtime_error(std::string("no widget ") + name);
    return *w;
  }
  // Each album of a tree as "label|parent label" (the top's parent being `top`), and
  // "label=state" of the ones with a check box.
  static void walk(const QTreeWidgetItem& item, const QString& parent, std::string& albums,
                   std::string& marks) {
    albums += (item.text(0) + '|' + parent + '\n').toStdString();
    if (item.data(0, Qt::CheckStateRole).isValid()) {
      marks += item.text(0).toStdString() + "=" + std::to_string(item.checkState(0)) + " ";
    }
    for (int i = 0; i < item.childCount(); ++i) walk(*item.child(i), item.text(0), albums, marks);
  }

  vantor_test::sandbox box_;
  const QString folder_ = QString::fromStdString(box_.path("cat/"));
  const QString catalog_ = folder_ + "catalog.omb14db";
  vantor_dialog::preferences_options options_{folder_, "u-1", VANTOR_CLI_PATH, false};
};

TEST_F(DialogTest, ShowsTheCatalogAndSavesTheTicks) {
  preferences_dialog dialog(options_);
  auto& local = find<QTreeWidget>(dialog, "localAlbums");
  auto& online = find<QTreeWidget>(dialog, "onlineAlbums");
  std::string albums, marks;
  for (int i = 0; i < local.topLevelItemCount(); ++i) {
    walk(*local.topLevelItem(i), "collection_ns", albums, marks);
  }
  EXPECT_EQ(albums, rows("SELECT t.name || '|' || p.name FROM tag_table t JOIN tag_table p ON "
                         "p.id = t.parent_id WHERE t.type_name LIKE 'collection%' ORDER BY t.id"));
  EXPECT_EQ(marks, "Trips=0 Rome=0 Garden=0 ") << "nothing marked yet";
  EXPECT_EQ(find<QProgressBar>(dialog, "quota").value(), 250);
  EXPECT_TRUE(find<QLabel>(dialog, "error").isHidden());

  local.findItems("Garden", Qt::MatchExactly)[0]->setCheckState(0, Qt::Checked);
  online.findItems("Wedding", Qt::MatchExactly | Qt::MatchRecursive)[0]->setCheckState(0,
                                                                                       Qt::Checked);
  for (QCheckBox* box : dialog.findChildren<QCheckBox*>()) {
    if (box->text() != "Sync is on") continue;
    EXPECT_TRUE(box->isChecked()) << "the default text, which the preview reads too";
    box->setChecked(false);
  }
  find<QPushButton>(dialog, "save").click();
  EXPECT_EQ(find<QLabel>(dialog, "status").text(), "Saved");
  EXPECT_EQ(rows("SELECT t.name, p.name, m.value FROM tag_table t JOIN tag_table p ON p.id = "
                 "t.parent_id JOIN tag_to_metadata_table l ON l.tag_id = t.id JOIN "
                 "metadata_integer_table m ON m.id = l.metadata_id ORDER BY t.name"),
            "Family|collection_ns|1\nGarden|collection_ns|1\nRome|Trips|0\nTrips|collection_ns|0\n"
            "Wedding|Family|1\n");
  QFile pref(folder_ + "syncdb/u-1.pref");
  ASSERT_TRUE(pref.open(QIODevice::ReadOnly));
  EXPECT_TRUE(pref.readAll().startsWith("<syncon value = \"false\">"));

  // Reloaded: the wedding is kept locally now, and the preview counts the marked albums.
  std::string after, online_marks;
  for (int i = 0; i < online.topLevelItemCount(); ++i) {
    walk(*online.topLevelItem(i), "", after, online_marks);
  }
  EXPECT_EQ(online_marks, "") << "both are local";
  const auto preview = find<QTreeWidget>(dialog, "preview").findItems("Garden", Qt::MatchExactly);
  EXPECT_EQ(preview.size(), 1);
  EXPECT_TRUE(find<QLabel>(dialog, "previewNote").text().startsWith("Sync is off"));
}

TEST_F(DialogTest, ShowsWhatItCannotRead) {
  // An online id with a quote, which the library passes on as the service gave it.
  cli({"online", "add-album", "--title", "Inner", "--online-id", "i\"d"});
  options_.vantor = QString::fromStdString(box_.path("no-such-cli"));
  const std::pair<const char*, const char*> cases[] = {
      {VANTOR_TEST_KSV_LOCAL, "the online album text, line "},
      {VANTOR_TEST_KSV_REFUSING, "The albums could not be read: unknown_error (2)"}};
  for (const auto& [client, message] : cases) {
    ::setenv("VANTOR_KSV_LIBRARY", client, 1);
    preferences_dialog dialog(options_);
    EXPECT_TRUE(find<QLabel>(dialog, "error").text().contains(message)) << client;
    EXPECT_FALSE(find<QPushButton>(dialog, "save").isEnabled()) << client;
    EXPECT_EQ(find<QTreeWidget>(dialog, "localAlbums").topLevelItemCount(), 0) << client;
    EXPECT_TRUE(find<QLabel>(dialog, "previewNote").text().startsWith("preview unavailable: "));
  }
}

TEST_F(DialogTest, ConflictsShowBothSidesAndGiveTheChoices) {
  cli({"sample-photos", folder_ + "Pictures", "--count", "2"});
  cli({"import", catalog_, folder_ + "Pictures"});
  const QStringList media = cli({"media", "list", catalog_}).split('\n');
  ASSERT_EQ(media.size(), 2);
  const int changed = media[0].section('\t', 0, 0).toInt();
  const int deleted = media[1].section('\t', 0, 0).toInt();
  const QString dir = QString::fromStdString(box_.path("conflicts"));
  box_.write_file("conflicts/" + std::to_string(changed) + "/online.xml",
                  "<onlinedata><onlinelabel value=\"b.jpg\"/><size>12</size></onlinedata>");

  vantor_dialog::conflict_dialog dialog({changed}, {deleted, 999999}, dir);
  EXPECT_TRUE(find<QLabel>(dialog, "error").isHidden());
  QStringList texts;
  for (const QLabel* l : dialog.findChildren<QLabel*>()) texts << l->text();
  const QString name = QFileInfo(media[0].section('\t', -1)).fileName();
  EXPECT_TRUE(texts.contains(name) && texts.contains("b.jpg") && texts.contains("12"))
      << texts.join(',').toStdString();
  EXPECT_EQ(dialog.findChildren<QComboBox*>().size(), 2) << "the unknown deletion is left out";
  find<QComboBox>(dialog, ("choice" + std::to_string(changed)).c_str()).setCurrentIndex(2);
  EXPECT_EQ(dialog.choices_json().toStdString(),
            "{\"conflicts\":[{\"choice\":\"keep_both\",\"id\":" + std::to_string(changed) +
                "}],\"deletions\":[{\"choice\":\"delete\",\"id\":" + std::to_string(deleted) +
                "}]}");

  box_.write_file("conflicts/" + std::to_string(changed) + "/online.xml",
                  "<?xml version=\"1.0\"?>");
  vantor_dialog::conflict_dialog broken({changed}, {}, dir);
  EXPECT_TRUE(find<QLabel>(broken, "error").text().contains("conflict text, line 1"));
  EXPECT_FALSE(find<QPushButton>(broken, "ok").isEnabled());
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // ctest lists the tests without the offscreen platform it runs them with.
  if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  QApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
