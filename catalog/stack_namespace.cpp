#include "catalog/stack_namespace.h"

#include "catalog/custom_tag_namespace.h"
#include "catalog/internal_connection.h"
#include "catalog/tag_base.h"
#include "catalog/transaction.h"
#include "dbl/query.h"

namespace vael {
namespace {

// One indexed lookup instead of a walk over every root, and none while the tag found last is
// still cached unchanged: stacks are made by the thousand.
int stack_namespace_id(const connection_handle& handle) {
  internal_connection& c = get_connection(handle);
  if (c.stack_namespace_hint != 0 && is_tag_cached(handle, c.stack_namespace_hint)) {
    return c.stack_namespace_hint;
  }
  dbl::query q(c.database(),
               "SELECT id FROM tag_table WHERE parent_id = 0 AND name = :name AND type_name = "
               ":type_name",
               true);
  q.bind(":name", dbl::entry_data(stack_namespace_name))
      .bind(":type_name", dbl::entry_data(custom_tag_namespace_type_name));
  const std::vector<int> ids = q.select_ints();
  const int id = ids.empty() ? create_custom_tag_namespace(handle, stack_namespace_name).get_id()
                             : ids.front();
  load_tag_base(handle, id);
  c.stack_namespace_hint = id;
  return id;
}

}  // namespace

void ensure_stack_namespace(const connection_handle& handle) {
  if (has_custom_tag_namespace(handle, stack_namespace_name)) return;
  transaction t(handle);
  t.begin(vael::without_undo, vael::lock_now);
  create_custom_tag_namespace(handle, stack_namespace_name);
  t.commit();
}

tag create_stack_tag(const connection_handle& handle, const tag_type_t& type) {
  return tag(create_tag_base(handle, stack_namespace_id(handle), std::string(), type));
}

tag load_stack_tag(const connection_handle& handle, int id, const std::string& type_name) {
  tag loaded = get_tag(handle, id);
  if (loaded.get_type_name() != type_name) throw database_state_invalid_error();
  return loaded;
}

}  // namespace vael
