#include "catalog/tag_queries.h"

#include <algorithm>
#include <map>

#include "catalog/internal_connection.h"
#include "dbl/query.h"
#include "dbl/temporary_table.h"
#include "diagnostics/timer.h"

namespace vael {
namespace {

const char tags_on_media_sql[] =
    "SELECT tag_id FROM tag_to_media_table\nWHERE media_id = :media_id";
const char tags_on_media_timer[] = "vael/tag_base/get_tags_on_media";
const char face_score_identifier[] = "omb:faceStackComplianceScore";

// Decides whether tags belong to one namespace, remembering the answer per tag for the
// length of one query.
class namespace_filter {
 public:
  namespace_filter(const tag_base& ns, bool leaves_only)
      : handle_(ns.handle()), ns_id_(ns.get_id()), leaves_only_(leaves_only) {}

  bool keep(int tag_id) {
    const auto known = kept_.find(tag_id);
    if (known != kept_.end()) return known->second;
    const tag_base tag = load_tag_base(handle_, tag_id);
    const bool keep =
        tag.get_namespace_id() == ns_id_ && !(leaves_only_ && tag.can_have_children());
    kept_.emplace(tag_id, keep);
    return keep;
  }

  std::vector<int> keep_all(const std::vector<int>& tag_ids) {
    std::vector<int> out;
    for (int id : tag_ids) {
      if (keep(id)) out.push_back(id);
    }
    return out;
  }

 private:
  connection_handle handle_;
  int ns_id_;
  bool leaves_only_;
  std::map<int, bool> kept_;
};

// The media ids in a temporary table; a list may name a media twice, the table may not.
void fill(dbl::temporary_id_set& set, std::vector<int> ids) {
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  set.add(std::move(ids));
}

// The integer omb:faceStackComplianceScore of the tag, if it has one.
bool read_face_score(dbl::database& db, int tag_id, std::int64_t& score) {
  dbl::query q(db,
               "SELECT metadata_integer_table.value FROM tag_to_metadata_table\n"
               "INNER JOIN metadata_integer_table"
               " ON metadata_integer_table.id = tag_to_metadata_table.metadata_id\n"
               "INNER JOIN metadata_description_table"
               " ON metadata_description_table.id = metadata_integer_table.description_id\n"
               "WHERE tag_to_metadata_table.tag_id = :tag_id"
               " AND metadata_description_table.identifier = :identifier LIMIT 1",
               true);
  q.bind(":tag_id", dbl::entry_data(tag_id))
      .bind(":identifier", dbl::entry_data(face_score_identifier));
  q.add_column("value", typeid(std::int64_t));
  dbl::query_iterator row = q.begin();
  if (row == q.end()) return false;
  score = (*row)[0].as_int64();
  return true;
}

}  // namespace

std::string tags_on_all_media_sql(std::size_t count) {
  std::string sql = "SELECT DISTINCT(ttm.tag_id) FROM tag_to_media_table AS ttm\n";
  for (std::size_t n = 0; n < count; ++n) {
    const std::string alias = "ttm" + std::to_string(n);
    // No separator after "?": the next join follows at once, as readers of the text expect.
    sql += "INNER JOIN tag_to_media_table AS " + alias + "\n";
    sql += "\tON ttm.tag_id = " + alias + ".tag_id AND " + alias + ".media_id = ?";
  }
  return sql;
}

std::vector<int> get_all_tags_on_media(const connection_handle& handle, int media_id) {
  lil::timer timer(tags_on_media_timer);
  dbl::query q(get_connection(handle).database(), tags_on_media_sql, true);
  q.bind(":media_id", dbl::entry_data(media_id));
  return q.select_ints();
}

std::vector<int> get_tags_on_media(const tag_base& ns, int media_id) {
  lil::timer timer(tags_on_media_timer);
  dbl::query q(get_connection(ns.handle()).database(), tags_on_media_sql, true);
  q.bind(":media_id", dbl::entry_data(media_id));
  return namespace_filter(ns, false).keep_all(q.select_ints());
}

std::vector<int> get_tags_on_all_media(const tag_base& ns, const std::vector<int>& media_ids) {
  if (media_ids.empty()) return {};
  dbl::query q(get_connection(ns.handle()).database(), tags_on_all_media_sql(media_ids.size()));
  for (int id : media_ids) q.bind(dbl::entry_data(id));
  return namespace_filter(ns, false).keep_all(q.select_ints());
}

std::vector<int> get_tags_on_any_media(const tag_base& ns, const std::vector<int>& media_ids,
                                       bool leaves_only) {
  if (media_ids.empty()) return {};
  dbl::database& db = get_connection(ns.handle()).database();
  dbl::temporary_id_set set(db);
  fill(set, media_ids);
  dbl::query q(db, "SELECT DISTINCT tag_id FROM tag_to_media_table\nINNER JOIN " +
                       set.table_name() + " as id_table ON id_table.id = media_id");
  return namespace_filter(ns, leaves_only).keep_all(q.select_ints());
}

std::vector<std::pair<int, int>> get_tag_frequencies(const tag_base& ns,
                                                     const std::vector<int>& media_ids,
                                                     bool leaves_only, int keep_rare,
                                                     int minimum_score) {
  if (media_ids.empty()) return {};
  dbl::database& db = get_connection(ns.handle()).database();
  dbl::temporary_id_set set(db);
  fill(set, media_ids);
  std::string sql = "SELECT id, COUNT(mid) FROM ( SELECT tag_id as id,id_table.id as mid from " +
                    set.table_name() +
                    " as id_table INNER JOIN tag_to_media_table on tag_to_media_table.media_id = "
                    "id_table.id) GROUP BY id ";
  if (keep_rare == 0) sql += "HAVING COUNT(mid) > 3 ";
  sql += "ORDER by COUNT(mid) DESC";
  dbl::query q(db, sql);
  q.add_column("id", typeid(int)).add_column("count", typeid(int));
  std::vector<std::pair<int, int>> rows;
  for (const dbl::entry_data_vector& row : q) rows.emplace_back(row[0].as_int(), row[1].as_int());

  namespace_filter filter(ns, leaves_only);
  std::vector<std::pair<int, int>> out;
  for (const auto& [tag_id, count] : rows) {
    if (!filter.keep(tag_id)) continue;
    std::int64_t score = 0;
    if (minimum_score != 0 && !(read_face_score(db, tag_id, score) && score >= minimum_score)) {
      continue;
    }
    out.emplace_back(tag_id, count);
  }
  return out;
}

bool has_other_named_tag(const tag_base& ns, const std::vector<int>& media_ids, bool leaves_only,
                         const std::string& name) {
  if (media_ids.empty()) return false;
  dbl::database& db = get_connection(ns.handle()).database();
  dbl::temporary_id_set set(db);
  fill(set, media_ids);
  dbl::query q(db, "SELECT tag_id as id,id_table.id as mid from " + set.table_name() +
                       " as id_table INNER JOIN tag_to_media_table on "
                       "tag_to_media_table.media_id = id_table.id ");
  q.add_column("id", typeid(int)).add_column("mid", typeid(int));
  std::vector<int> tag_ids;
  for (const dbl::entry_data_vector& row : q) tag_ids.push_back(row[0].as_int());
  namespace_filter filter(ns, leaves_only);
  for (int id : tag_ids) {
    if (filter.keep(id) && load_tag_base(ns.handle(), id).get_name() != name) return true;
  }
  return false;
}

}  // namespace vael
