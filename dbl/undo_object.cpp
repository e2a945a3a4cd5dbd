#include "dbl/undo_object.h"

#include <stdexcept>

namespace jtb {

undo_object::undo_object(std::shared_ptr<undo_implementer> implementer)
    : implementer_(std::move(implementer)) {
  if (implementer_ == nullptr) {
    throw std::logic_error("Cannot create an undo_object with a null implementer.");
  }
}

}  // namespace jtb
