#include "dbl/transaction.h"

#include <stdexcept>
#include <utility>

#include "dbl/transaction_undoer.h"

namespace dbl {

transaction::~transaction() {
  if (!open_) return;
  try {
    rollback();
  } catch (...) {
    // A closed connection or a failed rollback leaves nothing to undo here: SQLite rolls
    // back an unfinished transaction when the connection closes.
  }
}

void transaction::begin(save_policy_t policy, bool no_undo, bool immediate) {
  if (begun_) throw std::logic_error("This transaction object has already been begun.");
  db_.implementer().begin_transaction(policy, no_undo, immediate, db_);
  begun_ = true;
  open_ = true;
}

void transaction::end() {
  finish();
}

jtb::undo_object transaction::end_with_undo() {
  return jtb::undo_object(finish());
}

std::shared_ptr<transaction_undoer> transaction::finish() {
  if (!open_) throw std::logic_error("There is no open transaction to end.");
  std::shared_ptr<transaction_undoer> undoer = db_.implementer().end_transaction();
  open_ = false;
  return undoer;
}

void transaction::rollback() {
  if (!open_) throw std::logic_error("There is no open transaction to roll back.");
  open_ = false;
  db_.implementer().rollback_transaction();
}

savepoint::savepoint(database db) : db_(std::move(db)) {
  db_.implementer().begin_savepoint();
}

savepoint::~savepoint() {
  if (!open_) return;
  try {
    rollback();
  } catch (...) {
    // As for a transaction: closing the connection rolls back what is left.
  }
}

void savepoint::rollback() {
  if (!open_) throw std::logic_error("There is no open savepoint to roll back.");
  open_ = false;
  db_.implementer().rollback_savepoint();
}

}  // namespace dbl
