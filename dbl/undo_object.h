#pragma once

#include <memory>

namespace jtb {

// Something that can take back, and then replay, a finished unit of work.
class undo_implementer {
 public:
  virtual ~undo_implementer() = default;
  virtual void undo() = 0;
  virtual void redo() = 0;
  // Kept for the undo stack's use; every implementer here answers true.
  virtual bool is_undoable() const { return true; }
};

// One entry of an undo stack: owns the implementer that a finished transaction produced.
class undo_object {
 public:
  // Throws std::logic_error when `implementer` is null.
  explicit undo_object(std::shared_ptr<undo_implementer> implementer);

  void undo() { implementer_->undo(); }
  void redo() { implementer_->redo(); }
  bool is_undoable() const { return implementer_->is_undoable(); }
  const std::shared_ptr<undo_implementer>& implementer() const { return implementer_; }

 private:
  std::shared_ptr<undo_implementer> implementer_;
};

}  // namespace jtb
