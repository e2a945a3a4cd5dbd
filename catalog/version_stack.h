#pragma once

#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/tag.h"
#include "catalog/tag_type.h"

namespace vael {

// Edited versions of one photo tied together: a tag of type `version_stack` under `stack_ns`
// whose members are rows of version_stack_to_media_table. The newest version has media_index
// 0 and leads; parent_id names the media a version was made from, 0 for the first version.
// Invariants: a media is in at most one version stack; a stack holds at least 2 media; the
// parent links of a stack lead to one first version.
// Writers require an open vael::transaction: a refused change leaves rows half written until
// the transaction rolls back.
class version_stack {
 public:
  static constexpr char type_name[] = "version_stack";
  // What a version stack tag is made from: ordered, holding no tag_to_media rows and no
  // children.
  static tag_type_t tag_type();

  // Makes `child_id` the newest version of `parent_id`: it joins the parent's version stack,
  // or a new one of the two. When the parent is in a media stack the child joins that too,
  // just before the former lead of the version stack. Throws std::logic_error "Cannot create
  // a version for a child that is already in a version.", "Can't create a version_stack if
  // the child is in a media_stack.", "A media cannot be a version of itself.", and as
  // media_stack::set_media().
  static version_stack create_version(const connection_handle& handle, int child_id, int parent_id);
  // The version stack of the media. Throws std::logic_error when the media is in none.
  static version_stack get_for_media(const connection_handle& handle, int media_id);
  static bool is_media_in_version_stack(const connection_handle& handle, int media_id);
  // The id of the stack tag holding the media; 0 when none does.
  static int get_stack_id_of_media(const connection_handle& handle, int media_id);
  // The media `child_id` was made from; 0 for a first version and for an unversioned media.
  static int get_parent_id(const connection_handle& handle, int child_id);
  // The first version of the media's stack, following parent links; the media itself when it
  // has no parent. Throws database_state_invalid_error when the links form a cycle.
  static int get_root_version_id(const connection_handle& handle, int media_id);

  // Loads the stack tag. Throws std::logic_error for an unknown id and
  // database_state_invalid_error when the tag is no version stack.
  version_stack(connection_handle handle, int stack_tag_id);

  int get_id() const { return tag_.get_id(); }
  const tag& get_tag() const { return tag_; }
  // The members, newest first.
  std::vector<int> get_media_ids() const;
  // Adds the media as the newest version, made from `parent_id` (0 for none). Leaves any
  // media stack alone: create_version() is what keeps those whole. Throws std::logic_error
  // "Cannot create a version for a child that is already in a version." when the media is in
  // a version stack.
  void add_media(int media_id, int parent_id);
  // Takes the media out; the versions made from it are then made from its parent. A stack
  // left with one media is dissolved. The media's own sort row keeps what it has. Throws
  // std::logic_error "The media is not in this version stack." for a media of another stack.
  void remove_media(int media_id);
  // Puts the members in the order of `media_ids`. Throws std::logic_error "Cannot add or
  // remove media in a version stack using reorder_media" unless it holds the same media.
  void reorder_media(const std::vector<int>& media_ids);
  // Frees every member and removes the stack tag.
  void dissolve();

 private:
  // Brings the sort rows of `media_ids` up to date and marks them and the stack changed.
  void after_change(const std::vector<int>& media_ids) const;

  connection_handle handle_;
  tag tag_;
};

}  // namespace vael
