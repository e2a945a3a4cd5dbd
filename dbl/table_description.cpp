#include "dbl/table_description.h"

#include <stdexcept>

namespace dbl {

namespace {

column_constraint constraint_of_relation(std::int32_t relation) {
  if (relation == relation_one_to_one) return unique;
  if (relation == relation_required) return not_null;
  return no_constraint;
}

}  // namespace

column_description::column_description() : type_(&typeid(void)), kind_(entry_kind::null) {}

column_description::column_description(std::string name, const std::type_info& type,
                                       std::uint64_t width, column_constraint constraint,
                                       std::int32_t key_state, std::int32_t index_state)
    : name_(std::move(name)),
      type_(&type),
      kind_(kind_of(type)),
      width_(width),
      constraint_(constraint),
      key_state_(key_state),
      index_state_(index_state) {}

column_description::column_description(std::string name, const std::type_info& type,
                                       std::uint64_t width, const entry_data& default_value,
                                       std::int32_t key_state, std::int32_t index_state)
    : name_(std::move(name)),
      type_(&type),
      kind_(kind_of(type)),
      width_(width),
      constraint_(not_null),
      key_state_(key_state),
      index_state_(index_state),
      default_value_(std::make_shared<const entry_data>(default_value)) {}

column_description::column_description(std::string name, const foreign_key_description& foreign_key,
                                       std::int32_t key_state, std::int32_t index_state)
    : name_(std::move(name)),
      type_(&foreign_key.column().type()),
      kind_(foreign_key.column().kind()),
      width_(foreign_key.column().width()),
      constraint_(constraint_of_relation(foreign_key.relation())),
      key_state_(key_state),
      index_state_(index_state),
      foreign_key_(std::make_shared<const foreign_key_description>(foreign_key)) {}

const entry_data& column_description::default_value() const {
  if (default_value_ == nullptr) {
    throw std::logic_error(
        "A default value for this column description cannot be returned because it does not "
        "have one.");
  }
  return *default_value_;
}

const foreign_key_description& column_description::foreign_key() const {
  if (foreign_key_ == nullptr) {
    throw std::logic_error(
        "A foreign key description for this column description cannot be returned because it "
        "does not have one");
  }
  return *foreign_key_;
}

table_description::table_description(std::string name, std::int32_t no_auto_id, std::uint32_t extra)
    : state_(std::make_shared<state>()) {
  state_->name = std::move(name);
  state_->extra = extra;
  state_->has_auto_id = no_auto_id == 0;
  if (state_->has_auto_id) {
    state_->columns.emplace_back("id", typeid(auto_id), 0, unique, in_primary_key, not_indexed);
    rebuild_positions(*state_);
  }
}

table_description::state& table_description::writable() {
  if (state_.use_count() > 1) state_ = std::make_shared<state>(*state_);
  state_->insert_texts = std::make_shared<generated_text_memo>();
  return *state_;
}

void table_description::rebuild_positions(state& s) {
  std::map<std::string, int, std::less<>> positions;
  int position = 0;
  for (const column_description& c : s.columns) {
    if (!positions.emplace(c.name(), position++).second) {
      throw std::logic_error(
          "There was an error while trying to generate the column index map.  An unexpected "
          "column was encountered.");
    }
  }
  s.positions.swap(positions);
}

void table_description::add_column(const column_description& column) {
  if (state_->positions.count(column.name()) != 0) {
    // Same refusal the rebuild gives, raised before anything changes.
    state copy = *state_;
    copy.columns.push_back(column);
    rebuild_positions(copy);
  }
  state& s = writable();
  s.columns.push_back(column);
  s.positions.emplace(column.name(), static_cast<int>(s.columns.size() - 1));
}

void table_description::add_clustered_index(const std::string& name,
                                            const std::vector<std::string>& columns) {
  for (const std::string& c : columns) {
    if (column_position(c) < 0) {
      throw std::logic_error("Cannot add " + c +
                             " to a clustered index because no such column exists on table " +
                             state_->name);
    }
  }
  writable().indexes[name] = columns;
}

column_description table_description::column(const std::string& name) const {
  const int position = column_position(name);
  if (position < 0) {
    throw std::logic_error("The column requested does not exist in this table description.");
  }
  return state_->columns[static_cast<std::size_t>(position)];
}

int table_description::column_position(std::string_view name) const {
  const auto it = state_->positions.find(name);
  return it == state_->positions.end() ? -1 : it->second;
}

}  // namespace dbl
