#pragma once

#include <cstddef>
#include <string>

#include "catalog/connection_handle.h"
#include "catalog_util/search/query.h"
#include "catalog_util/search/smart_album_search.h"

namespace vael_util {

// The statement of one smart album while its rules are compiled: `main` holds the clauses
// joined by "\tAND" / "\tOR", `tail` those joined by " AND " / " OR ", put behind them at the
// end.
class smart_album_statement {
 public:
  smart_album_statement(const vael::connection_handle& handle, const advanced_metadata_search& s,
                        const std::string& table);

  const advanced_metadata_search& search() const { return search_; }
  const vael::connection_handle& handle() const { return query_.handle(); }
  bool match_all() const { return search_.match_all_rules; }

  // `main` behind the joiner its next clause needs; the clause counts as made.
  std::string& main_clause();
  // `main` as it stands, for text that brings its own joining.
  std::string& main() { return main_; }
  // Makes the next main clause go without a joiner, as after a text ending in "AND".
  void join_next_without_joiner() { have_previous_ = false; }
  // `tail` behind the separator its next clause needs; the clause counts as made.
  std::string& tail_clause();
  // `tail` as it stands, for text that is no clause.
  std::string& tail() { return tail_; }

  // 0 for the first "not rated" rating rule, then 1, 2...
  int take_unrated_index() { return unrated_++; }

  query_t& query() { return query_; }
  // The id of the description `identifier`. Throws std::logic_error when there is none.
  int description_id(const char* identifier) const;

  // The statement; no SQL when no rule made a clause.
  query_t finish();

 private:
  const advanced_metadata_search& search_;
  query_t query_;
  std::string main_, tail_;
  bool have_previous_ = false;
  bool made_main_ = false;
  bool made_tail_ = false;
  int unrated_ = 0;
};

// Appends the clause of rule `index` of the search to the statement.
void emit_rule(smart_album_statement& statement, std::size_t index);

}  // namespace vael_util
