#pragma once

#include <string>

// Faults for SQLite, in process: a VFS over the default one that fails the N-th write, sync,
// truncate or lock of any file, and an allocator that fails the N-th allocation.
namespace vantor_test {

enum class fault_site { write, sync, truncate, lock, allocation };

struct fault_plan {
  fault_site site = fault_site::write;
  int at = 1;           // the N-th call of `site` fails
  int error = 0;        // an SQLite result code; SQLITE_NOMEM for allocations
  bool sticky = false;  // every later call fails too, as a full disk does
};

// Installs the VFS (as the default) and the allocator, once, before SQLite is used elsewhere.
void install_fault_injection();

// Arms a fault; disarm() reports whether it fired since arm() and clears it.
void arm(const fault_plan& plan);
bool disarm();

std::string describe(const fault_plan& plan);

}  // namespace vantor_test
