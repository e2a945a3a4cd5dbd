#include "catalog_util/search/query.h"

#include <stdexcept>

#include "catalog/catalog_database.h"

namespace vael_util {
namespace {

// Detaches `shared` from other copies before a write, making it when absent.
template <typename T>
T& writable(std::shared_ptr<T>& shared) {
  if (shared == nullptr) {
    shared = std::make_shared<T>();
  } else if (shared.use_count() > 1) {
    shared = std::make_shared<T>(*shared);
  }
  return *shared;
}

}  // namespace

query_t::query_t(std::string sql, vael::connection_handle handle)
    : sql_(std::make_shared<std::string>(std::move(sql))), handle_(std::move(handle)) {}

const std::string& query_t::sql() const {
  static const std::string none;
  return sql_ == nullptr ? none : *sql_;
}

std::string& query_t::sql() {
  return writable(sql_);
}

void query_t::set_sql(std::string sql) {
  sql_ = std::make_shared<std::string>(std::move(sql));
}

query_t& query_t::bind(const std::string& name, const dbl::entry_data& value) {
  writable(named_)[name] = value;
  return *this;
}

void query_t::set_positional(dbl::entry_data_vector values) {
  positional_ = std::make_shared<dbl::entry_data_vector>(std::move(values));
}

const dbl::named_parameters& query_t::named() const {
  static const dbl::named_parameters none;
  return named_ == nullptr ? none : *named_;
}

const dbl::entry_data_vector& query_t::positional() const {
  static const dbl::entry_data_vector none;
  return positional_ == nullptr ? none : *positional_;
}

dbl::query query_t::make_query() const {
  if (!has_sql()) throw std::logic_error("The search query has no SQL to run.");
  dbl::query q(vael::database_of(handle_), *sql_);
  q.add_column("ignored", typeid(int));
  for (const dbl::entry_data& value : positional()) q.bind(value);
  for (const auto& [name, value] : named()) q.bind(name, value);
  return q;
}

std::vector<int> query_t::select_ids() const {
  return make_query().select_ints();
}

}  // namespace vael_util
