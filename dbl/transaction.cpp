#include "dbl/transaction.h"

#include <stdexcept>

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
  if (!open_) throw std::logic_error("There is no open transaction to end.");
  db_.implementer().end_transaction();
  open_ = false;
}

jtb::undo_object transaction::end_with_undo() {
  end();
  return jtb::undo_object(db_.implementer().release_undoer());
}

void transaction::rollback() {
  if (!open_) throw std::logic_error("There is no open transaction to roll back.");
  open_ = false;
  db_.implementer().rollback_transaction();
}

}  // namespace dbl
