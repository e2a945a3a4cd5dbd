#pragma once

#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/tag.h"
#include "catalog/tag_type.h"

namespace vael {

// Several media shown as one pile: a tag of type `stack` under `stack_ns` whose members are
// rows of media_stack_to_media_table, the lowest media_index first; the first member is the
// top, by whose date every member sorts. Invariants: a media is in at most one media stack; a
// stack holds at least 2 media; a version stack with one member in a media stack has all its
// members there, next to each other, in version order.
// Writers require an open vael::transaction: a refused change leaves rows half written until
// the transaction rolls back.
class media_stack {
 public:
  static constexpr char type_name[] = "stack";
  // What a stack tag is made from: ordered, holding no tag_to_media rows and no children.
  static tag_type_t tag_type();

  // Makes a stack of `media_ids`, in that order, under `stack_ns` (made when missing). The
  // tag is made before the checks run, so only a rollback takes a refused stack away. Throws
  // std::logic_error "A media_stack must be comprised of at least 2 media." for fewer than 2
  // ids, and as set_media().
  static media_stack create(const connection_handle& handle, const std::vector<int>& media_ids);
  // The stack of the media. Throws std::logic_error when the media is in none.
  static media_stack get_for_media(const connection_handle& handle, int media_id);
  static bool is_media_in_stack(const connection_handle& handle, int media_id);
  // The id of the stack tag holding the media; 0 when none does.
  static int get_stack_id_of_media(const connection_handle& handle, int media_id);

  // Loads the stack tag. Throws std::logic_error for an unknown id and
  // database_state_invalid_error when the tag is no media stack.
  media_stack(connection_handle handle, int stack_tag_id);

  int get_id() const { return tag_.get_id(); }
  const tag& get_tag() const { return tag_; }
  // The members, top first.
  std::vector<int> get_media_ids() const;
  // Makes `media_ids` the members in that order; every member that joins, leaves or stays
  // gets the new top's date in its sort row. Throws std::logic_error "A media_stack must be
  // comprised of at least 2 media." for fewer than 2 ids, "Could not set the stack media,
  // since some of the media was already stacked." when one is in another media stack, and
  // "If media in a version_stack is stacked, it must all be added to the stack" when a
  // version stack is not given whole, contiguous and in its order.
  void set_media(const std::vector<int>& media_ids);
  // Frees every member, which then sorts by its own date, and removes the stack tag.
  void dissolve();

 private:
  media_stack(connection_handle handle, tag stack_tag);
  // `may_have_rows` false skips reading the current members, which a new tag has none of.
  void write_members(const std::vector<int>& media_ids, bool may_have_rows);

  connection_handle handle_;
  tag tag_;
};

}  // namespace vael
