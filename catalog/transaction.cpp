#include "catalog/transaction.h"

#include <memory>
#include <set>
#include <utility>

#include "catalog/internal_connection.h"

namespace vael {
namespace {

std::vector<int> as_vector(const std::set<int>& ids) {
  return {ids.begin(), ids.end()};
}

}  // namespace

transaction::transaction(connection_handle handle)
    : transaction_(get_connection(handle).database()), handle_(std::move(handle)) {}

transaction::~transaction() {
  try {
    internal_connection& c = get_connection(handle_);
    if (!c.database().in_transaction()) {
      c.media_tracker().clear_changed_ids();
      c.tag_tracker().clear_changed_ids();
      return;
    }
    for (object_tracker* tracker : {&c.media_tracker(), &c.tag_tracker()}) {
      for (int id : tracker->changed_ids()) tracker->remove_from_caches(id);
    }
    // A description or volume made or changed in the rolled back step may be cached.
    c.clear_small_caches();
  } catch (...) {
    // A destructor must not throw; the rollback below still runs.
  }
}

void transaction::begin(bool no_undo, int immediate) {
  transaction_.begin(dbl::merge_policy, no_undo, immediate == 1);
  get_connection(handle_).change_tracker().refresh(handle_);
}

void transaction::flush_changes() {
  internal_connection& c = get_connection(handle_);
  c.change_tracker().record_change(handle_, as_vector(c.media_tracker().changed_ids()),
                                   as_vector(c.tag_tracker().changed_ids()));
}

void transaction::commit() {
  flush_changes();
  transaction_.end();
}

jtb::undo_object transaction::commit_with_undo() {
  flush_changes();
  internal_connection& c = get_connection(handle_);
  std::vector<int> media_ids = as_vector(c.media_tracker().changed_ids());
  std::vector<int> tag_ids = as_vector(c.tag_tracker().changed_ids());
  jtb::undo_object inner = transaction_.end_with_undo();
  return jtb::undo_object(std::make_shared<undoer>(std::move(inner), handle_, std::move(media_ids),
                                                   std::move(tag_ids)));
}

savepoint::savepoint(connection_handle handle)
    : handle_(std::move(handle)),
      change_id_(get_connection(handle_).change_tracker().current_change_id()),
      savepoint_(get_connection(handle_).database()) {}

savepoint::~savepoint() {
  // The rollback follows, as savepoint_ goes.
  try {
    internal_connection& c = get_connection(handle_);
    c.clear_caches();
    c.change_tracker().set_current(change_id_);
  } catch (...) {
    // A connection closed meanwhile has no caches left to drop.
  }
}

transaction::undoer::undoer(jtb::undo_object inner, connection_handle handle,
                            std::vector<int> media_ids, std::vector<int> tag_ids)
    : inner_(std::move(inner)),
      handle_(std::move(handle)),
      media_ids_(std::move(media_ids)),
      tag_ids_(std::move(tag_ids)) {}

void transaction::undoer::undo() {
  replay(false);
}

void transaction::undoer::redo() {
  replay(true);
}

bool transaction::undoer::is_undoable() const {
  return inner_.implementer() == nullptr || inner_.is_undoable();
}

void transaction::undoer::replay(bool forward) {
  internal_connection& c = get_connection(handle_);
  for (int id : media_ids_) c.media_tracker().mark_changed(id);
  for (int id : tag_ids_) c.tag_tracker().mark_changed(id);
  if (forward) {
    inner_.redo();
  } else {
    inner_.undo();
  }
  dbl::transaction t(c.database());
  t.begin(dbl::strict_policy, true, true);
  c.change_tracker().record_change(handle_, media_ids_, tag_ids_);
  t.end();
  c.media_tracker().clear_changed_ids();
  c.tag_tracker().clear_changed_ids();
}

}  // namespace vael
