#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "dbl/database_implementer.h"
#include "dbl/progress.h"
#include "dbl/table_description.h"

namespace dbl {

// The handle the rest of the system passes around: copies share one slot holding the back
// end. close() empties the slot for every copy, and each call on an empty slot throws
// database_connection_error instead of touching a closed connection.
class database {
 public:
  // A handle that was never open.
  database() = default;
  explicit database(std::unique_ptr<database_implementer> implementer);

  // Rolls back an open transaction and closes the connection for every copy.
  void close();
  bool is_open() const { return slot_ != nullptr && slot_->implementer != nullptr; }
  // Throws database_connection_error when closed.
  database_implementer& implementer() const;

  // Creates the table and its indexes from the description and registers it.
  void create_table(const table_description& table);
  void create_temporary_table(const table_description& table);
  // Registers the description of a table that exists in the file already.
  void register_table(const table_description& table);
  void drop_table(const std::string& name);
  bool table_exists(const std::string& name);
  // Throws std::logic_error for a table that is not registered.
  const table_description& get_table(std::string_view name) const;
  // `base` followed by a number new on this connection.
  std::string unique_table_name(const std::string& base);

  // Called with the retry count while another connection holds a lock; true waits again.
  // While it runs, every statement on this connection throws database_busy_error.
  void set_busy_callback(std::function<bool(int)> callback);
  // Throws std::logic_error when none was set.
  std::function<bool(int)> busy_callback() const;

  // The newest pushed callback is asked every 100 SQLite steps; anything but
  // progress_continue interrupts the statement with cancel_error.
  void push_cancel_callback(jtb::cancel_callback callback);
  void pop_cancel_callback();
  bool has_cancel_callback() const;
  // Throws std::logic_error when none is set.
  jtb::cancel_callback current_cancel_callback() const;

  bool in_transaction() const;
  // Throws std::logic_error outside a transaction.
  save_policy_t save_policy() const;

  friend bool operator==(const database& a, const database& b) { return a.slot_ == b.slot_; }
  friend bool operator!=(const database& a, const database& b) { return a.slot_ != b.slot_; }

 private:
  struct slot {
    std::unique_ptr<database_implementer> implementer;
  };
  std::shared_ptr<slot> slot_;
};

}  // namespace dbl
