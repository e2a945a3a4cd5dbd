#pragma once

#include <memory>
#include <string>

namespace vantor_env {

// The lock that the organizer and the sync agent share while they work on the conflict
// folders: an flock(2) on the file "OMBSyncConflictMutex12345" in $XDG_RUNTIME_DIR, or in the
// temporary folder when that is not set. Both programs must name the same file, so the name
// is fixed. The lock belongs to the open file, so two handles exclude each other even within
// one process, and a process that dies releases it.
class sync_conflict_mutex {
 public:
  ~sync_conflict_mutex();
  sync_conflict_mutex(const sync_conflict_mutex&) = delete;
  sync_conflict_mutex& operator=(const sync_conflict_mutex&) = delete;

  // Blocks until the lock is held. False if the lock file cannot be locked.
  bool lock();
  // Takes the lock if nobody holds it; false otherwise.
  bool try_lock();
  // Releases the lock if held.
  void unlock();
  bool owns_lock() const { return locked_; }

 private:
  friend std::unique_ptr<sync_conflict_mutex> GetSyncConflictMutex();
  explicit sync_conflict_mutex(int fd) : fd_(fd) {}

  int fd_;
  bool locked_ = false;
};

// The path of the lock file.
std::string SyncConflictMutexPath();

// Opens the shared lock, not held; null if its file cannot be opened. The caller owns it;
// destroying it releases the lock.
std::unique_ptr<sync_conflict_mutex> GetSyncConflictMutex();

}  // namespace vantor_env
