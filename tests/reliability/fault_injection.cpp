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

// The real file's method M with the same arguments; with a site, after the fault's turn.
template <auto M, typename... A>
auto pass(sqlite3_file* f, A... a) -> decltype((io(f).*M)(f, a...)) {
  return (io(f).*M)(real(f), a...);
}
template <auto M, fault_site S, typename... A>
int faulty(sqlite3_file* f, A... a) {
  if (const int rc = injected(S)) return rc;
  return pass<M>(f, a...);
}
// Syncs are counted but not made: durability is the crash driver's business, and a real
// sync per commit would make thousands of runs slow.
int sync(sqlite3_file*, int) {
  return injected(fault_site::sync);
}

int v_open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
  auto* self = reinterpret_cast<fault_file*>(file);
  self->base.pMethods = nullptr;
  self->real = reinterpret_cast<sqlite3_file*>(self + 1);
  const int rc = g_real->xOpen(g_real, name, self->real, flags, out_flags);
  if (self->real->pMethods == nullptr) return rc;
  // Only the operations of the real file's version are offered, as SQLite checks iVersion.
  using m = sqlite3_io_methods;
  self->methods = {self->real->pMethods->iVersion,
                   pass<&m::xClose>,
                   pass<&m::xRead>,
                   faulty<&m::xWrite, fault_site::write>,
                   faulty<&m::xTruncate, fault_site::truncate>,
                   sync,
                   pass<&m::xFileSize>,
                   faulty<&m::xLock, fault_site::lock>,
                   pass<&m::xUnlock>,
                   pass<&m::xCheckReservedLock>,
                   pass<&m::xFileControl>,
                   pass<&m::xSectorSize>,
                   pass<&m::xDeviceCharacteristics>,
                   pass<&m::xShmMap>,
                   pass<&m::xShmLock>,
                   pass<&m::xShmBarrier>,
                   pass<&m::xShmUnmap>,
                   pass<&m::xFetch>,
                   pass<&m::xUnfetch>};
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
