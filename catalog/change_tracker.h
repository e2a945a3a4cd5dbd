#pragma once

#include <vector>

#include "catalog/connection_handle.h"
#include "dbl/database.h"

namespace vael {

// The catalog-wide change counter as this connection last saw it. Every commit moves the
// counter by one, dates the new id in db_change_timestamp_table and stamps it on the changed
// media and tags, so that other programs can ask what changed since an id, and another
// connection can tell that its caches are stale.
class change_tracker {
 public:
  // The counter stored in the file; 0 when it has no counter row.
  static int read_current(dbl::database& db);

  int current_change_id() const { return current_change_id_; }
  // True once another writer was seen to move the counter.
  bool db_changed() const { return db_changed_; }
  void set_current(int change_id) { current_change_id_ = change_id; }

  // Reads the counter; when another writer moved it, drops every cache of the connection.
  void refresh(const connection_handle& handle);
  // Takes the next change id, dates it, prunes old dates, and stamps it on the given rows.
  // The rows are written without undo, so that undoing a step never lowers a change id.
  // REQUIRES: an open transaction on the connection.
  void record_change(const connection_handle& handle, const std::vector<int>& media_ids,
                     const std::vector<int>& tag_ids);

 private:
  int current_change_id_ = 0;
  bool db_changed_ = false;
};

}  // namespace vael
