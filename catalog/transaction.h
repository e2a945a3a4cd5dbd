#pragma once

#include <vector>

#include "catalog/connection_handle.h"
#include "dbl/transaction.h"
#include "dbl/undo_object.h"

namespace vael {

// Names for transaction::begin()'s arguments, so that a call says what it asks for.
inline constexpr bool without_undo = true;  // `no_undo`: the model's own steps
inline constexpr bool with_undo = false;    // a user's step that commit_with_undo() hands back
inline constexpr int lock_now = 1;          // `immediate`: a busy catalog is met at begin
inline constexpr int lock_on_first_write = 0;

// One write transaction on a catalog. At begin it notices another process's commits; at
// commit it stamps one new change id on every changed media and tag. Rolls back on
// destruction unless committed, and then drops the changed objects from the caches, since
// they may hold values that the rollback takes away.
// REQUIRES: no other transaction is open on the connection.
class transaction {
 public:
  // Undoes and redoes a committed catalog step. Each replay is a change of its own: it marks
  // the step's media and tags changed and stamps them with a new change id, so change ids
  // only rise.
  class undoer : public jtb::undo_implementer {
   public:
    undoer(jtb::undo_object inner, connection_handle handle, std::vector<int> media_ids,
           std::vector<int> tag_ids);
    void undo() override;
    void redo() override;
    bool is_undoable() const override;

   private:
    void replay(bool forward);

    jtb::undo_object inner_;
    connection_handle handle_;
    std::vector<int> media_ids_;
    std::vector<int> tag_ids_;
  };

  // Throws connection_error when the handle's connection is gone.
  explicit transaction(connection_handle handle);
  // Never throws.
  ~transaction();
  transaction(const transaction&) = delete;
  transaction& operator=(const transaction&) = delete;

  // Opens the transaction under the merge policy, recording undo unless `no_undo`, and taking
  // the write lock at once when `immediate` is 1; then drops every cache if another process
  // committed since this connection last looked. Model code uses
  // begin(without_undo, lock_now).
  // Throws std::logic_error when a transaction is open already.
  void begin(bool no_undo, int immediate);
  // Stamps the changed media and tags with a new change id, leaving the transaction open.
  void flush_changes();
  void commit();
  // Commits and hands back what undoes the step. Throws std::logic_error "Cannot create an
  // undo_object with a null implementer." after the commit when begin() asked for no undo.
  jtb::undo_object commit_with_undo();

 private:
  dbl::transaction transaction_;
  connection_handle handle_;
};

// A dbl::savepoint on a catalog: everything committed on the connection while it lives is
// taken back at its end. The rollback drops every cache, since they may hold objects that the
// taken back commits made, and puts the change counter this connection saw back as it was.
// Throws std::logic_error when a transaction or a savepoint is open.
class savepoint {
 public:
  explicit savepoint(connection_handle handle);
  // Never throws.
  ~savepoint();
  savepoint(const savepoint&) = delete;
  savepoint& operator=(const savepoint&) = delete;

 private:
  connection_handle handle_;
  int change_id_;  // as this connection saw it at the start
  dbl::savepoint savepoint_;
};

}  // namespace vael
