#include "tools/vantor-dialog/preferences_dialog.h"

#include <QCheckBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFile>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <exception>

#include "tools/vantor-dialog/album_trees.h"
#include "tools/vantor-dialog/sync_preview.h"

namespace vantor_dialog {
namespace {

constexpr std::pair<const char*, bool SyncPrefs::*> kToggles[] = {
    {"Sync is on", &SyncPrefs::syncon},
    {"Sync new albums without asking", &SyncPrefs::newalbumssyncauto},
    {"Ask before deleting", &SyncPrefs::askbeforedelete},
    {"Resolve conflicts without asking", &SyncPrefs::resolveconflictsauto},
    {"Select everything", &SyncPrefs::syncallselection},
    {"Sync only while the computer is idle", &SyncPrefs::syncOnSystemIdle},
    {"Sync the whole catalog", &SyncPrefs::syncEntireCatalog},
    {"Photos", &SyncPrefs::syncPhotos},
    {"Videos", &SyncPrefs::syncVideo},
    {"Audio", &SyncPrefs::syncAudio},
    {"PDF files", &SyncPrefs::syncPDFs},
    {"Creations", &SyncPrefs::syncCreations},
};

QTreeWidget* make_tree(QWidget* parent, const char* name, const QStringList& headers) {
  auto* tree = new QTreeWidget(parent);
  tree->setObjectName(QLatin1String(name));
  tree->setHeaderLabels(headers);
  tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
  tree->header()->setStretchLastSection(false);
  return tree;
}

QString size_text(qint64 bytes) {
  return QLocale().formattedDataSize(bytes);
}

}  // namespace

QString CodeText(VTL::error_code code) {
  static const char* const names[] = {
      "success",       "no_valid_user",       "unknown_error", "invalid_argument",
      "not_logged_in", "invalid_credentials", "catalog_error", "change_catalog_required"};
  const auto n = static_cast<std::size_t>(code);
  return QStringLiteral("%1 (%2)")
      .arg(QLatin1String(n < std::size(names) ? names[n] : "unknown result"))
      .arg(static_cast<int>(code));
}

preferences_dialog::preferences_dialog(preferences_options options, QWidget* parent)
    : QDialog(parent), options_(std::move(options)) {
  setWindowTitle(tr("Sync preferences"));
  auto* layout = new QVBoxLayout(this);

  error_ = new QLabel(this);
  error_->setObjectName(QStringLiteral("error"));
  error_->setStyleSheet(QStringLiteral("color: #b00020"));
  error_->setWordWrap(true);
  error_->hide();
  layout->addWidget(error_);

  auto* trees = new QHBoxLayout();
  local_ = make_tree(this, "localAlbums", {tr("Albums in this catalog"), QString()});
  online_ = make_tree(this, "onlineAlbums", {tr("Albums online"), QString()});
  trees->addWidget(local_);
  trees->addWidget(online_);
  layout->addLayout(trees, 3);

  quota_ = new QProgressBar(this);
  quota_->setObjectName(QStringLiteral("quota"));
  quota_->setRange(0, 1000);
  layout->addWidget(quota_);

  auto* prefs = new QGroupBox(tr("Preferences"), this);
  auto* grid = new QGridLayout(prefs);
  int cell = 0;
  for (const auto& [text, field] : kToggles) {
    auto* box = new QCheckBox(tr(text), prefs);
    toggles_.emplace_back(field, box);
    grid->addWidget(box, cell / 3, cell % 3);
    ++cell;
  }
  limit_on_ = new QCheckBox(tr("Leave out files larger than"), prefs);
  limit_ = new QDoubleSpinBox(prefs);
  limit_->setRange(0, 1e6);
  limit_->setSuffix(QStringLiteral(" MiB"));
  grid->addWidget(limit_on_, cell / 3 + 1, 0);
  grid->addWidget(limit_, cell / 3 + 1, 1);
  layout->addWidget(prefs);

  preview_ =
      make_tree(this, "preview", {tr("Would go online"), tr("Files"), tr("Size"), tr("Refused")});
  preview_->setRootIsDecorated(false);
  layout->addWidget(preview_, 2);
  preview_note_ = new QLabel(this);
  preview_note_->setObjectName(QStringLiteral("previewNote"));
  layout->addWidget(preview_note_);

  auto* buttons = new QHBoxLayout();
  status_ = new QLabel(this);
  status_->setObjectName(QStringLiteral("status"));
  save_ = new QPushButton(tr("Save"), this);
  save_->setObjectName(QStringLiteral("save"));
  auto* close = new QPushButton(tr("Close"), this);
  buttons->addWidget(status_, 1);
  buttons->addWidget(save_);
  buttons->addWidget(close);
  layout->addLayout(buttons);
  connect(save_, &QPushButton::clicked, this, [this] { save(); });
  connect(close, &QPushButton::clicked, this, &QDialog::accept);

  resize(900, 720);
  reload();
}

void preferences_dialog::reload() {
  error_->clear();
  error_->hide();
  local_->clear();
  online_->clear();
  save_->setEnabled(false);
  std::string local;
  std::string online;
  const VTL::error_code code =
      VTL::GetXMLForSyncPrefs(options_.folder.toStdString(), local, online, {}, options_.mark_all);
  if (code == VTL::success) {
    show_albums(local, online);
  } else {
    show_error(tr("The albums could not be read: %1").arg(CodeText(code)));
  }
  show_prefs();
  show_preview();
}

void preferences_dialog::show_albums(const std::string& local, const std::string& online) {
  try {
    const std::vector<local_album> albums = ParseLocalAlbums(local);
    const online_albums remote = ParseOnlineAlbums(online);
    FillLocalTree(*local_, albums);
    FillOnlineTree(*online_, remote, albums);
    if (remote.quota && *remote.quota > 0) {
      const qint64 used = std::min(remote.used.value_or(0), *remote.quota);
      quota_->setValue(static_cast<int>(used * 1000 / *remote.quota));
      quota_->setFormat(tr("%1 of %2 used").arg(size_text(used), size_text(*remote.quota)));
    } else {
      quota_->setValue(0);
      quota_->setFormat(tr("storage quota unknown"));
    }
    save_->setEnabled(true);
  } catch (const xml_error& e) {
    // Half a tree would save as if the rest were unmarked, so nothing is shown or saved.
    local_->clear();
    online_->clear();
    show_error(tr("The albums could not be read: %1").arg(QString::fromStdString(e.what())));
  }
}

void preferences_dialog::show_prefs() {
  const QString path =
      QDir(options_.folder).filePath(QStringLiteral("syncdb/%1.pref").arg(options_.user));
  QFile file(path);
  std::string text;
  if (file.exists()) {
    if (!file.open(QIODevice::ReadOnly)) {
      show_error(tr("%1 could not be read: %2").arg(path, file.errorString()));
      save_->setEnabled(false);
      return;
    }
    text = file.readAll().toStdString();
  } else {
    // The default text, as the preview reads it too; the parser's defaults if the CLI fails.
    try {
      text = DefaultPrefsText(options_.vantor);
    } catch (const cli_error&) {
    }
  }
  VTL::GetSyncPrefsFromString(prefs_, text);
  for (const auto& [field, box] : toggles_) box->setChecked(prefs_.*field);
  limit_on_->setChecked(prefs_.restrictfilesizeSelected);
  limit_->setValue(prefs_.restrictfilesize);
}

void preferences_dialog::show_preview() {
  preview_->clear();
  try {
    const sync_preview p = RunSyncPreview(options_.vantor, options_.folder);
    const auto add = [this](const preview_row& row, const QString& name) {
      new QTreeWidgetItem(preview_,
                          {name, QString::number(row.going_files), size_text(row.going_bytes),
                           QString::number(row.refused_files)});
    };
    for (const preview_row& row : p.albums) {
      add(row, row.album.isEmpty() ? tr("(in no album)") : row.album);
    }
    add(p.total, tr("Total"));
    QString note = p.sync_on ? tr("Sync is on") : tr("Sync is off");
    if (p.quota_left) note += tr("; %1 left online").arg(size_text(*p.quota_left));
    if (p.fits) note += *p.fits ? tr("; it fits") : tr("; it does not fit");
    preview_note_->setText(note);
  } catch (const cli_error& e) {
    preview_note_->setText(
        QStringLiteral("preview unavailable: %1").arg(QString::fromStdString(e.what())));
  }
}

void preferences_dialog::show_error(const QString& text) {
  error_->setText(error_->text().isEmpty() ? text : error_->text() + QLatin1Char('\n') + text);
  error_->show();
}

VTL::error_code preferences_dialog::save() {
  SyncPrefs prefs = prefs_;
  for (const auto& [field, box] : toggles_) prefs.*field = box->isChecked();
  prefs.restrictfilesizeSelected = limit_on_->isChecked();
  prefs.restrictfilesize = limit_->value();
  const std::string selection = BuildSelectionXml(SelectionFromTrees(*local_, *online_));
  VTL::error_code code = VTL::unknown_error;
  try {
    code =
        VTL::SaveSyncPrefs(selection, VTL::GetXMLForSyncPrefs(prefs), options_.user.toStdString());
  } catch (const std::exception& e) {
    // The library lets a catalog exception out; albums saved before it stay saved.
    status_->setText(tr("Save failed: %1").arg(QString::fromUtf8(e.what())));
    reload();
    return code;
  }
  if (code != VTL::success) {
    status_->setText(tr("Save failed: %1").arg(CodeText(code)));
    return code;
  }
  reload();
  status_->setText(tr("Saved"));
  return code;
}

}  // namespace vantor_dialog
