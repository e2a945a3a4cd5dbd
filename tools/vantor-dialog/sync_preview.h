// What the dialog asks of the CLI, run as a separate process: the figures of the sync preview
// (`vantor sync-preview FOLDER --json`), which is no export of the library, and the default
// preference text that the preview also starts from.
#pragma once

#include <QString>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantor_dialog {

// Why the CLI gave no answer: it did not start, failed, or wrote no JSON.
class cli_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct preview_row {
  QString album;  // empty for the media in no album
  qint64 going_files = 0;
  qint64 going_bytes = 0;
  qint64 refused_files = 0;  // over every reason
};

struct sync_preview {
  bool sync_on = false;
  bool whole_catalog = false;
  std::vector<preview_row> albums;
  preview_row total;
  std::optional<qint64> quota_left;
  std::optional<bool> fits;
};

// Runs `vantor` on `folder` and reads its JSON. Throws cli_error.
sync_preview RunSyncPreview(const QString& vantor, const QString& folder);

// `vantor prefs defaults`: the text a user without a preference file starts from. Throws
// cli_error.
std::string DefaultPrefsText(const QString& vantor);

}  // namespace vantor_dialog
