#include "catalog/stack_namespace.h"

#include "catalog/internal_connection.h"
#include "catalog/schema/schema_names.h"
#include "catalog/transaction.h"
#include "dbl/query.h"
#include "dbl/record.h"

namespace vael {
namespace {

namespace col = schema::column;

bool has_root_tag(dbl::database& db, const char* name) {
  dbl::query q(db, "SELECT COUNT(*) FROM tag_table\nWHERE parent_id = :parent_id AND name = :name");
  q.bind(":parent_id", dbl::entry_data(0));
  q.bind(":name", dbl::entry_data(name));
  q.add_column("ignored", typeid(int));
  return q.first_row()[0].as_int() != 0;
}

int next_root_sibling_index(dbl::database& db) {
  dbl::query q(db, "select max(sibling_index) from tag_table where parent_id = :parent_id");
  q.bind(":parent_id", dbl::entry_data(0));
  q.add_column("ignored", typeid(int));
  const dbl::entry_data top = q.first_row()[0];
  return top.is_null() ? 1 : top.as_int() + 1;
}

}  // namespace

void ensure_stack_namespace(const connection_handle& handle) {
  internal_connection& c = get_connection(handle);
  dbl::database& db = c.database();
  if (has_root_tag(db, stack_namespace_name)) return;

  transaction t(handle);
  t.begin(true, 1);
  dbl::record tag(db, db.get_table(schema::table::tag_table));
  tag.set(col::change_id, dbl::entry_data(0));
  tag.set(col::name, dbl::entry_data(stack_namespace_name));
  tag.set(col::parent_id, dbl::entry_data(0));
  tag.set(col::sibling_index, dbl::entry_data(next_root_sibling_index(db)));
  tag.set(col::type_name, dbl::entry_data("custom_tag_namespace"));
  tag.set(col::media_is_ordered, dbl::entry_data(false));
  tag.set(col::can_tag_media, dbl::entry_data(false));
  tag.set(col::can_have_children, dbl::entry_data(true));
  tag.set(col::applies_to_all_in_media_stack, dbl::entry_data(false));
  tag.set(col::applies_to_all_in_version_stack, dbl::entry_data(false));
  tag.save();
  c.tag_tracker().mark_changed(tag.id());
  t.commit();
}

}  // namespace vael
