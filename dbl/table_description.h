#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "dbl/entry_data.h"

namespace dbl {

enum column_constraint : std::int32_t {
  no_constraint = 0,
  not_null = 1,
  unique = 2,
};

// key_state and index_state read inverted: 0 means yes.
constexpr std::int32_t in_primary_key = 0;
constexpr std::int32_t not_in_primary_key = 1;
constexpr std::int32_t indexed = 0;
constexpr std::int32_t not_indexed = 1;

// Relation values of a foreign key; one_to_one makes the column UNIQUE, required NOT NULL.
constexpr std::int32_t relation_none = 0;
constexpr std::int32_t relation_one_to_one = 1;
constexpr std::int32_t relation_required = 2;

class foreign_key_description;

// One column of a described table: its kind (an entry_data kind such as typeid(int),
// typeid(std::string) or typeid(dbl::auto_id)), width, rule, key and index membership, and an
// optional default value and foreign key. A cheap value: the optional parts are shared.
class column_description {
 public:
  // Empty name, kind void, no rule, neither key nor index.
  column_description();
  column_description(std::string name, const std::type_info& type, std::uint64_t width,
                     column_constraint constraint, std::int32_t key_state,
                     std::int32_t index_state);
  // A column with a default value is always NOT NULL.
  column_description(std::string name, const std::type_info& type, std::uint64_t width,
                     const entry_data& default_value, std::int32_t key_state,
                     std::int32_t index_state);
  // Takes kind and width from the referenced column; the rule comes from the relation.
  column_description(std::string name, const foreign_key_description& foreign_key,
                     std::int32_t key_state, std::int32_t index_state);

  const std::string& name() const { return name_; }
  const std::type_info& type() const { return *type_; }
  // The entry_data kind of type(), worked out once.
  entry_kind kind() const { return kind_; }
  std::uint64_t width() const { return width_; }
  column_constraint constraint() const { return constraint_; }
  std::int32_t key_state() const { return key_state_; }
  std::int32_t index_state() const { return index_state_; }
  bool is_key() const { return key_state_ == in_primary_key; }
  bool is_indexed() const { return index_state_ == indexed; }
  bool skip_change_check() const { return skip_change_check_; }
  void set_skip_change_check(bool skip) { skip_change_check_ = skip; }

  bool has_default_value() const { return default_value_ != nullptr; }
  // Throws std::logic_error when the column has none.
  const entry_data& default_value() const;
  bool has_foreign_key() const { return foreign_key_ != nullptr; }
  // Throws std::logic_error when the column has none.
  const foreign_key_description& foreign_key() const;

 private:
  std::string name_;
  const std::type_info* type_;
  entry_kind kind_;
  std::uint64_t width_ = 0;
  column_constraint constraint_ = no_constraint;
  std::int32_t key_state_ = not_in_primary_key;
  std::int32_t index_state_ = not_indexed;
  bool skip_change_check_ = false;
  std::shared_ptr<const entry_data> default_value_;
  std::shared_ptr<const foreign_key_description> foreign_key_;
};

// A column of another table that a column refers to.
class foreign_key_description {
 public:
  foreign_key_description(std::string table, column_description column, std::int32_t relation)
      : table_(std::move(table)), column_(std::move(column)), relation_(relation) {}

  const std::string& table() const { return table_; }
  const column_description& column() const { return column_; }
  std::int32_t relation() const { return relation_; }

 private:
  std::string table_;
  column_description column_;
  std::int32_t relation_;
};

// SQL texts generated from one table description, each filed under a key that says which
// variant it is (for an INSERT, which cells go in as NULL). A job that writes many rows of
// one table then builds each text once. Thread-safe; texts are never dropped.
class generated_text_memo {
 public:
  template <typename Make>
  std::shared_ptr<const std::string> get(std::uint64_t key, Make make) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [k, text] : texts_) {
      if (k == key) return text;
    }
    texts_.emplace_back(key, std::make_shared<const std::string>(make()));
    return texts_.back().second;
  }

 private:
  std::mutex mutex_;
  std::vector<std::pair<std::uint64_t, std::shared_ptr<const std::string>>> texts_;
};

// Everything the layer knows of a table: name, columns in creation order, whether it has the
// implicit `id` column, and its named multi-column indexes. Copies share their state until
// one of them changes.
class table_description {
 public:
  using index_map = std::map<std::string, std::vector<std::string>>;

  // With no_auto_id == 0 the first column is `id` of kind auto_id, UNIQUE, in the primary key.
  // `extra` is kept and otherwise unused.
  explicit table_description(std::string name, std::int32_t no_auto_id = 0,
                             std::uint32_t extra = 0);

  const std::string& name() const { return state_->name; }
  bool has_auto_id() const { return state_->has_auto_id; }
  std::uint32_t extra() const { return state_->extra; }
  const std::vector<column_description>& columns() const { return state_->columns; }
  // The same columns, kept alive by the returned pointer.
  std::shared_ptr<const std::vector<column_description>> shared_columns() const {
    return {state_, &state_->columns};
  }
  std::size_t column_count() const { return state_->columns.size(); }
  const index_map& indexes() const { return state_->indexes; }
  // Texts generated from the columns as they stand; a change of columns starts a new memo.
  generated_text_memo& insert_texts() const { return *state_->insert_texts; }

  // Throws std::logic_error when a column of that name exists already.
  void add_column(const column_description& column);
  // Records (or replaces) a named index. Throws std::logic_error naming the first column
  // that the table lacks.
  void add_clustered_index(const std::string& name, const std::vector<std::string>& columns);

  // Throws std::logic_error for an unknown name.
  column_description column(const std::string& name) const;
  // -1 for an unknown name.
  int column_position(std::string_view name) const;

 private:
  struct state {
    std::string name;
    bool has_auto_id = false;
    std::uint32_t extra = 0;
    std::vector<column_description> columns;
    index_map indexes;
    std::map<std::string, int, std::less<>> positions;
    std::shared_ptr<generated_text_memo> insert_texts = std::make_shared<generated_text_memo>();
  };

  state& writable();
  static void rebuild_positions(state& s);

  std::shared_ptr<state> state_;
};

}  // namespace dbl
