#include "catalog/stack_namespace.h"

#include "catalog/custom_tag_namespace.h"
#include "catalog/transaction.h"

namespace vael {

void ensure_stack_namespace(const connection_handle& handle) {
  if (has_custom_tag_namespace(handle, stack_namespace_name)) return;
  transaction t(handle);
  t.begin(true, 1);
  create_custom_tag_namespace(handle, stack_namespace_name);
  t.commit();
}

}  // namespace vael
