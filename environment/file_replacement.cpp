#include "environment/file_replacement.h"

#include <fcntl.h>
#include <unistd.h>

#include <QFileInfo>
#include <cassert>
#include <limits>

namespace vantor_env {
namespace {

// The folder entry of a rename is only durable once the folder itself is synced.
bool SyncFolderOf(const QString& path) {
  // After the commit the file exists, so the canonical path names the folder that really
  // changed, also when `path` is a symlink into another folder.
  QString target = QFileInfo(path).canonicalFilePath();
  if (target.isEmpty()) target = path;
  const QByteArray folder = QFile::encodeName(QFileInfo(target).absolutePath());
  const int fd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool synced = ::fsync(fd) == 0;
  ::close(fd);
  return synced;
}

}  // namespace

file_replacement::file_replacement(const std::string& path, new_file_access access)
    : file_(QString::fromStdString(path)) {
  // A write through a symlink or to a read-only target must not quietly become a plain new
  // file, so QSaveFile's direct-write fallback stays off.
  const bool existed = QFileInfo::exists(file_.fileName());
  // Unbuffered, so that a write the disk refuses fails in write(): a failed flush inside
  // QSaveFile::commit() would go unnoticed and put a cut file in place.
  if (!file_.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) return;
  // QSaveFile copies the permissions of an existing target; a new one gets the umask's,
  // which for private files is too much.
  if (!existed && access == new_file_access::owner_only &&
      !file_.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner)) {
    // Cancelled, the commit only removes the temporary and closes it.
    file_.cancelWriting();
    static_cast<void>(file_.commit());
  }
}

void file_replacement::write(std::string_view bytes) {
  assert(is_open());
  if (failed_) return;
  failed_ = bytes.size() > static_cast<std::size_t>(std::numeric_limits<qint64>::max()) ||
            file_.write(bytes.data(), static_cast<qint64>(bytes.size())) !=
                static_cast<qint64>(bytes.size());
  if (failed_) file_.cancelWriting();
}

bool file_replacement::commit() {
  assert(is_open());
  if (failed_) {
    static_cast<void>(file_.commit());  // cancelled: removes the temporary
    return false;
  }
  // QSaveFile syncs the data before it renames, and discards the temporary on any failure.
  if (!file_.commit()) return false;
  return SyncFolderOf(file_.fileName());
}

bool ReplaceFileContent(const std::string& path, std::string_view content, new_file_access access) {
  file_replacement file(path, access);
  if (!file.is_open()) return false;
  file.write(content);
  return file.commit();
}

}  // namespace vantor_env
