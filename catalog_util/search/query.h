#pragma once

#include <memory>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "dbl/entry_data.h"
#include "dbl/query.h"

namespace vael_util {

// A compiled search: SQL that selects one integer column of media ids, named "ignored", with
// its parameters. A query_t without SQL narrows nothing. Copies share the text and the
// parameters until one of them writes.
class query_t {
 public:
  // No SQL and no connection: the search narrows nothing.
  query_t() = default;
  explicit query_t(vael::connection_handle handle) : handle_(std::move(handle)) {}
  query_t(std::string sql, vael::connection_handle handle);

  bool has_sql() const { return sql_ != nullptr && !sql_->empty(); }
  // The text; the non-const form detaches it from other copies first.
  const std::string& sql() const;
  std::string& sql();
  void set_sql(std::string sql);

  // Sets the parameter `name` (with its colon, ":tag_id0"); binding a name again replaces
  // its value.
  query_t& bind(const std::string& name, const dbl::entry_data& value);
  // The values of the "?" markers, in order.
  void set_positional(dbl::entry_data_vector values);
  const dbl::named_parameters& named() const;
  const dbl::entry_data_vector& positional() const;
  const vael::connection_handle& handle() const { return handle_; }

  // The query ready to run, its one result column declared.
  // Throws std::logic_error when there is no SQL, connection_error without a connection.
  dbl::query make_query() const;
  // Runs make_query() and gives the ids in result order.
  std::vector<int> select_ids() const;

 private:
  std::shared_ptr<std::string> sql_;
  std::shared_ptr<dbl::named_parameters> named_;
  std::shared_ptr<dbl::entry_data_vector> positional_;
  vael::connection_handle handle_;
};

}  // namespace vael_util
