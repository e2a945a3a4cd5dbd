// Statements of the searches that select by the media rows: stacks, dates, paths, metadata,
// lists of ids and creations.

#include <algorithm>
#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/media.h"
#include "catalog/media_date.h"
#include "catalog/metadata_view.h"
#include "catalog/search_index.h"
#include "catalog/volume_manager.h"
#include "catalog_util/creation_file.h"
#include "catalog_util/search/simple_searches.h"

namespace vael_util {
namespace {

namespace pt = boost::posix_time;

std::string id_list_text(const std::vector<int>& ids, const char* separator) {
  std::string text;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (i > 0) text += separator;
    text += std::to_string(ids[i]);
  }
  return text;
}

// Where the volume's files are now; an unmounted volume's stored path otherwise.
std::string volume_root(const vael::connection_handle& handle, int volume_id) {
  const vael::volume_manager volumes = vael::get_volume_manager(handle);
  if (volumes.is_volume_online(volume_id)) {
    const std::string path = volumes.get_volume_path(volume_id);
    if (!path.empty()) return path;
  }
  return volumes.get_volume(volume_id).drive_path_if_builtin;
}

// `folder` (lower-cased) relative to the volume when it lies under the root, as stored paths
// are; as it stands otherwise. A root given with a final separator and the root folder
// itself are cut as well: both name the volume's top folder.
std::string folder_on_volume(std::string folder, const std::string& root) {
  std::replace(folder.begin(), folder.end(), '\\', '/');
  std::string prefix = vael::to_search_index(root);
  std::replace(prefix.begin(), prefix.end(), '\\', '/');
  while (!prefix.empty() && prefix.back() == '/') prefix.pop_back();
  if (prefix.empty()) return folder;
  prefix += '/';
  if (folder + "/" == prefix) return "/";
  if (folder.compare(0, prefix.size(), prefix) == 0) return folder.substr(prefix.size() - 1);
  return folder;
}

}  // namespace

query_t search_build_query(const vael::connection_handle& handle, const all_media_stacks_search&,
                           const std::string& table) {
  return query_t("SELECT id_table.id FROM " + table +
                     " as id_table, media_stack_to_media_table as ms2m WHERE ms2m.media_id = "
                     "id_table.id",
                 handle);
}

query_t search_build_query(const vael::connection_handle& handle, const all_version_stacks_search&,
                           const std::string& table) {
  return query_t("SELECT id_table.id FROM " + table +
                     " as id_table, version_stack_to_media_table as vs2m WHERE vs2m.media_id = "
                     "id_table.id",
                 handle);
}

query_t search_build_query(const vael::connection_handle& handle, const calendar_day_search& s,
                           const std::string& table) {
  query_t q("SELECT DISTINCT id_table.id FROM " + table + " as id_table\n" +
                "INNER JOIN media_table ON id_table.id = media_table.id AND "
                "media_table.search_date_begin >= :day AND media_table.search_date_begin < "
                ":day_after AND media_table.search_date_end <= :day_after",
            handle);
  // Special days stay special through the addition.
  q.bind(":day", pt::ptime(s.day)).bind(":day_after", pt::ptime(s.day + boost::gregorian::days(1)));
  return q;
}

query_t search_build_query(const vael::connection_handle& handle, const unknown_date_search&,
                           const std::string& table) {
  query_t q("SELECT DISTINCT id_table.id FROM " + table + " as id_table\n" +
                "INNER JOIN media_table ON id_table.id = media_table.id AND "
                "media_table.search_date_begin = :unknown_begin AND media_table.search_date_end "
                "= :unknown_end",
            handle);
  q.bind(":unknown_begin", vael::unknown_date_begin())
      .bind(":unknown_end", vael::unknown_date_end());
  return q;
}

query_t search_build_query(const vael::connection_handle& handle, const filename_search& s,
                           const std::string& table) {
  std::string sql = "SELECT DISTINCT media_table.id FROM media_table\n";
  sql += "INNER JOIN " + table + " as id_table ON id_table.id = media_table.id\n";
  sql += "WHERE filename_search_index LIKE :filename ";
  std::string text = vael::to_search_index(s.filename);
  if (text.find_first_of("_%") != std::string::npos || text == "-") {
    sql += " ESCAPE '/'";
    std::string escaped;
    for (const char c : text) {
      // The escape character itself is escaped too: SQLite drops a "/" before any other
      // character, so "a/b_c" would otherwise find "ab_c".
      if (c == '_' || c == '%' || c == '/') escaped += '/';
      escaped += c;
    }
    text = escaped;
  }
  query_t q(std::move(sql), handle);
  q.bind(":filename", "%" + text + "%");
  return q;
}

query_t search_build_query(const vael::connection_handle& handle, const foldername_search& s,
                           const std::string& table) {
  std::string sql = "SELECT DISTINCT media_table.id FROM media_table\n";
  sql += "INNER JOIN " + table + " as id_table ON media_table.id = id_table.id\n";
  // The "+" keeps SQLite off the volume index: the path index narrows far better.
  sql += "WHERE + media_table.volume_id = :volume_id AND filepath_search_index = :filepath\n";
  const std::string folder =
      folder_on_volume(vael::to_search_index(s.folder), volume_root(handle, s.volume_id));
  query_t q(std::move(sql), handle);
  q.bind(":volume_id", s.volume_id).bind(":filepath", vael::to_folder_search_index(folder));
  return q;
}

query_t search_build_query(const vael::connection_handle& handle,
                           const media_has_metadata_search& s, const std::string& table) {
  const vael::metadata_description_t description =
      vael::metadata_view_t(handle).get_description(s.description_id);
  const char* value_table = nullptr;
  switch (description.get_data_type()) {
    case vael::metadata_data_type::string_type:
      value_table = "metadata_string_table";
      break;
    case vael::metadata_data_type::integer_type:
      value_table = "metadata_integer_table";
      break;
    case vael::metadata_data_type::decimal_type:
      value_table = "metadata_decimal_table";
      break;
    case vael::metadata_data_type::date_time_type:
      value_table = "metadata_date_time_table";
      break;
    case vael::metadata_data_type::blob_type:
      value_table = "metadata_blob_table";
      break;
  }
  if (value_table == nullptr) throw std::logic_error("An invalid metadata type was encountered.");
  std::string sql = "SELECT DISTINCT m2md.media_id FROM media_to_metadata_table AS m2md\n";
  sql += "INNER JOIN " + std::string(value_table) + " as md\n";
  sql += "\tON md.id = m2md.metadata_id\n";
  sql += "\tAND md.description_id = :md_desc_id\n";
  sql += "INNER JOIN " + table + " as id_table\n";
  sql += "\tON m2md.media_id = id_table.id\n";
  query_t q(std::move(sql), handle);
  q.bind(":md_desc_id", s.description_id);
  return q;
}

// The ids stand in the text; an empty list gives "IN ()", which SQLite takes for no row.
query_t search_build_query(const vael::connection_handle& handle, const missing_file_search& s,
                           const std::string& table) {
  return query_t(
      "SELECT id FROM " + table + " WHERE id IN (" + id_list_text(s.media_ids, ",") + ")", handle);
}

query_t search_build_query(const vael::connection_handle& handle, const creation_usage_search& s,
                           const std::string& table) {
  const vael::volume_manager volumes = vael::get_volume_manager(handle);
  std::set<int> used;
  for (const int id : s.creation_ids) {
    const vael::media creation = vael::media::get_media(handle, id);
    // A creation on a disk that is not there cannot be read: it narrows nothing.
    if (!volumes.is_volume_online(creation.get_volume_id())) continue;
    std::string title;
    std::vector<int> ids;
    std::string blob;
    read_creation_file(creation.get_filepath(false), title, ids, blob);
    used.insert(ids.begin(), ids.end());
  }
  // A creation listing nothing narrows nothing, rather than matching nothing.
  if (used.empty()) return query_t();
  return query_t("SELECT id FROM " + table + " WHERE id IN (" +
                     id_list_text(std::vector<int>(used.begin(), used.end()), ",") + ")",
                 handle);
}

}  // namespace vael_util
