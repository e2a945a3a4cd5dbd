#pragma once

#include <memory>

#include "dbl/database.h"
#include "dbl/undo_object.h"

namespace dbl {

class transaction_undoer;

// The one scope through which changes go. Rolls back on destruction unless end() or
// end_with_undo() ran, so an exception half way leaves the database as it was. Transactions
// do not nest: one per connection at a time.
class transaction {
 public:
  explicit transaction(database db) : db_(std::move(db)) {}
  // Rolls back when still open; never throws.
  ~transaction();
  transaction(const transaction&) = delete;
  transaction& operator=(const transaction&) = delete;

  // Opens the transaction; "BEGIN IMMEDIATE TRANSACTION" when `immediate`, which takes the
  // write lock at once so a busy database is met here rather than half way. Unless
  // `no_undo`, the writes are recorded for end_with_undo().
  // Throws std::logic_error when this object began before or another transaction is open on
  // the connection; a failure leaves no transaction.
  void begin(save_policy_t policy = merge_policy, bool no_undo = false, bool immediate = false);
  // Commits. On failure the transaction stays open, and the destructor rolls it back.
  void end();
  // Commits, then hands back what undoes the transaction. Throws std::logic_error, after the
  // commit, when the transaction recorded no undo.
  jtb::undo_object end_with_undo();
  // Rolls back now. REQUIRES: is_open().
  void rollback();
  bool is_open() const { return open_; }

 private:
  std::shared_ptr<transaction_undoer> finish();

  database db_;
  bool begun_ = false;
  bool open_ = false;
};

// Holds the database as it was at construction: transactions begun on the connection while it
// lives nest in it, and its rollback, or else its destruction, takes back all they did,
// committed or not. Throws what database_implementer::begin_savepoint() throws.
class savepoint {
 public:
  explicit savepoint(database db);
  // Rolls back when still open; never throws.
  ~savepoint();
  savepoint(const savepoint&) = delete;
  savepoint& operator=(const savepoint&) = delete;

  // Throws std::logic_error when rolled back already.
  void rollback();

 private:
  database db_;
  bool open_ = true;
};

}  // namespace dbl
