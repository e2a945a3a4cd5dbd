// The preference dialog a host shows: the catalog's albums with their sync marks, the online
// albums beside them, the storage quota, the preference toggles and the sync preview. Save hands
// the selection and the preference text to the library.
#pragma once

#include <QDialog>
#include <QString>
#include <utility>
#include <vector>

#include "vantor/vantor.h"

class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;

namespace vantor_dialog {

struct preferences_options {
  QString folder;  // the catalog folder, passed to the library as given
  QString user;    // names the preference file <folder>/syncdb/<user>.pref
  QString vantor;  // the CLI that computes the sync preview
  bool mark_all = false;
};

// Widgets a caller may look up by object name: "error" (what could not be read, hidden when
// all was), "localAlbums", "onlineAlbums", "quota", "preview", "previewNote", "save", "status".
class preferences_dialog : public QDialog {
 public:
  explicit preferences_dialog(preferences_options options, QWidget* parent = nullptr);

  // Asks the library for both album trees, reads the preference file and runs the preview.
  void reload();
  // Saves the albums' marks and the toggles; shows and returns the library's result. Reloads
  // after a success, since the save may have made albums.
  VTL::error_code save();

 private:
  void show_albums(const std::string& local, const std::string& online);
  void show_prefs();
  void show_preview();
  void show_error(const QString& text);

  preferences_options options_;
  SyncPrefs prefs_{};
  QLabel* error_;
  QTreeWidget* local_;
  QTreeWidget* online_;
  QProgressBar* quota_;
  std::vector<std::pair<bool SyncPrefs::*, QCheckBox*>> toggles_;
  QCheckBox* limit_on_;
  QDoubleSpinBox* limit_;
  QTreeWidget* preview_;
  QLabel* preview_note_;
  QPushButton* save_;
  QLabel* status_;
};

// "catalog_error (6)": a result as the dialog shows it.
QString CodeText(VTL::error_code code);

}  // namespace vantor_dialog
