#include "dbl/query.h"

#include <stdexcept>

namespace dbl {

query_iterator::query_iterator(std::shared_ptr<sql_result_t> result) : result_(std::move(result)) {}

query_iterator& query_iterator::operator++() {
  result_->advance();
  return *this;
}

query::query(database db, std::string sql, bool large_cache)
    : db_(std::move(db)),
      sql_(std::make_shared<const std::string>(std::move(sql))),
      large_cache_(large_cache) {}

query_shape::query_shape(std::string text, std::vector<column_description> result_columns)
    : sql(std::make_shared<const std::string>(std::move(text))),
      columns(std::make_shared<const std::vector<column_description>>(std::move(result_columns))) {}

query::query(database db, const query_shape& shape, bool large_cache)
    : db_(std::move(db)), sql_(shape.sql), columns_(shape.columns), large_cache_(large_cache) {}

query& query::bind(const entry_data& value) {
  params_.push_back(value);
  return *this;
}

query& query::bind(const std::string& name, const entry_data& value) {
  named_.insert_or_assign(name, value);
  return *this;
}

void query::clear_bindings() {
  params_.clear();
  named_.clear();
}

query& query::add_column(const std::string& name, const std::type_info& kind, std::uint64_t width) {
  std::vector<column_description> columns;
  if (columns_ != nullptr) columns = *columns_;
  columns.emplace_back(name, kind, width, no_constraint, not_in_primary_key, not_indexed);
  columns_ = std::make_shared<const std::vector<column_description>>(std::move(columns));
  return *this;
}

query& query::set_columns(const table_description& table) {
  columns_ = table.shared_columns();
  return *this;
}

query& query::set_columns(std::vector<column_description> columns) {
  columns_ = std::make_shared<const std::vector<column_description>>(std::move(columns));
  return *this;
}

sql_request query::request() const {
  sql_request r;
  r.sql = *sql_;
  r.params = params_.empty() ? nullptr : &params_;
  r.named = named_.empty() ? nullptr : &named_;
  r.columns = columns_;
  r.large_cache = large_cache_;
  return r;
}

std::int64_t query::execute() {
  return db_.implementer().execute(request());
}

entry_data_vector query::first_row() {
  const auto result = db_.implementer().execute_query(request());
  if (result->at_end()) throw std::logic_error("There were no results for the query:\n" + *sql_);
  return result->current_row();
}

query_iterator query::begin() {
  return query_iterator(std::shared_ptr<sql_result_t>(db_.implementer().execute_query(request())));
}

void query::execute_for_ints(const std::vector<int>& ints) {
  db_.implementer().execute_for_ints(request(), ints);
}

std::vector<int> query::select_ints() {
  static const column_list one_int = std::make_shared<const std::vector<column_description>>(
      1, column_description("ignored", typeid(int), 0, no_constraint, not_in_primary_key,
                            not_indexed));
  std::vector<int> out;
  sql_request r = request();
  if (r.columns == nullptr) r.columns = one_int;
  db_.implementer().select_ints(r, out);
  return out;
}

}  // namespace dbl
