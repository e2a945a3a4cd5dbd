#include "catalog_util/metadata_helpers.h"

#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/format.hpp>
#include <boost/lexical_cast.hpp>
#include <cstdint>

#include "catalog/catalog_database.h"
#include "catalog/metadata_view.h"
#include "catalog/schema/schema_names.h"
#include "catalog_util/metadata_vocabulary.h"
#include "dbl/query.h"
#include "dbl/record.h"
#include "diagnostics/timer.h"

namespace vael_util {
namespace {

namespace id = metadata_identifier;
namespace tbl = vael::schema::table;

using item_list = std::vector<vael::metadata_item_t>;

const char day_note_sql[] =
    "SELECT md.id FROM metadata_string_table AS md\n"
    "WHERE md.description_id = :desc_id AND md.value LIKE :date_match";
const char marked_tags_sql[] =
    "SELECT ft.tag_id AS id FROM "
    "(tag_to_metadata_table tmt INNER JOIN metadata_integer_table mit ON mit.id = "
    "tmt.metadata_id) ft, tag_table "
    "WHERE ft.description_id IN (SELECT mdt.id FROM metadata_description_table mdt WHERE "
    "mdt.identifier = :tag_status) and ft.value = 1 and ft.tag_id = tag_table.id";

const char* const online_media_strings[] = {
    id::revision_id, id::rendition_type,     id::asset_catalog_id, id::asset_id,
    id::imported_by, id::associated_jpeg_id, id::proxy_jpeg_path,  id::is_asset_duplicate};
const char* const online_tag_strings[] = {
    id::shared_album_permissions, id::shared_album_email_to_send_info,
    id::shared_album_email_sent_to_info, id::album_owner_name, id::online_album_id};
const char* const online_tag_integers[] = {
    id::is_friend_album_group, id::is_friend_album_group_accepted, id::is_shared_album_public};

// An SQL string literal of `text`; the identifiers spliced into these statements are our own
// constants or a caller's identifier, and a quote in one must not end the literal.
std::string quoted(const std::string& text) {
  return "'" + boost::replace_all_copy(text, "'", "''") + "'";
}

// Overwrites the first of `existing`, or makes a new value with `create`.
template <typename Create>
vael::metadata_item_t overwrite_first_or_create(vael::metadata_view_t& view, item_list existing,
                                                const vael::metadata_description_t& description,
                                                const dbl::entry_data& value, Create create) {
  if (!existing.empty()) {
    view.set_value(existing.front(), value);
    return existing.front();
  }
  vael::metadata_item_t item{value, description, 0};
  create(item);
  return item;
}

// Deletes the links from `link_table` to values of the listed identifiers in `value_table`,
// then those values. The descriptions stay.
void remove_values_of(dbl::database& db, const char* const* first, const char* const* last,
                      const std::string& link_table, const std::string& value_table) {
  std::vector<std::string> identifiers;
  for (const char* const* it = first; it != last; ++it) identifiers.push_back(quoted(*it));
  std::vector<std::string> ids;
  for (int found :
       dbl::query(db, "SELECT id FROM metadata_description_table WHERE identifier IN (" +
                          boost::algorithm::join(identifiers, ",") + ")")
           .select_ints()) {
    ids.push_back(std::to_string(found));
  }
  const std::string list = boost::algorithm::join(ids, ",");
  dbl::query(db, "DELETE FROM " + link_table + " WHERE metadata_id IN " +
                     "( SELECT DISTINCT(id) FROM " + value_table + " WHERE description_id IN ( " +
                     list + " ) )")
      .execute();
  dbl::query(db, "DELETE FROM " + value_table + " WHERE description_id IN ( " + list + " ) ")
      .execute();
}

template <std::size_t N>
void remove_values_of(dbl::database& db, const char* const (&identifiers)[N],
                      const std::string& link_table, const std::string& value_table) {
  remove_values_of(db, identifiers, identifiers + N, link_table, value_table);
}

}  // namespace

vael::metadata_item_t create_media(const vael::connection_handle& handle,
                                   const std::string& identifier, int data_type, int media_id,
                                   const dbl::entry_data& value) {
  lil::timer timer("vael_util::create_media");
  const vael::metadata_description_t description =
      create_or_load_metadata_description(handle, identifier, data_type);
  vael::metadata_view_t view(handle);
  item_list existing = view.get_media(description, media_id);
  if (description.can_have_multiple_items()) existing.clear();
  return overwrite_first_or_create(
      view, std::move(existing), description, value,
      [&](vael::metadata_item_t& item) { view.create_first_media_item(media_id, item); });
}

vael::metadata_item_t create_tag_metadata(const vael::connection_handle& handle,
                                          const std::string& identifier, int data_type, int tag_id,
                                          const dbl::entry_data& value) {
  const vael::metadata_description_t description =
      create_or_load_metadata_description(handle, identifier, data_type);
  vael::metadata_view_t view(handle);
  return overwrite_first_or_create(
      view, view.get_tag(description, tag_id), description, value,
      [&](vael::metadata_item_t& item) { view.create_tag(tag_id, item); });
}

vael::metadata_item_t create_catalog_metadata(const vael::connection_handle& handle,
                                              const std::string& identifier, int data_type,
                                              const dbl::entry_data& value) {
  const vael::metadata_description_t description =
      create_or_load_metadata_description(handle, identifier, data_type);
  vael::metadata_view_t view(handle);
  return overwrite_first_or_create(
      view, view.get_all_items(description), description, value,
      [&](vael::metadata_item_t& item) { view.create_unassociated(item); });
}

item_list get_media_metadata(const vael::connection_handle& handle, const std::string& identifier,
                             int media_id) {
  const vael::metadata_view_t view(handle);
  return view.get_media(view.get_description(identifier), media_id);
}

item_list get_tag_metadata(const vael::connection_handle& handle, const std::string& identifier,
                           int tag_id) {
  const vael::metadata_view_t view(handle);
  return view.get_tag(view.get_description(identifier), tag_id);
}

item_list get_catalog_metadata(const vael::connection_handle& handle,
                               const std::string& identifier) {
  const vael::metadata_view_t view(handle);
  return view.get_all_items(view.get_description(identifier));
}

std::string person_id_of_tag(const vael::connection_handle& handle, int tag_id) {
  if (!vael::metadata_view_t(handle).has_description(id::person_id)) return {};
  const item_list items = get_tag_metadata(handle, id::person_id, tag_id);
  return items.empty() ? std::string() : items.front().value.as_string();
}

void set_tag_sync_status(int tag_id, bool flag, const vael::connection_handle& handle) {
  create_tag_metadata(handle, id::tag_sync_status, 1, tag_id, std::int64_t{flag ? 1 : 0});
}

void clear_tag_hidden(int tag_id, const vael::connection_handle& handle) {
  create_tag_metadata(handle, id::is_tag_hidden, 1, tag_id, std::int64_t{0});
}

item_list find_day_note(const vael::connection_handle& handle, const std::string& date_text) {
  const vael::metadata_view_t view(handle);
  if (!view.has_description(id::day_note)) return {};
  const vael::metadata_description_t description = view.get_description(id::day_note);
  dbl::database& db = vael::database_of(handle);
  dbl::query q(db, day_note_sql);
  q.bind(":desc_id", description.get_id()).bind(":date_match", date_text + "%");
  item_list notes;
  for (int note_id : q.select_ints()) {
    const dbl::record row(db, db.get_table(tbl::metadata_string_table), note_id);
    notes.push_back(
        vael::metadata_item_t{row.get(vael::schema::column::value), description, note_id});
  }
  return notes;
}

item_list find_day_notes_of_year(const vael::connection_handle& handle, int year) {
  return find_day_note(handle, (boost::format("%04d") % year).str());
}

vael::metadata_item_t set_day_note(const vael::connection_handle& handle,
                                   const std::string& date_text, const std::string& note) {
  const vael::metadata_description_t description =
      create_or_load_metadata_description(handle, id::day_note, 0);
  item_list found = find_day_note(handle, date_text);
  const std::string text = (boost::format("%1%-%2%") % date_text % note).str();
  vael::metadata_view_t view(handle);
  return overwrite_first_or_create(
      view, std::move(found), description, text,
      [&](vael::metadata_item_t& item) { view.create_unassociated(item); });
}

std::string format_rect(double a, double b, double c, double d) {
  return (boost::format("%1%,%2%,%3%,%4%") % a % b % c % d).str();
}

void parse_rect(const std::string& text, double& a, double& b, double& c, double& d) {
  std::vector<std::string> parts;
  boost::algorithm::split(parts, text, [](char ch) { return ch == ','; });
  if (parts.size() < 4) {
    a = b = c = d = 0;
    return;
  }
  const double values[] = {
      boost::lexical_cast<double>(parts[0]), boost::lexical_cast<double>(parts[1]),
      boost::lexical_cast<double>(parts[2]), boost::lexical_cast<double>(parts[3])};
  a = values[0];
  b = values[1];
  c = values[2];
  d = values[3];
}

std::string format_face_record(int a, int b, int c, int d, int e, double f, int g,
                               const std::string& h, double i, int j, double k, double l) {
  return (boost::format("%1%#%2%,%3%,%4%,%5%#%6%#%7%#%8%#%9%#%10%#%11%#%12%") % a % b % c % d % e %
          f % g % h % i % j % k % l)
      .str();
}

void remove_string_metadata_of_media(const std::vector<int>& media_ids,
                                     const std::string& identifier,
                                     const vael::connection_handle& handle) {
  dbl::database& db = vael::database_of(handle);
  const std::vector<int> found =
      dbl::query(
          db, "SELECT id FROM metadata_description_table WHERE identifier = " + quoted(identifier))
          .select_ints();
  const int description_id = found.empty() ? 0 : found.front();
  if (description_id == 0 || media_ids.empty()) return;
  std::vector<std::string> ids;
  for (int media_id : media_ids) ids.push_back(std::to_string(media_id));
  const std::string list = "(" + boost::algorithm::join(ids, ",") + ")";
  dbl::query q(db, std::string("DELETE FROM media_to_metadata_table WHERE ") +
                       "metadata_id IN ( SELECT DISTINCT(id) FROM " + tbl::metadata_string_table +
                       " WHERE description_id = :desc_id ) " + "AND media_id IN " + list);
  q.bind(":desc_id", description_id);
  q.execute();
}

void remove_face_data_of_media(const std::vector<int>& media_ids,
                               const vael::connection_handle& handle) {
  remove_string_metadata_of_media(media_ids, id::face_data, handle);
}

void remove_asset_ids_of_media(const std::vector<int>& media_ids,
                               const vael::connection_handle& handle) {
  remove_string_metadata_of_media(media_ids, id::asset_id, handle);
}

void remove_metadata_link(int media_id, int metadata_id, const vael::connection_handle& handle) {
  dbl::database& db = vael::database_of(handle);
  dbl::query unlink(db, std::string("DELETE FROM media_to_metadata_table WHERE ") +
                            "media_id = :media_id" + " AND metadata_id = :metadata_id");
  unlink.bind(":media_id", media_id).bind(":metadata_id", metadata_id);
  unlink.execute();
  dbl::query remove(db,
                    std::string("DELETE FROM metadata_string_table WHERE ") + "id = :metadata_id");
  remove.bind(":metadata_id", metadata_id);
  remove.execute();
}

void remove_online_metadata(const vael::connection_handle& handle) {
  dbl::database& db = vael::database_of(handle);
  // nx:associated_jpeg_id and nx:is_asset_duplicate hold integers, so this pass finds none of
  // their values: they stay, and only the media's online strings go.
  remove_values_of(db, online_media_strings, tbl::media_to_metadata_table,
                   tbl::metadata_string_table);
  remove_values_of(db, online_tag_strings, tbl::tag_to_metadata_table, tbl::metadata_string_table);
  remove_values_of(db, online_tag_integers, tbl::tag_to_metadata_table,
                   tbl::metadata_integer_table);
  dbl::query marked(db, marked_tags_sql);
  marked.bind(":tag_status", std::string(id::tag_sync_status));
  for (int tag_id : marked.select_ints()) set_tag_sync_status(tag_id, false, handle);
}

}  // namespace vael_util
