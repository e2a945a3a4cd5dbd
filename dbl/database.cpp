#include "dbl/database.h"

#include "dbl/exceptions.h"

namespace dbl {

database::database(std::unique_ptr<database_implementer> implementer)
    : slot_(std::make_shared<slot>()) {
  slot_->implementer = std::move(implementer);
}

void database::close() {
  if (slot_ != nullptr) slot_->implementer.reset();
}

database_implementer& database::implementer() const {
  if (!is_open()) throw database_connection_error();
  return *slot_->implementer;
}

void database::create_table(const table_description& table) {
  implementer().create_table(table);
}

void database::create_temporary_table(const table_description& table) {
  implementer().create_temporary_table(table);
}

void database::register_table(const table_description& table) {
  implementer().register_table(table);
}

void database::drop_table(const std::string& name) {
  implementer().drop_table(name);
}

bool database::table_exists(const std::string& name) {
  return implementer().table_exists(name);
}

const table_description& database::get_table(std::string_view name) const {
  return implementer().get_table(name);
}

std::string database::unique_table_name(const std::string& base) {
  return implementer().unique_table_name(base);
}

void database::set_busy_callback(std::function<bool(int)> callback) {
  implementer().set_busy_callback(std::move(callback));
}

std::function<bool(int)> database::busy_callback() const {
  return implementer().busy_callback();
}

void database::push_cancel_callback(jtb::cancel_callback callback) {
  implementer().push_cancel_callback(std::move(callback));
}

void database::pop_cancel_callback() {
  implementer().pop_cancel_callback();
}

bool database::has_cancel_callback() const {
  return implementer().has_cancel_callback();
}

jtb::cancel_callback database::current_cancel_callback() const {
  return implementer().current_cancel_callback();
}

bool database::in_transaction() const {
  return implementer().in_transaction();
}

save_policy_t database::save_policy() const {
  return implementer().save_policy();
}

}  // namespace dbl
