#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/tag.h"
#include "catalog/tag_base.h"
#include "catalog/tag_type.h"

namespace vael {

// A root of the tag forest with type custom_tag_namespace: a vocabulary of its own. A default
// made namespace is not valid and throws connection_error on use.
class custom_tag_namespace {
 public:
  custom_tag_namespace() = default;
  explicit custom_tag_namespace(tag_base base)
      : base_(std::make_shared<tag_base>(std::move(base))) {}

  // Whether the namespace is tied to a connection.
  bool is_valid() const { return base_ != nullptr && base_->handle() != nullptr; }
  int get_id() const { return base().get_id(); }
  std::string get_name() const { return base().get_name(); }
  // Throws std::logic_error while a hierarchy change is open.
  tag create_tag(const std::string& name, const tag_type_t& type) const;
  std::vector<tag> get_children() const;
  std::vector<int> get_all_descendant_ids() const { return base().get_all_descendant_ids(); }
  // Makes `children` the top-level tags of the namespace in that order. Throws
  // std::logic_error "The tag namespace doesn't match the namespace for the current tag
  // hierarchy change." unless a change of this namespace is open.
  void set_children(const std::vector<tag>& children);
  // The namespace as a tag, for the namespace scoped queries of vael::tag.
  tag as_tag() const { return tag(base()); }

  tag_base& base() const;

 private:
  std::shared_ptr<tag_base> base_;
};

// Whether a root is named `name`, compared as the column's collation compares.
bool has_custom_tag_namespace(const connection_handle& handle, const std::string& name);
// Throws std::logic_error "There is already a custom tag namespace named " + name.
// REQUIRES: an open transaction.
custom_tag_namespace create_custom_tag_namespace(const connection_handle& handle,
                                                 const std::string& name);
// The first namespace named exactly `name`, by bytes. Throws std::runtime_error when none is.
custom_tag_namespace get_custom_tag_namespace(const connection_handle& handle,
                                              const std::string& name);
// The namespace named `name`, made first when there is none.
// REQUIRES: an open transaction when it may be made.
custom_tag_namespace create_or_load_custom_tag_namespace(const connection_handle& handle,
                                                         const std::string& name);
// Every namespace in sibling order.
std::vector<custom_tag_namespace> get_custom_tag_namespaces(const connection_handle& handle);
// Removes an empty namespace. Throws std::logic_error while a hierarchy change is open and
// while it holds tags, std::runtime_error when there is none of that name.
// REQUIRES: an open transaction.
void remove_custom_tag_namespace(const connection_handle& handle, const std::string& name);

}  // namespace vael
