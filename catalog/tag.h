#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/tag_base.h"
#include "catalog/tag_type.h"

namespace vael {

class custom_tag_namespace;

// A tag of the catalog: a handle on one tag_base, to which every operation forwards (see
// tag_base for their contracts). A default made tag is empty and throws connection_error on
// use. Writers require an open vael::transaction.
class tag {
 public:
  tag() = default;
  explicit tag(tag_base base) : base_(std::make_shared<tag_base>(std::move(base))) {}

  int get_id() const { return base().get_id(); }
  int get_change_id() const { return base().get_change_id(); }
  std::string get_name() const { return base().get_name(); }
  void set_name(const std::string& name) { base().set_name(name); }
  std::string get_type_name() const { return base().get_type_name(); }
  bool media_is_ordered() const { return base().media_is_ordered(); }
  bool can_tag_media() const { return base().can_tag_media(); }
  bool can_have_children() const { return base().can_have_children(); }
  bool applies_to_all_in_media_stack() const { return base().applies_to_all_in_media_stack(); }
  bool applies_to_all_in_version_stack() const { return base().applies_to_all_in_version_stack(); }
  void set_can_have_children(bool value) { base().set_can_have_children(value); }

  bool has_parent() const { return base().has_parent(); }
  // Throws std::logic_error "Attempted to get the parent tag for a top level tag." on a root.
  tag get_parent() const { return tag(base().get_parent()); }
  // Whether the parent is a tag rather than a namespace. Throws as get_parent() on a root.
  bool has_parent_tag() const;
  int get_namespace_id() const { return base().get_namespace_id(); }
  // The namespace above this tag. Throws database_state_invalid_error for a root, and for a
  // tag under a root that is no namespace.
  std::shared_ptr<custom_tag_namespace> get_namespace() const;

  std::vector<tag> get_children() const;
  bool has_children() const { return base().has_children(); }
  // Makes `children` this tag's children in that order; a current child left out is detached
  // (parent 0) until given a parent again. Throws std::logic_error outside a hierarchy change,
  // for a tag outside its first namespace, and as tag_base::renumber_children.
  void set_children(const std::vector<tag>& children);
  std::vector<int> get_all_descendant_ids() const { return base().get_all_descendant_ids(); }
  std::vector<int> get_descendant_ids() const { return base().get_descendant_ids(); }
  std::vector<int> get_descendant_container_ids() const {
    return base().get_descendant_container_ids();
  }
  tag create_child(const std::string& name, const tag_type_t& type) const {
    return tag(base().create_child(name, type));
  }
  // Removes the tag; without `force` only while nothing refers to it.
  void remove(bool force) { base().remove_tag(tag_base::without_children, force); }

  std::vector<int> get_media_ids() const { return base().get_media_ids(); }
  std::vector<int> get_ordered_media_ids() const { return base().get_ordered_media_ids(); }
  void set_media_order(const std::vector<int>& media_ids) { base().set_media_order(media_ids); }
  void tag_media(int media_id) { base().tag_media(media_id); }
  void untag_media(int media_id) { base().untag_media(media_id); }
  bool is_media_tagged(int media_id) const { return base().is_media_tagged(media_id); }

  // Namespace scoped queries, see tag_queries.h; called on a namespace tag.
  std::vector<int> get_tags_on_media(int media_id) const;
  std::vector<int> get_tags_on_all_media(const std::vector<int>& media_ids) const;
  std::vector<int> get_tags_on_any_media(const std::vector<int>& media_ids, bool leaves_only) const;
  std::vector<std::pair<int, int>> get_tag_frequencies(const std::vector<int>& media_ids,
                                                       bool leaves_only, int keep_rare,
                                                       int minimum_score) const;
  bool has_other_named_tag(const std::vector<int>& media_ids, bool leaves_only,
                           const std::string& name) const;

  // The row behind the tag. Throws connection_error for an empty tag.
  tag_base& base() const;

 private:
  std::shared_ptr<tag_base> base_;
};

// The tag with this id, through the tag cache. Throws std::logic_error for an unknown id.
tag get_tag(const connection_handle& handle, int id);
// get_tag() for ids from outside: throws std::logic_error when the id names a namespace.
tag get_tag_in_namespace(const connection_handle& handle, int id);

}  // namespace vael
