#include "environment/sync_conflict_mutex.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "environment/file_helpers.h"
#include "tests/support/sandbox.h"

namespace {

// Reads one byte from `fd`; the child and the parent use pipes as a handshake.
char Receive(int fd) {
  char c = 0;
  return ::read(fd, &c, 1) == 1 ? c : '\0';
}

void Send(int fd, char c) {
  ASSERT_EQ(::write(fd, &c, 1), 1);
}

TEST(SyncConflictMutex, TwoProcessesExcludeEachOther) {
  vantor_test::sandbox box;
  EXPECT_EQ(vantor_env::SyncConflictMutexPath(), box.path("run/OMBSyncConflictMutex12345"));
  int to_child[2];
  int to_parent[2];
  ASSERT_EQ(::pipe(to_child), 0);
  ASSERT_EQ(::pipe(to_parent), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // The child holds the lock until the parent says so; its exit code reports its part.
    auto mutex = vantor_env::GetSyncConflictMutex();
    int code = mutex && mutex->lock() ? 0 : 1;
    char c = 'L';
    if (::write(to_parent[1], &c, 1) != 1) code = 2;
    if (::read(to_child[0], &c, 1) != 1) code = 3;
    mutex->unlock();
    c = 'U';
    if (::write(to_parent[1], &c, 1) != 1) code = 4;
    if (::read(to_child[0], &c, 1) != 1) code = 5;
    // The parent holds it now.
    if (mutex->try_lock()) code = 6;
    ::_exit(code);
  }
  auto mutex = vantor_env::GetSyncConflictMutex();
  ASSERT_NE(mutex, nullptr);
  EXPECT_EQ(Receive(to_parent[0]), 'L');
  EXPECT_FALSE(mutex->try_lock());
  EXPECT_FALSE(mutex->owns_lock());
  Send(to_child[1], 'u');
  EXPECT_EQ(Receive(to_parent[0]), 'U');
  EXPECT_TRUE(mutex->lock());
  Send(to_child[1], 't');
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  // Another handle in this process is excluded too, and a released handle lets it in.
  auto other = vantor_env::GetSyncConflictMutex();
  EXPECT_FALSE(other->try_lock());
  mutex.reset();
  EXPECT_TRUE(other->try_lock());
  for (int fd : {to_child[0], to_child[1], to_parent[0], to_parent[1]}) ::close(fd);

  ::unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(vantor_env::SyncConflictMutexPath(),
            vantor_env::GetTempFolder() + "OMBSyncConflictMutex12345");
}

}  // namespace
