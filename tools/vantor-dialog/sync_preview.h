// The figures of the sync preview, which is no export of the library: the CLI computes them
// (`vantor sync-preview FOLDER --json`) and the dialog runs it as a separate process.
#pragma once

#include <QString>
#include <optional>
#include <stdexcept>
#include <vector>

namespace vantor_dialog {

// Why the preview could not be had: the CLI did not start, failed, or wrote no JSON.
class preview_error : public std::runtime_error {
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

// Runs `vantor` on `folder` and reads its JSON. Throws preview_error.
sync_preview RunSyncPreview(const QString& vantor, const QString& folder);

}  // namespace vantor_dialog
