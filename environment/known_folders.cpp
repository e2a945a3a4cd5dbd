#include "environment/known_folders.h"

#include <QStandardPaths>
#include <QStringList>

#include "environment/file_helpers.h"

namespace vantor_env {

std::string GetPicturesFolder() {
  return QStandardPaths::writableLocation(QStandardPaths::PicturesLocation).toStdString();
}

std::string GetUserDataFolder() {
  return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation).toStdString();
}

std::string GetMachineDataFolder() {
  // Qt lists the user's folder first and then $XDG_DATA_DIRS in order.
  const QStringList all = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
  for (qsizetype i = 1; i < all.size(); ++i) {
    const std::string folder = all[i].toStdString();
    if (FolderExists(folder)) return folder;
  }
  return {};
}

}  // namespace vantor_env
