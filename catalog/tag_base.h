#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/tag_type.h"
#include "dbl/record.h"

namespace vael {

// One row of tag_table with the handle of its connection. A value: copies share only the
// handle, and the cache hands out copies, so no two callers ever edit one tag_base.
// Every writer requires an open vael::transaction and marks the rows it changes on the
// connection's trackers, so that the commit stamps them and a rollback evicts them.
class tag_base {
 public:
  // The tag tracker's cache for tags, and its size.
  static constexpr char class_name[] = "tag_base";
  static constexpr std::size_t cache_capacity = 50000;

  tag_base(connection_handle handle, dbl::record row);

  const connection_handle& handle() const { return handle_; }
  const dbl::record& row() const { return row_; }

  int get_id() const;
  int get_change_id() const;
  // Empty when the column is NULL.
  std::string get_name() const;
  void set_name(const std::string& name);
  // Empty when the column is NULL.
  std::string get_type_name() const;
  bool is_namespace() const;
  bool media_is_ordered() const;
  bool can_tag_media() const;
  bool can_have_children() const;
  bool applies_to_all_in_media_stack() const;
  bool applies_to_all_in_version_stack() const;
  // Throws std::logic_error "If a tag has child tags, you cannot set it to not have children"
  // when `value` is false and the tag has children.
  void set_can_have_children(bool value);

  int get_parent_id() const;
  bool has_parent() const { return get_parent_id() != 0; }
  // Throws std::logic_error on a root.
  tag_base get_parent() const;
  // The id of the root above this tag; 0 for a root. Throws database_state_invalid_error when
  // the parents form a cycle.
  int get_namespace_id() const;

  // The children in sibling order; none, without SQL, when the tag cannot have children.
  std::vector<tag_base> get_children() const;
  // Whether any row names this tag as its parent, whatever the tag's flags say.
  bool has_children() const;
  // Breadth first through get_children(), without this tag.
  std::vector<int> get_all_descendant_ids() const;
  // Level by level through SQL, without this tag; the second form keeps only tags that can
  // have children, and descends only through them.
  std::vector<int> get_descendant_ids() const;
  std::vector<int> get_descendant_container_ids() const;

  // Throws std::logic_error while a hierarchy change is open.
  tag_base create_child(const std::string& name, const tag_type_t& type) const;
  // Names for remove_tag()'s arguments.
  static constexpr bool with_children = true;
  static constexpr bool without_children = false;
  static constexpr bool even_if_referenced = true;
  static constexpr bool unless_referenced = false;
  // Removes the tag, first its children when `cascade_children`. Without `force`, fails with
  // the database layer's references error while media or other rows refer to it. Renumbers
  // the siblings left behind from 0. Throws std::logic_error while a hierarchy change is open
  // and when children remain.
  void remove_tag(bool cascade_children, bool force);
  // Detaches every current child (parent 0, sibling index 0), then attaches `children` in
  // order with sibling indexes 0, 1, 2.... Throws std::logic_error when the tag cannot have
  // children, or when one of `children` is this tag or one of its ancestors.
  void renumber_children(const std::vector<tag_base>& children) const;

  std::vector<int> get_media_ids() const;
  // Throws std::logic_error on an unordered tag.
  std::vector<int> get_ordered_media_ids() const;
  // Replaces the media of an ordered tag by `media_ids` in that order. Only media that join
  // or leave are marked changed; the tag always is. Throws std::logic_error on an unordered
  // tag or one that cannot tag media.
  void set_media_order(const std::vector<int>& media_ids);
  // Tags the media, or its whole stack when the tag's stack flags say so; media tagged
  // already are left alone. Throws std::logic_error on an ordered tag or one that cannot tag
  // media.
  void tag_media(int media_id);
  // Untags the media or its whole stack; untagged media are no failure. Throws
  // std::logic_error on an ordered tag.
  void untag_media(int media_id);
  bool is_media_tagged(int media_id) const;

  // Gives a new tag its sibling index (one past the largest among its siblings, 1 for the
  // first) and change id 0, writes the row, and marks the tag changed.
  void save();

 private:
  std::vector<int> expand_media(int media_id) const;

  connection_handle handle_;
  dbl::record row_;
};

// The tag with this id, through the connection's tag cache. Throws std::logic_error when
// there is no such row.
tag_base load_tag_base(const connection_handle& handle, int id);
// Whether the tag cache holds `id`, which proves the row unchanged since it was read: every
// change to a tag, a rollback and another process's commit drop it from there.
bool is_tag_cached(const connection_handle& handle, int id);
// Makes a tag under `parent_id` (0 for a root). Throws std::logic_error "Cannot create tags
// while in a tag hierarchy change." while one is open.
// REQUIRES: an open transaction.
tag_base create_tag_base(const connection_handle& handle, int parent_id, const std::string& name,
                         const tag_type_t& type);
// The ids of all roots in sibling order.
std::vector<int> get_root_tag_ids(const connection_handle& handle);
// Gives `roots` parent 0 and sibling indexes 0, 1, 2... in order.
void renumber_top_level(const connection_handle& handle, const std::vector<tag_base>& roots);

}  // namespace vael
