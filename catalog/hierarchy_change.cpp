#include "catalog/hierarchy_change.h"

#include <memory>
#include <stdexcept>

#include "catalog/internal_connection.h"
#include "dbl/query.h"

namespace vael {
namespace {

// Tags under the namespace; a tag that cannot have children counts as a leaf whatever rows
// name it as parent. Every tag has one parent, so the walk can revisit a tag only through a
// cycle back to the root: not descending from the root again lets UNION ALL skip the cost of
// a dedup table and still end on rows damaged into a cycle.
const char count_below_sql[] =
    "WITH RECURSIVE below(id, can_have_children) AS (\n"
    " SELECT id, can_have_children FROM tag_table WHERE parent_id = :parent_id\n"
    " UNION ALL\n"
    " SELECT tag_table.id, tag_table.can_have_children FROM tag_table\n"
    " INNER JOIN below ON tag_table.parent_id = below.id AND below.can_have_children = 1\n"
    "  AND below.id <> :parent_id)\n"
    "SELECT COUNT(*) FROM below";

std::size_t count_namespace(const custom_tag_namespace& ns) {
  const tag_base& base = ns.base();
  if (!base.can_have_children()) return 0;
  dbl::query q(get_connection(base.handle()).database(), count_below_sql, true);
  q.bind(":parent_id", dbl::entry_data(base.get_id()));
  q.add_column("ignored", typeid(int));
  return static_cast<std::size_t>(q.first_row()[0].as_int());
}

void finish(internal_connection& c, std::size_t count) {
  if (count != c.hierarchy_tag_count) {
    throw std::logic_error(
        "Could not change the tag hierarchy, since the namespace tag count is different than "
        "when we started.");
  }
  c.hierarchy_namespace.reset();
}

void require_started(const internal_connection& c) {
  if (c.hierarchy_namespace == nullptr) {
    throw std::logic_error("Attempted to finish a tag hierarchy change without starting it.");
  }
}

void require_valid(const custom_tag_namespace& ns) {
  if (!ns.is_valid()) {
    throw std::logic_error("Can't change the tag hierarchy on an invalid namespace");
  }
}

}  // namespace

void start_tag_hierarchy_change(const connection_handle& handle, const custom_tag_namespace& ns) {
  internal_connection& c = get_connection(handle);
  require_valid(ns);
  const std::size_t count = count_namespace(ns);
  c.hierarchy_namespace = std::make_shared<custom_tag_namespace>(ns);
  c.hierarchy_tag_count = count;
}

void start_tag_hierarchy_change(const connection_handle& handle, const custom_tag_namespace& ns,
                                const custom_tag_namespace& second_ns) {
  internal_connection& c = get_connection(handle);
  require_valid(ns);
  const std::size_t count = count_namespace(ns) + count_namespace(second_ns);
  c.hierarchy_namespace = std::make_shared<custom_tag_namespace>(ns);
  c.hierarchy_second_namespace = std::make_shared<custom_tag_namespace>(second_ns);
  c.hierarchy_tag_count = count;
}

void finish_tag_hierarchy_change(const connection_handle& handle) {
  internal_connection& c = get_connection(handle);
  require_started(c);
  finish(c, count_namespace(*c.hierarchy_namespace));
}

void finish_two_namespace_hierarchy_change(const connection_handle& handle) {
  internal_connection& c = get_connection(handle);
  require_started(c);
  std::size_t count = count_namespace(*c.hierarchy_namespace);
  if (c.hierarchy_second_namespace != nullptr) {
    count += count_namespace(*c.hierarchy_second_namespace);
  }
  finish(c, count);
  c.hierarchy_second_namespace.reset();
}

bool is_in_tag_hierarchy_change(const connection_handle& handle) {
  return get_connection(handle).hierarchy_namespace != nullptr;
}

custom_tag_namespace get_hierarchy_change_namespace(const connection_handle& handle) {
  const internal_connection& c = get_connection(handle);
  return c.hierarchy_namespace != nullptr ? *c.hierarchy_namespace : custom_tag_namespace();
}

}  // namespace vael
