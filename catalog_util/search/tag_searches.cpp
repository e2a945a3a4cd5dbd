// Statements of the searches that select by tags.

#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/custom_tag_namespace.h"
#include "catalog_util/search/simple_searches.h"
#include "catalog_util/well_known_tags.h"

namespace vael_util {
namespace {

// Appends one "?" per id, joined by `separator`, and the ids to `values`.
void append_markers(std::string& sql, dbl::entry_data_vector& values, const std::vector<int>& ids,
                    const char* separator) {
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (i > 0) sql += separator;
    sql += "?";
    values.emplace_back(ids[i]);
  }
}

query_t with_positional(const vael::connection_handle& handle, std::string sql,
                        dbl::entry_data_vector values) {
  query_t q(std::move(sql), handle);
  q.set_positional(std::move(values));
  return q;
}

std::vector<int> top_level_ids(const vael::custom_tag_namespace& ns) {
  std::vector<int> ids;
  for (const vael::tag& t : ns.get_children()) ids.push_back(t.get_id());
  return ids;
}

void append(std::vector<int>& to, const std::vector<int>& ids) {
  to.insert(to.end(), ids.begin(), ids.end());
}

enum class asset_kind { image, audio, video };

const char* kind_text(asset_kind kind) {
  switch (kind) {
    case asset_kind::image:
      return "id IN (SELECT id FROM media_table\nWHERE\n mime_type like 'image%' OR mime_type = "
             "'application/vnd.norvane.ombra' OR mime_type = 'application/vnd.norvane.ombrix') "
             "\nAND ";
    case asset_kind::audio:
      return "id IN (SELECT id FROM media_table\nWHERE\n mime_type like 'audio%') \nAND ";
    case asset_kind::video:
      break;
  }
  return "id IN (SELECT id FROM media_table\nWHERE\n mime_type like 'video%' OR mime_type = "
         "'application/x-glimmerwave-flicker') \nAND ";
}

// Media of the kind that carry every tag (or a descendant of it). An empty list leaves the
// kind text's "AND " dangling; callers keep that from running.
void append_analysed_block(std::string& sql, dbl::entry_data_vector& values,
                           const vael::connection_handle& handle, const std::string& table,
                           const std::vector<int>& tag_ids, asset_kind kind) {
  sql += "SELECT DISTINCT id FROM " + table + "\n";
  sql += "WHERE \n";
  sql += kind_text(kind);
  for (std::size_t i = 0; i < tag_ids.size(); ++i) {
    if (i > 0) sql += "\tAND ";
    sql += " id IN (SELECT media_id FROM tag_to_media_table WHERE tag_id IN (";
    append_markers(sql, values, expand_tag_descendants(handle, {tag_ids[i]}), ",");
    sql += ") )\n";
  }
}

}  // namespace

query_t search_build_query(const vael::connection_handle& handle, const user_tag_search& s,
                           const std::string& table) {
  std::string sql = "SELECT DISTINCT id FROM " + table + " as id_table\n";
  dbl::entry_data_vector values;
  for (std::size_t i = 0; i < s.include_tag_ids.size(); ++i) {
    sql += i == 0 ? "WHERE\n\t" : "\tAND ";
    sql += " id IN (SELECT media_id FROM tag_to_media_table WHERE tag_id IN (";
    append_markers(sql, values, expand_tag_descendants(handle, {s.include_tag_ids[i]}), ",");
    sql += ") )\n";
  }
  if (!s.exclude_tag_ids.empty()) {
    sql += s.include_tag_ids.empty() ? "WHERE\n\t" : "\tAND ";
    sql += "id_table.id NOT IN (SELECT media_id FROM tag_to_media_table WHERE tag_id IN (";
    append_markers(sql, values, s.exclude_tag_ids, ", ");
    sql += "))\n";
  }
  return with_positional(handle, std::move(sql), std::move(values));
}

query_t search_build_any_query(const vael::connection_handle& handle, const user_tag_search& s,
                               const std::string& table) {
  if (s.include_tag_ids.size() <= 1) return query_t();
  std::string where;
  dbl::entry_data_vector values;
  where += "id_table.id IN (SELECT media_id FROM tag_to_media_table WHERE tag_id IN (";
  append_markers(where, values, expand_tag_descendants(handle, s.include_tag_ids), ", ");
  where += "))\n";
  if (!s.exclude_tag_ids.empty()) {
    where += "AND id_table.id NOT IN (SELECT media_id FROM tag_to_media_table WHERE tag_id IN (";
    append_markers(where, values, s.exclude_tag_ids, ", ");
    where += "))\n";
  }
  return with_positional(handle,
                         "SELECT DISTINCT id FROM " + table + " as id_table\n" + "WHERE " + where,
                         std::move(values));
}

query_t search_build_query(const vael::connection_handle& handle, const not_tagged_search& s,
                           const std::string& table) {
  std::vector<int> ids;
  for (const std::string& name : s.namespaces) {
    const std::vector<int> top = top_level_ids(vael::get_custom_tag_namespace(handle, name));
    append(ids, name == ns_name::person ? expand_tag_descendants_ignore_internal_tags(handle, top)
                                        : expand_tag_descendants(handle, top));
    // Content analysis tags are user tags that live apart; a catalog may not have them yet.
    if (name == ns_name::user &&
        vael::has_custom_tag_namespace(handle, ns_name::content_analysis)) {
      append(ids, expand_tag_descendants(handle, top_level_ids(vael::get_custom_tag_namespace(
                                                     handle, ns_name::content_analysis))));
    }
  }
  std::string sql = "SELECT DISTINCT id FROM " + table + " as id_table\n";
  dbl::entry_data_vector values;
  if (!ids.empty()) {
    sql +=
        "\tWHERE id_table.id NOT IN (SELECT DISTINCT(media_id) FROM tag_to_media_table WHERE "
        "tag_id IN (";
    append_markers(sql, values, ids, ", ");
    sql += "))\n";
  }
  return with_positional(handle, std::move(sql), std::move(values));
}

query_t search_build_query(const vael::connection_handle& handle, const history_tag_search& s,
                           const std::string& table) {
  std::string sql = "SELECT DISTINCT ttm.media_id FROM tag_to_media_table as ttm\n";
  sql += "INNER JOIN " + table + " as id_table ON ttm.media_id = id_table.id\n";
  dbl::entry_data_vector values;
  if (!s.tag_ids.empty()) {
    sql += "WHERE tag_id IN (";
    append_markers(sql, values, s.tag_ids, ", ");
    sql += ")\n";
  }
  return with_positional(handle, std::move(sql), std::move(values));
}

query_t search_build_query(const vael::connection_handle& handle, const unanalyzed_asset_search& s,
                           const std::string& table) {
  // Said here rather than by SQLite, of the empty block the statement would hold.
  if (s.image_tag_ids.empty()) {
    throw std::runtime_error("An unanalyzed asset search needs at least one image tag.");
  }
  std::string sql = "SELECT DISTINCT id FROM " + table + " as id_table\n";
  sql += " WHERE\n";
  dbl::entry_data_vector values;
  sql += "id NOT IN (\n\t";
  append_analysed_block(sql, values, handle, table, s.image_tag_ids, asset_kind::image);
  sql += "\n)\n ";
  if (!s.audio_tag_ids.empty()) {
    sql += "AND\nid NOT IN (\n\t";
    append_analysed_block(sql, values, handle, table, s.audio_tag_ids, asset_kind::audio);
    sql += "\n)\n ";
  }
  if (!s.video_tag_ids.empty()) {
    sql += "AND\nid NOT IN (\n\t";
    append_analysed_block(sql, values, handle, table, s.video_tag_ids, asset_kind::video);
    sql += "\n)\n ";
    // Renditions of analysed masters count as analysed.
    sql += "AND\nid NOT IN (\n\t";
    sql += "Select DISTINCT rendition_id FROM rendition_to_master_table WHERE master_id IN (\n\t";
    append_analysed_block(sql, values, handle, table, s.video_tag_ids, asset_kind::video);
    sql += "\n\t)\n ";
    sql += "\n)\n ";
  }
  return with_positional(handle, std::move(sql), std::move(values));
}

}  // namespace vael_util
