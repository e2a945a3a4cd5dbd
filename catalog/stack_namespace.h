#pragma once

#include "catalog/connection_handle.h"

namespace vael {

// The root tag under which every stack tag lives.
inline constexpr char stack_namespace_name[] = "stack_ns";

// Makes the `stack_ns` namespace tag unless a root tag of that name exists, in a transaction
// of its own.
// REQUIRES: no transaction is open on the connection.
void ensure_stack_namespace(const connection_handle& handle);

}  // namespace vael
