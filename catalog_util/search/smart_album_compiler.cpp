// The frame of a smart album's statement, the clock of relative dates, and the entry point.

#include <algorithm>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cctype>

#include "catalog/metadata_view.h"
#include "catalog_util/search/smart_album_search.h"
#include "catalog_util/search/smart_album_statement.h"

namespace vael_util {
namespace {

namespace pt = boost::posix_time;

std::function<pt::ptime()>& search_clock() {
  static std::function<pt::ptime()> clock;
  return clock;
}

bool is_table_name(const std::string& table) {
  return !table.empty() && std::all_of(table.begin(), table.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.';
  });
}

// "T.id" names the id table's column only when T is a name; a subquery such as
// "(SELECT id FROM media_table)" is joined under the alias `id_table` instead.
std::string frame(const std::string& table) {
  std::string sql = " SELECT DISTINCT(media_table.id) FROM media_table\n";
  if (is_table_name(table)) {
    sql += "INNER JOIN " + table + " ON media_table.id = " + table + ".id\n";
  } else {
    sql += "INNER JOIN " + table + " AS id_table ON media_table.id = id_table.id\n";
  }
  return sql + " WHERE ";
}

}  // namespace

void set_search_clock(std::function<pt::ptime()> now) {
  search_clock() = std::move(now);
}

pt::ptime search_now() {
  const auto& clock = search_clock();
  return clock ? clock() : pt::second_clock::local_time();
}

smart_album_statement::smart_album_statement(const vael::connection_handle& handle,
                                             const advanced_metadata_search& s,
                                             const std::string& table)
    : search_(s), query_(handle), main_(frame(table)) {}

std::string& smart_album_statement::main_clause() {
  if (have_previous_) main_ += match_all() ? "\tAND" : "\tOR";
  have_previous_ = true;
  made_main_ = true;
  return main_;
}

std::string& smart_album_statement::tail_clause() {
  if (made_tail_) tail_ += match_all() ? " AND " : " OR ";
  made_tail_ = true;
  return tail_;
}

int smart_album_statement::description_id(const char* identifier) const {
  return vael::metadata_view_t(query_.handle()).get_description(identifier).get_id();
}

query_t smart_album_statement::finish() {
  // Without any clause the statement would end in " WHERE ", which does not run: rules that
  // add nothing narrow nothing.
  if (!made_main_ && !made_tail_) return query_t();
  // Only a clause of the tail needs the joiner: whitespace alone there would leave it
  // dangling.
  if (made_tail_ && have_previous_) main_ += match_all() ? "\tAND" : "\tOR";
  main_ += tail_;
  query_.set_sql(std::move(main_));
  return query_;
}

query_t search_build_query(const vael::connection_handle& handle, const advanced_metadata_search& s,
                           const std::string& table) {
  smart_album_statement statement(handle, s, table);
  for (std::size_t i = 0; i < s.rules.size(); ++i) emit_rule(statement, i);
  return statement.finish();
}

}  // namespace vael_util
