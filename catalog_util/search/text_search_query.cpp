// Statements of the text searches. Parameter names carry the index of their entry, so one
// statement can hold the same clause for many terms.

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/metadata_view.h"
#include "catalog/search_index.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/search/text_searches.h"
#include "catalog_util/well_known_tags.h"

namespace vael_util {
namespace {

const char escape_clause[] = " ESCAPE '/'";

// How a text becomes a "%text%" pattern. A term that is exactly "_", "%" or "-" is escaped
// as it stands; a file or metadata text holding "_" or "%" (or that is "-") escapes them.
enum class escaping { term, text, folder };

struct like_pattern {
  std::string pattern;
  bool escaped = false;
};

// `text` with "/" before each "_", "%" and "/".
std::string escape_wildcards(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '_' || c == '%' || c == '/') out += '/';
    out += c;
  }
  return out;
}

bool has_wildcard(const std::string& text) {
  return text.find_first_of("_%") != std::string::npos;
}

like_pattern contains(const std::string& text, escaping how) {
  if (how == escaping::term && (text == "_" || text == "%" || text == "-")) {
    return {"%/" + text + "%", true};
  }
  // Inside a longer text "_" and "%" are escaped too: a wildcard there would find "axb" for
  // "a_b", and "1000" for "100%". Once escaping is on, "/" must be escaped as well, or
  // "a/b_c" would find "ab_c".
  if (!has_wildcard(text) && !(how == escaping::text && text == "-")) {
    return {"%" + text + "%", false};
  }
  return {"%" + escape_wildcards(text) + "%", true};
}

// The tag tests of the lookup by name, with their values.
struct tag_kinds {
  const char* test;
  std::vector<std::pair<const char*, std::string>> values;
};

const tag_kinds& kinds_of_term(std::int32_t kind) {
  static const tag_kinds tags{
      " tag_table.type_name LIKE :tag OR tag_table.type_name LIKE :collection OR "
      "tag_table.type_name LIKE :smarttag OR tag_table.type_name LIKE :custom) AND ",
      {{":tag", "user_misc%"},
       {":collection", "collection%"},
       {":smarttag", type_name::content_analysis_group},
       {":custom", type_name::user_custom}}};
  static const tag_kinds people{" tag_table.type_name LIKE :tag) AND ",
                                {{":tag", type_name::user_person}}};
  static const tag_kinds places{" tag_table.type_name LIKE :tag ) AND ",
                                {{":tag", type_name::user_place}}};
  static const tag_kinds events{" tag_table.type_name LIKE :tag ) AND ",
                                {{":tag", type_name::user_event}}};
  static const tag_kinds any_user{
      " tag_table.type_name LIKE :tag OR tag_table.type_name LIKE :collection OR "
      "tag_table.type_name LIKE :smarttag) AND ",
      {{":tag", "user%"},
       {":collection", "collection%"},
       {":smarttag", type_name::content_analysis_group}}};
  switch (kind) {
    case 1:
      return people;
    case 2:
      return places;
    case 3:
      return events;
    case 7:
      return any_user;
    default:
      return tags;
  }
}

// The tags of the kind whose names contain `name`, with their descendants. The ids are
// sorted before expanding, so the statement does not hang on the order rows come back in.
std::vector<int> find_tags(const vael::connection_handle& handle, std::int32_t kind,
                           const std::string& name, const std::string& k) {
  const tag_kinds& kinds = kinds_of_term(kind);
  const like_pattern like = contains(name, escaping::term);
  std::string sql = "SELECT tag_table.id FROM tag_table WHERE ((";
  sql += kinds.test;
  sql += " tag_table.name LIKE ";
  sql += ":tagname_" + k;
  if (like.escaped) sql += escape_clause;
  sql += ")\n";
  query_t lookup(std::move(sql), handle);
  for (const auto& [param, value] : kinds.values) lookup.bind(param, value);
  lookup.bind(":tagname_" + k, like.pattern);
  std::vector<int> ids = lookup.select_ids();
  std::sort(ids.begin(), ids.end());
  return ids.empty() ? ids : expand_tag_descendants(handle, ids);
}

// ":tag_id" + counter + "_" + entry index: without the "_", the counter 11 of entry 2 and
// the counter 1 of entry 12 would both be ":tag_id112", and one bind would replace the other.
void append_tag_ids(std::string& sql, query_t& q, const std::vector<int>& ids,
                    const std::string& k) {
  std::int64_t j = ids.empty() ? 0 : ids.front();
  for (std::size_t i = 0; i < ids.size(); ++i, ++j) {
    if (i > 0) sql += " , ";
    const std::string name = ":tag_id" + std::to_string(j) + "_" + k;
    sql += name;
    q.bind(name, ids[i]);
  }
}

int description_id(const vael::connection_handle& handle, const char* identifier) {
  return vael::metadata_view_t(handle).get_description(identifier).get_id();
}

struct metadata_field {
  const char* stem;
  const char* identifier;
};

const metadata_field fields[] = {
    {":captionname_", metadata_identifier::image_description},
    {":makename_", metadata_identifier::make},
    {":modelname_", metadata_identifier::model},
    {":authorname_", metadata_identifier::creator},
    {":notesname_", metadata_identifier::album_notes},
    {":foldername_", metadata_identifier::folder_name},
};

void append_like(std::string& sql, query_t& q, const std::string& param, const like_pattern& like) {
  sql += param;
  if (like.escaped) sql += escape_clause;
  q.bind(param, like.pattern);
}

void append_date_range(std::string& sql, query_t& q, const boost::posix_time::ptime& begin,
                       const boost::posix_time::ptime& end, const std::string& k) {
  sql += "media_table.search_date_begin >= ";
  sql += ":start_date_value_" + k;
  sql += " AND media_table.search_date_begin < ";
  sql += ":end_date_value_" + k;
  sql += " AND media_table.search_date_end <= ";
  sql += ":end_date_value_" + k;
  sql += ")";
  q.bind(":start_date_value_" + k, begin).bind(":end_date_value_" + k, end);
}

void append_all(std::string& sql, query_t& q, const vael::connection_handle& handle,
                const all_criteria& term, const std::string& k) {
  sql += " ( SELECT media_table.id FROM media_table\n\tWHERE ";
  if (term.has_date) {
    sql += " (";
    append_date_range(sql, q, term.begin, term.end, k);
    sql += " ) \n";
    return;
  }
  const std::vector<int> ids = find_tags(handle, 7, term.tag_text, k);
  if (!ids.empty()) {
    sql += " media_table.id IN (SELECT media_id FROM tag_to_media_table WHERE tag_id IN (";
    append_tag_ids(sql, q, ids, k);
    sql += "))\n OR ";
  }
  sql += "  media_table.id in (SELECT media_table.id from media_table WHERE (";
  sql += "filename_search_index LIKE ";
  append_like(sql, q, ":filename_" + k,
              contains(vael::to_search_index(term.file_text), escaping::text));
  sql += "))\n OR ";
  sql +=
      "  media_table.id in (SELECT DISTINCT m2md.media_id FROM media_to_metadata_table as m2md "
      "INNER JOIN metadata_string_table as md ON md.id = m2md.metadata_id AND md.description_id  "
      "IN (:caption, :make, :model, :author, :notes, :folder_name) AND (md.value LIKE ";
  append_like(sql, q, ":captionname_" + k, contains(term.metadata_text, escaping::text));
  sql += "))\n";
  const char* names[] = {":caption", ":make", ":model", ":author", ":notes", ":folder_name"};
  for (std::size_t i = 0; i < 6; ++i)
    q.bind(names[i], description_id(handle, fields[i].identifier));
  sql += " ) \n";
}

const std::string& name_of(const text_search_criteria& term) {
  switch (term.kind) {
    case 0:
      return boost::any_cast<const tag_criteria&>(term.value).name;
    case 1:
      return boost::any_cast<const people_criteria&>(term.value).name;
    case 2:
      return boost::any_cast<const places_criteria&>(term.value).name;
    case 3:
      return boost::any_cast<const events_criteria&>(term.value).name;
    default:
      return boost::any_cast<const file_criteria&>(term.value).name;
  }
}

void append_term(std::string& sql, query_t& q, const vael::connection_handle& handle,
                 const text_search_criteria& term, const std::string& k) {
  switch (term.kind) {
    case 0:
    case 1:
    case 2:
    case 3:
      // A name that matches no tag gives an empty list, which matches no media: the list
      // left out would make the statement unreadable.
      sql += " (SELECT media_id FROM tag_to_media_table WHERE tag_id IN (";
      append_tag_ids(sql, q, find_tags(handle, term.kind, name_of(term), k), k);
      sql += "))\n";
      return;
    case 4:
      sql += " (SELECT media_table.id from media_table WHERE (filename_search_index LIKE ";
      append_like(sql, q, ":filename_" + k,
                  contains(vael::to_search_index(name_of(term)), escaping::term));
      sql += "))\n";
      return;
    case 5: {
      const auto& m = boost::any_cast<const metadata_criteria&>(term.value);
      // Such a search cannot run; said here rather than by SQLite, of a statement half made.
      if (m.field < 0 || m.field > 5) {
        throw std::runtime_error("A text search term names metadata field " +
                                 std::to_string(m.field) + ", which is unknown.");
      }
      sql +=
          " (SELECT DISTINCT m2md.media_id FROM media_to_metadata_table as m2md INNER JOIN "
          "metadata_string_table as md ON md.id = m2md.metadata_id AND md.description_id = ";
      const metadata_field& field = fields[static_cast<std::size_t>(m.field)];
      sql += ":metadata_desc_id" + k;
      q.bind(":metadata_desc_id" + k, description_id(handle, field.identifier));
      sql += " AND (md.value LIKE ";
      append_like(sql, q, field.stem + k,
                  contains(m.value, m.field == metadata_criteria::folder ? escaping::folder
                                                                         : escaping::term));
      sql += "))\n";
      return;
    }
    case 6: {
      const auto& d = boost::any_cast<const date_criteria&>(term.value);
      sql += " ( SELECT media_table.id FROM media_table\n\tWHERE  ";
      append_date_range(sql, q, d.begin, d.end, k);
      return;
    }
    case 7:
      append_all(sql, q, handle, boost::any_cast<const all_criteria&>(term.value), k);
      return;
    default:
      return;
  }
}

template <typename T>
const T* held(const std::pair<boost::any, std::int32_t>& entry, std::int32_t kind) {
  return entry.second == kind ? boost::any_cast<T>(&entry.first) : nullptr;
}

void append_match(std::string& sql, query_t& q, const std::string& param, std::string pattern,
                  bool escaped) {
  sql += "md.value LIKE " + param;
  if (escaped) sql += escape_clause;
  q.bind(param, std::move(pattern));
}

}  // namespace

query_t search_build_query(const vael::connection_handle& handle, const smart_text_search& s,
                           const std::string& table) {
  auto entries = s.entries;
  while (!entries.empty() && entries.back().second == smart_text_search::operator_entry) {
    entries.pop_back();
  }
  if (entries.empty()) {
    return query_t("select media_table.id from media_table where 0 > 1", handle);
  }
  query_t q(handle);
  std::string sql = "SELECT DISTINCT media_table.id FROM media_table\n";
  sql += "INNER JOIN " + table + " as id_table ON id_table.id = media_table.id\n";
  sql += "\tWHERE ";
  for (const auto& entry : entries) {
    if (held<text_search_criteria>(entry, smart_text_search::term_entry) != nullptr) sql += "(";
  }
  // The joiner goes in only between terms, so that no sequence of entries leaves the
  // statement without one or with two.
  bool negate = false;
  const char* joiner = nullptr;
  for (std::size_t k = 0; k < entries.size(); ++k) {
    if (const auto* o = held<operator_criteria>(entries[k], smart_text_search::operator_entry)) {
      if (o->op == operator_criteria::and_op) {
        if (joiner != nullptr) joiner = " AND ";
        negate = false;
      } else if (o->op == operator_criteria::or_op) {
        if (joiner != nullptr) joiner = " OR ";
        negate = false;
      } else if (o->op == operator_criteria::not_op) {
        negate = true;
      }
    } else if (const auto* t =
                   held<text_search_criteria>(entries[k], smart_text_search::term_entry)) {
      if (joiner != nullptr) sql += joiner;
      joiner = " AND ";
      sql += negate ? " media_table.id NOT in " : " media_table.id in ";
      append_term(sql, q, handle, *t, std::to_string(k));
      sql += ")";
    }
  }
  q.set_sql(std::move(sql));
  return q;
}

query_t search_build_query(const vael::connection_handle& handle,
                           const simple_metadata_string_search& s, const std::string& table) {
  query_t q(handle);
  std::string sql = "SELECT DISTINCT id_table.id FROM " + table + " as id_table\n";
  sql +=
      "INNER JOIN media_to_metadata_table as m2md, metadata_string_table as md ON id_table.id = "
      "m2md.media_id AND md.id = m2md.metadata_id AND md.description_id IN (";
  for (std::size_t i = 0; i < s.description_ids.size(); ++i) {
    if (i > 0) sql += ", ";
    const std::string name = ":md_desc_id" + std::to_string(i + 1);
    sql += name;
    q.bind(name, s.description_ids[i]);
  }
  sql += ")\n";
  // "_" and "%" in the text match themselves: with " ESCAPE '/'" when the text holds one.
  const bool escaped = has_wildcard(s.text);
  const std::string text = escaped ? escape_wildcards(s.text) : s.text;
  switch (s.string_match_kind) {
    case simple_metadata_string_search::exact:
      sql += "\tAND ";
      append_match(sql, q, ":match_string", text, escaped);
      break;
    case simple_metadata_string_search::begins:
      sql += "\tAND ";
      append_match(sql, q, ":match_string", text + "%", escaped);
      break;
    case simple_metadata_string_search::word_begins:
      sql += "\tAND ((";
      append_match(sql, q, ":match_string", text + "%", escaped);
      sql += ") OR (";
      append_match(sql, q, ":match_word_begin_string", "% " + text + "%", escaped);
      sql += "))";
      break;
    default:
      sql += "\tAND ";
      append_match(sql, q, ":match_string", "%" + text + "%", escaped);
      break;
  }
  q.set_sql(std::move(sql));
  return q;
}

}  // namespace vael_util
