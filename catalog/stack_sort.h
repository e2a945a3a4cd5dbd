#pragma once

#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/media_date.h"

namespace vael {

class media;

// Keeps one sort row per media in a sort table: the search dates of the top of the media's
// stack, or its own while unstacked, so that a list sorted by date keeps a stack together.
// The media and version stacks each have such a table; they differ only in the table and in
// how the members of a stack are found. Holds only the handle.
// Writers require an open vael::transaction.
class stack_sort {
 public:
  // The members of the stack holding a media in stack order, top first; empty when none.
  using members_fn = std::vector<int> (*)(const connection_handle&, int media_id);

  stack_sort(connection_handle handle, const char* table, members_fn members);

  // Writes the row of `m` with its own search dates.
  void insert(const media& m) const;
  // Writes the dates of the top of the stack of `media_id` into its sort row; when the media
  // is that top and `top_carries_stack`, into the rows of every member. A missing row is
  // made first. Throws std::runtime_error "A stack sort entry was missing that shouldn't have
  // been." when it still cannot be read.
  void update(int media_id, bool top_carries_stack) const;
  // Writes the search dates of `top_id` into the sort rows of `media_ids`, making missing
  // rows first; for callers that know the top already. Throws as update().
  void write_top_dates(const std::vector<int>& media_ids, int top_id) const;
  // The date of the media's sort row; the media's own date when it has none.
  media_date_t get_date(int media_id) const;

 private:
  connection_handle handle_;
  const char* table_;
  members_fn members_;
};

// Sort rows of media_stack_sort_table, by media stack.
class media_stack_sort : public stack_sort {
 public:
  explicit media_stack_sort(connection_handle handle);
};

// Sort rows of version_stack_sort_table, by version stack.
class version_stack_sort : public stack_sort {
 public:
  explicit version_stack_sort(connection_handle handle);
};

}  // namespace vael
