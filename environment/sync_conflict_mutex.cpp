#include "environment/sync_conflict_mutex.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "environment/file_helpers.h"

namespace vantor_env {

std::string SyncConflictMutexPath() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  std::string folder = runtime != nullptr && runtime[0] == '/' ? runtime : GetTempFolder();
  if (folder.back() != '/') folder += '/';
  return folder + "OMBSyncConflictMutex12345";
}

std::unique_ptr<sync_conflict_mutex> GetSyncConflictMutex() {
  const std::string path = SyncConflictMutexPath();
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  // flock needs no write access: a file that the other program made, and that we may only
  // read, locks just as well.
  if (fd < 0) fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  return std::unique_ptr<sync_conflict_mutex>(new sync_conflict_mutex(fd));
}

sync_conflict_mutex::~sync_conflict_mutex() {
  ::close(fd_);
}

bool sync_conflict_mutex::lock() {
  while (::flock(fd_, LOCK_EX) != 0) {
    if (errno != EINTR) return false;
  }
  locked_ = true;
  return true;
}

bool sync_conflict_mutex::try_lock() {
  if (::flock(fd_, LOCK_EX | LOCK_NB) != 0) return false;
  locked_ = true;
  return true;
}

void sync_conflict_mutex::unlock() {
  if (!locked_) return;
  ::flock(fd_, LOCK_UN);
  locked_ = false;
}

}  // namespace vantor_env
