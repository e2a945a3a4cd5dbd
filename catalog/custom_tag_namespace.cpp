#include "catalog/custom_tag_namespace.h"

#include <stdexcept>

#include "catalog/internal_connection.h"
#include "catalog/schema/schema_names.h"
#include "dbl/query.h"

namespace vael {

tag_base& custom_tag_namespace::base() const {
  if (base_ == nullptr) throw connection_error();
  return *base_;
}

tag custom_tag_namespace::create_tag(const std::string& name, const tag_type_t& type) const {
  return tag(create_tag_base(base().handle(), get_id(), name, type));
}

std::vector<tag> custom_tag_namespace::get_children() const {
  std::vector<tag> children;
  for (tag_base& child : base().get_children()) children.emplace_back(std::move(child));
  return children;
}

void custom_tag_namespace::set_children(const std::vector<tag>& children) {
  const internal_connection& c = get_connection(base().handle());
  // Outside a change there is no namespace to match, which is the same fault.
  if (c.hierarchy_namespace == nullptr || c.hierarchy_namespace->get_id() != get_id()) {
    throw std::logic_error(
        "The tag namespace doesn't match the namespace for the current tag hierarchy change.");
  }
  std::vector<tag_base> bases;
  for (const tag& child : children) bases.push_back(child.base());
  base().renumber_children(bases);
}

bool has_custom_tag_namespace(const connection_handle& handle, const std::string& name) {
  dbl::query q(get_connection(handle).database(),
               "SELECT COUNT(*) FROM tag_table\nWHERE parent_id = :parent_id AND name = :name");
  q.bind(":parent_id", dbl::entry_data(0)).bind(":name", dbl::entry_data(name));
  q.add_column("ignored", typeid(int));
  return q.first_row()[0].as_int() != 0;
}

custom_tag_namespace create_custom_tag_namespace(const connection_handle& handle,
                                                 const std::string& name) {
  if (has_custom_tag_namespace(handle, name)) {
    throw std::logic_error("There is already a custom tag namespace named " + name);
  }
  internal_connection& c = get_connection(handle);
  dbl::database& db = c.database();
  dbl::record row(db, db.get_table(schema::table::tag_table));
  row.set(schema::column::parent_id, 0);
  row.set(schema::column::type_name, custom_tag_namespace_type_name);
  row.set(schema::column::media_is_ordered, false);
  row.set(schema::column::can_tag_media, false);
  row.set(schema::column::can_have_children, true);
  row.set(schema::column::applies_to_all_in_media_stack, false);
  row.set(schema::column::applies_to_all_in_version_stack, false);
  // Namespaces may be made during a hierarchy change, so not through create_tag_base().
  tag_base ns(handle, std::move(row));
  ns.save();
  ns.set_name(name);
  return custom_tag_namespace(std::move(ns));
}

custom_tag_namespace get_custom_tag_namespace(const connection_handle& handle,
                                              const std::string& name) {
  for (custom_tag_namespace& ns : get_custom_tag_namespaces(handle)) {
    if (ns.get_name() == name) return ns;
  }
  throw std::runtime_error("The custom tag namespace '" + name + "' does not exist.");
}

custom_tag_namespace create_or_load_custom_tag_namespace(const connection_handle& handle,
                                                         const std::string& name) {
  if (has_custom_tag_namespace(handle, name)) return get_custom_tag_namespace(handle, name);
  return create_custom_tag_namespace(handle, name);
}

std::vector<custom_tag_namespace> get_custom_tag_namespaces(const connection_handle& handle) {
  std::vector<custom_tag_namespace> out;
  for (int id : get_root_tag_ids(handle)) {
    tag_base root = load_tag_base(handle, id);
    // Tags detached during a hierarchy change are roots for a while, but no namespaces.
    if (root.is_namespace()) out.emplace_back(std::move(root));
  }
  return out;
}

void remove_custom_tag_namespace(const connection_handle& handle, const std::string& name) {
  if (get_connection(handle).hierarchy_namespace != nullptr) {
    throw std::logic_error("Cannot remove a tag namespace while in a tag hierarchy change.");
  }
  get_custom_tag_namespace(handle, name)
      .base()
      .remove_tag(tag_base::without_children, tag_base::unless_referenced);
}

}  // namespace vael
