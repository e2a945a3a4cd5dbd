#include "tests/reliability/fault_injection.h"

#include <sqlite3.h>

#include <atomic>
#include <cstddef>
#include <stdexcept>

namespace vantor_test {
namespace {

struct armed_fault {
  std::atomic<bool> armed{false};
  fault_plan plan;
  int calls = 0;
  bool fired = false;
} g_fault;

// The result a call at `site` must give instead of doing its work; 0 to go on.
int injected(fault_site site) {
  if (!g_fault.armed || g_fault.plan.site != site) return 0;
  if (++g_fault.calls < g_fault.plan.at) return 0;
  if (g_fault.fired && !g_fault.plan.sticky) return 0;
  g_fault.fired = true;
  return g_fault.plan.error;
}

sqlite3_vfs* g_real = nullptr;

struct fault_file {
  sqlite3_file base;
  sqlite3_io_methods methods;
  sqlite3_file* real;  // the default VFS's file, in the same allocation after this one
};

sqlite3_file* real(sqlite3_file* f) {
  return reinterpret_cast<fault_file*>(f)->real;
}
const sqlite3_io_methods& io(sqlite3_file* f) {
  return *real(f)->pMethods;
}

int f_close(sqlite3_file* f) {
  return io(f).xClose(real(f));
}
int f_read(sqlite3_file* f, void* p, int n, sqlite3_int64 at) {
  return io(f).xRead(real(f), p, n, at);
}
int f_write(sqlite3_file* f, const void* p, int n, sqlite3_int64 at) {
  if (const int rc = injected(fault_site::write)) return rc;
  return io(f).xWrite(real(f), p, n, at);
}
int f_truncate(sqlite3_file* f, sqlite3_int64 size) {
  if (const int rc = injected(fault_site::truncate)) return rc;
  return io(f).xTruncate(real(f), size);
}
// Syncs are counted but not made: durability is the crash driver's business, and a real
// sync per commit would make thousands of runs slow.
int f_sync(sqlite3_file*, int) {
  return injected(fault_site::sync);
}
int f_size(sqlite3_file* f, sqlite3_int64* size) {
  return io(f).xFileSize(real(f), size);
}
int f_lock(sqlite3_file* f, int level) {
  if (const int rc = injected(fault_site::lock)) return rc;
  return io(f).xLock(real(f), level);
}
int f_unlock(sqlite3_file* f, int level) {
  return io(f).xUnlock(real(f), level);
}
int f_reserved(sqlite3_file* f, int* out) {
  return io(f).xCheckReservedLock(real(f), out);
}
int f_control(sqlite3_file* f, int op, void* arg) {
  return io(f).xFileControl(real(f), op, arg);
}
int f_sector(sqlite3_file* f) {
  return io(f).xSectorSize(real(f));
}
int f_device(sqlite3_file* f) {
  return io(f).xDeviceCharacteristics(real(f));
}
int f_shm_map(sqlite3_file* f, int page, int size, int extend, void volatile** out) {
  return io(f).xShmMap(real(f), page, size, extend, out);
}
int f_shm_lock(sqlite3_file* f, int offset, int n, int flags) {
  return io(f).xShmLock(real(f), offset, n, flags);
}
void f_shm_barrier(sqlite3_file* f) {
  io(f).xShmBarrier(real(f));
}
int f_shm_unmap(sqlite3_file* f, int remove) {
  return io(f).xShmUnmap(real(f), remove);
}
int f_fetch(sqlite3_file* f, sqlite3_int64 at, int n, void** out) {
  return io(f).xFetch(real(f), at, n, out);
}
int f_unfetch(sqlite3_file* f, sqlite3_int64 at, void* p) {
  return io(f).xUnfetch(real(f), at, p);
}

int v_open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
  auto* self = reinterpret_cast<fault_file*>(file);
  self->base.pMethods = nullptr;
  self->real = reinterpret_cast<sqlite3_file*>(self + 1);
  const int rc = g_real->xOpen(g_real, name, self->real, flags, out_flags);
  if (self->real->pMethods == nullptr) return rc;
  // Only the operations of the real file's version are offered, as SQLite checks iVersion.
  self->methods = {self->real->pMethods->iVersion,
                   f_close,
                   f_read,
                   f_write,
                   f_truncate,
                   f_sync,
                   f_size,
                   f_lock,
                   f_unlock,
                   f_reserved,
                   f_control,
                   f_sector,
                   f_device,
                   f_shm_map,
                   f_shm_lock,
                   f_shm_barrier,
                   f_shm_unmap,
                   f_fetch,
                   f_unfetch};
  self->base.pMethods = &self->methods;
  return rc;
}

sqlite3_mem_methods g_memory;

void* m_malloc(int n) {
  return injected(fault_site::allocation) ? nullptr : g_memory.xMalloc(n);
}
void* m_realloc(void* p, int n) {
  return injected(fault_site::allocation) ? nullptr : g_memory.xRealloc(p, n);
}

}  // namespace

void install_fault_injection() {
  static const bool installed = [] {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &g_memory);
    static sqlite3_mem_methods wrapped = g_memory;
    wrapped.xMalloc = m_malloc;
    wrapped.xRealloc = m_realloc;
    if (sqlite3_config(SQLITE_CONFIG_MALLOC, &wrapped) != SQLITE_OK ||
        sqlite3_initialize() != SQLITE_OK)
      throw std::runtime_error("SQLite was in use before the faults were installed");
    g_real = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs vfs = *g_real;
    vfs.zName = "vantor-faults";
    vfs.szOsFile = static_cast<int>(sizeof(fault_file)) + g_real->szOsFile;
    vfs.xOpen = v_open;
    vfs.pNext = nullptr;
    return sqlite3_vfs_register(&vfs, 1) == SQLITE_OK;
  }();
  if (!installed) throw std::runtime_error("cannot register the fault VFS");
}

void arm(const fault_plan& plan) {
  g_fault.plan = plan;
  g_fault.calls = 0;
  g_fault.fired = false;
  g_fault.armed = true;
}

bool disarm() {
  g_fault.armed = false;
  return g_fault.fired;
}

std::string describe(const fault_plan& plan) {
  static const char* const sites[] = {"write", "sync", "truncate", "lock", "allocation"};
  return std::string(sites[static_cast<int>(plan.site)]) + " " + std::to_string(plan.at) + " (" +
         sqlite3_errstr(plan.error) + (plan.sticky ? ", sticky)" : ")");
}

}  // namespace vantor_test
