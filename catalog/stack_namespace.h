#pragma once

#include <string>

#include "catalog/connection_handle.h"
#include "catalog/tag.h"
#include "catalog/tag_type.h"

namespace vael {

// The root tag under which every stack tag lives.
inline constexpr char stack_namespace_name[] = "stack_ns";

// Makes the `stack_ns` namespace tag unless a root tag of that name exists, in a transaction
// of its own.
// REQUIRES: no transaction is open on the connection.
void ensure_stack_namespace(const connection_handle& handle);

// A new unnamed tag of `type` under `stack_ns`, which is made first when it is missing.
// Throws std::logic_error while a hierarchy change is open.
// REQUIRES: an open transaction.
tag create_stack_tag(const connection_handle& handle, const tag_type_t& type);

// The tag `id`, which must be a stack tag of `type_name`. Throws std::logic_error for an
// unknown id and database_state_invalid_error for a tag of another type.
tag load_stack_tag(const connection_handle& handle, int id, const std::string& type_name);

}  // namespace vael
