#pragma once

#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "dbl/database.h"
#include "dbl/entry_data.h"
#include "dbl/table_description.h"

namespace dbl {

// Walks the rows of a running query. Copies share the one result; advancing one advances
// all. REQUIRES: the database stays open while an iterator that is not at the end lives.
class query_iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = entry_data_vector;
  using difference_type = std::ptrdiff_t;
  using pointer = const entry_data_vector*;
  using reference = const entry_data_vector&;

  // The end.
  query_iterator() = default;
  explicit query_iterator(std::shared_ptr<sql_result_t> result);

  reference operator*() const { return result_->current_row(); }
  pointer operator->() const { return &result_->current_row(); }
  query_iterator& operator++();
  // Position of a result column by name. Throws std::logic_error for an unknown one.
  int column_index(const std::string& name) const { return result_->column_index(name); }

  // Iterators are equal when both are at the end or share one result.
  friend bool operator==(const query_iterator& a, const query_iterator& b) {
    return a.at_end() == b.at_end() && (a.at_end() || a.result_ == b.result_);
  }
  friend bool operator!=(const query_iterator& a, const query_iterator& b) { return !(a == b); }

 private:
  bool at_end() const { return result_ == nullptr || result_->at_end(); }
  std::shared_ptr<sql_result_t> result_;
};

// The unchanging half of a query that a job runs many times: its text and result columns,
// made once and shared by every query built from it.
struct query_shape {
  query_shape(std::string sql, std::vector<column_description> columns);
  std::shared_ptr<const std::string> sql;
  column_list columns;
};

// A statement with its parameters and the kinds of its result columns. Every value from
// outside goes in through bind(); the text is never built from values. Result cells come
// back as the declared kinds (see sqlite_implementer for the storage rules).
class query {
 public:
  // `large_cache` keeps the compiled statement among the 5000 long-lived ones rather than
  // the 20 ordinary ones; use it for texts that a job repeats many times.
  query(database db, std::string sql, bool large_cache = false);
  query(database db, const query_shape& shape, bool large_cache = false);

  // Appends a positional parameter (?1, ?2, ... in order).
  query& bind(const entry_data& value);
  // Sets a named parameter; `name` includes its colon, as in ":media_id".
  query& bind(const std::string& name, const entry_data& value);
  void clear_bindings();

  // Declares the next result column.
  query& add_column(const std::string& name, const std::type_info& kind, std::uint64_t width = 0);
  // Declares the columns of `table`, for "SELECT * FROM" the table.
  query& set_columns(const table_description& table);
  query& set_columns(std::vector<column_description> columns);

  // Runs the statement to its end; returns the count of rows it changed.
  std::int64_t execute();
  // Throws std::logic_error "There were no results for the query:\n" + sql when empty.
  entry_data_vector first_row();
  query_iterator begin();
  query_iterator end() const { return query_iterator(); }
  // Runs the statement once for each value, bound to parameter 1.
  void execute_for_ints(const std::vector<int>& ints);
  // The first column of every row, as int.
  std::vector<int> select_ints();

  const std::string& sql() const { return *sql_; }
  const database& db() const { return db_; }

 private:
  sql_request request() const;

  database db_;
  std::shared_ptr<const std::string> sql_;
  entry_data_vector params_;
  named_parameters named_;
  column_list columns_;
  bool large_cache_;
};

}  // namespace dbl
