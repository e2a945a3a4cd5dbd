#pragma once

#include <functional>
#include <memory>

#include "dbl/entry_data.h"
#include "dbl/table_description.h"
#include "dbl/undo_object.h"

namespace dbl {

class database;

// Records the writes of one transaction so that they can be undone and redone. The SQL
// generation calls the three add_ methods after each write has succeeded; an implementation
// keeps the rows in temporary undo tables on the same connection.
class transaction_undoer : public jtb::undo_implementer {
 public:
  // `row` holds the values as inserted, the new id included.
  virtual void add_insert(const table_description& table, const entry_data_vector& row) = 0;
  // `original` holds the row as it was before the write.
  virtual void add_update(const table_description& table, const entry_data_vector& updated,
                          const entry_data_vector& original) = 0;
  virtual void add_delete(const table_description& table, const entry_data_vector& row) = 0;
};

// Makes the undoer of a transaction that records undo, on the connection given.
using transaction_undoer_factory = std::function<std::shared_ptr<transaction_undoer>(database)>;

}  // namespace dbl
