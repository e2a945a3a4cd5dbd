#include "catalog_util/well_known_tags.h"

#include <time.h>

#include <boost/date_time/posix_time/conversion.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <ctime>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "catalog/catalog_database.h"
#include "catalog/metadata_description.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "dbl/query.h"
#include "diagnostics/timer.h"

namespace vael_util {
namespace {

namespace id = metadata_identifier;

constexpr int as_number(vael::metadata_data_type t) {
  return static_cast<int>(t);
}
constexpr int string_type = as_number(vael::metadata_data_type::string_type);
constexpr int integer_type = as_number(vael::metadata_data_type::integer_type);
constexpr int date_time_type = as_number(vael::metadata_data_type::date_time_type);
constexpr int blob_type = as_number(vael::metadata_data_type::blob_type);

const char child_by_name_sql[] =
    "SELECT id FROM tag_table WHERE parent_id = :id AND name = :name LIMIT 1";
const char child_ids_sql[] =
    "SELECT id, can_have_children FROM tag_table\n WHERE parent_id = :parent_id\n ORDER BY "
    "sibling_index";

// Flags in the order of tag_type_t: media_is_ordered, can_tag_media, can_have_children.
vael::tag_type_t make_type(const char* name, bool ordered, bool tags_media, bool has_children) {
  return {name, ordered, tags_media, has_children, false, false};
}

bool is_internal_name(const std::string& name) {
  return name == reserved_name::smart_event || name == reserved_name::internal_sentinel;
}

vael::tag only_child_of(const vael::connection_handle& handle, const char* ns,
                        const char* message) {
  std::vector<vael::tag> children = vael::get_custom_tag_namespace(handle, ns).get_children();
  if (children.size() != 1) throw std::runtime_error(message);
  return children.front();
}

boost::posix_time::ptime utc_now() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  if (::gmtime_r(&now, &parts) == nullptr) {
    throw std::runtime_error("could not convert calendar time to UTC time");
  }
  return boost::posix_time::ptime_from_tm(parts);
}

// Appends the descendants of `root` breadth first in sibling order, as
// tag::get_all_descendant_ids lists them, descending only into tags that can have children.
// Reads two columns per tag: loading whole tags into the cache cost over a quarter of the
// expansion's time.
void append_descendants(dbl::database& db, const vael::tag& root, std::vector<int>& out) {
  if (!root.can_have_children()) return;
  dbl::query children(db, child_ids_sql, true);
  children.add_column("id", typeid(int)).add_column("can_have_children", typeid(int));
  std::vector<int> frontier{root.get_id()};
  std::vector<int> next;
  while (!frontier.empty()) {
    next.clear();
    for (int parent : frontier) {
      children.bind(":parent_id", dbl::entry_data(parent));
      for (const dbl::entry_data_vector& row : children) {
        out.push_back(row[0].as_int());
        if (row[1].as_int() != 0) next.push_back(row[0].as_int());
      }
    }
    frontier.swap(next);
  }
}

vael::tag history_tag_with(const vael::connection_handle& handle, const char* category,
                           const char* item, const char* identifier, const std::string& detail) {
  vael::tag event = create_history_tag(handle, category, item);
  create_tag_metadata(handle, identifier, string_type, event.get_id(), dbl::entry_data(detail));
  return event;
}

}  // namespace

const vael::tag_type_t& user_person_type() {
  static const vael::tag_type_t type = make_type(type_name::user_person, false, true, true);
  return type;
}
const vael::tag_type_t& user_place_type() {
  static const vael::tag_type_t type = make_type(type_name::user_place, false, true, true);
  return type;
}
const vael::tag_type_t& user_event_type() {
  static const vael::tag_type_t type = make_type(type_name::user_event, false, true, true);
  return type;
}
const vael::tag_type_t& user_misc_leaf_type() {
  static const vael::tag_type_t type = make_type(type_name::user_misc, false, true, false);
  return type;
}
const vael::tag_type_t& user_misc_parent_type() {
  static const vael::tag_type_t type = make_type(type_name::user_misc, false, true, true);
  return type;
}
const vael::tag_type_t& user_custom_type() {
  static const vael::tag_type_t type = make_type(type_name::user_custom, false, true, true);
  return type;
}
const vael::tag_type_t& user_qr_code_type() {
  static const vael::tag_type_t type = make_type(type_name::user_qr_code, false, true, false);
  return type;
}
const vael::tag_type_t& album_type() {
  static const vael::tag_type_t type = make_type(type_name::collection, true, true, false);
  return type;
}
const vael::tag_type_t& album_intel_viiv_type() {
  static const vael::tag_type_t type =
      make_type(type_name::collection_intel_viiv, true, true, false);
  return type;
}
const vael::tag_type_t& album_group_type() {
  static const vael::tag_type_t type = make_type(type_name::collection_group, false, false, true);
  return type;
}
const vael::tag_type_t& smart_album_type() {
  static const vael::tag_type_t type = make_type(type_name::smart_collection, false, false, false);
  return type;
}
const vael::tag_type_t& smart_album_group_type() {
  static const vael::tag_type_t type =
      make_type(type_name::smart_collection_group, false, false, true);
  return type;
}
const vael::tag_type_t& content_analysis_group_type() {
  static const vael::tag_type_t type =
      make_type(type_name::content_analysis_group, false, true, true);
  return type;
}
const vael::tag_type_t& content_analysis_hidden_group_type() {
  static const vael::tag_type_t type =
      make_type(type_name::content_analysis_hidden_group, false, true, true);
  return type;
}
const vael::tag_type_t& hidden_type() {
  static const vael::tag_type_t type = make_type(type_name::hidden, false, true, false);
  return type;
}
const vael::tag_type_t& rejected_face_type() {
  static const vael::tag_type_t type = make_type(type_name::rejected_face, false, true, false);
  return type;
}
const vael::tag_type_t& smart_event_type() {
  static const vael::tag_type_t type = make_type(type_name::smart_event, false, true, false);
  return type;
}

vael::tag_type_t history_category_type(const std::string& type_name) {
  return {type_name, false, false, true, false, false};
}

vael::tag_type_t history_event_type(const std::string& type_name) {
  return {type_name, false, true, false, false, false};
}

const std::vector<vael::tag_type_t>& well_known_tag_types() {
  static const std::vector<vael::tag_type_t> types = [] {
    std::vector<vael::tag_type_t> all = {user_person_type(),
                                         user_place_type(),
                                         user_event_type(),
                                         user_misc_leaf_type(),
                                         user_misc_parent_type(),
                                         user_custom_type(),
                                         user_qr_code_type(),
                                         album_type(),
                                         album_intel_viiv_type(),
                                         album_group_type(),
                                         smart_album_type(),
                                         smart_album_group_type(),
                                         content_analysis_group_type(),
                                         content_analysis_hidden_group_type(),
                                         hidden_type(),
                                         rejected_face_type()};
    for (const char* category :
         {type_name::history_export_category, type_name::history_print_category,
          type_name::history_email_category, type_name::history_share_category,
          type_name::history_order_category}) {
      all.push_back(history_category_type(category));
    }
    for (const char* item :
         {type_name::history_export, type_name::history_print, type_name::history_email,
          type_name::history_share, type_name::history_order, type_name::history_project}) {
      all.push_back(history_event_type(item));
    }
    all.push_back(smart_event_type());
    return all;
  }();
  return types;
}

vael::custom_tag_namespace create_or_load_ns(const vael::connection_handle& handle,
                                             const std::string& name) {
  lil::timer timer("vael_util::create_or_load_ns");
  return vael::create_or_load_custom_tag_namespace(handle, name);
}

vael::tag load_hidden_tag(const vael::connection_handle& handle) {
  lil::timer timer("vael_util::load_hidden_tag");
  return only_child_of(handle, ns_name::hidden,
                       "vael_util::load_hidden_tag -- Expected only one hidden tag");
}

vael::tag load_rejected_face_tag(const vael::connection_handle& handle) {
  lil::timer timer("vael_util::load_rejected_face_tag");
  return only_child_of(handle, ns_name::rejected_face,
                       "vael_util::load_rejected_face_tag -- Expected only one rejected face tag");
}

bool find_top_level_tag(const vael::custom_tag_namespace& ns, const std::string& name,
                        vael::tag& found) {
  for (vael::tag& t : ns.get_children()) {
    if (t.get_name() == name) {
      found = std::move(t);
      return true;
    }
  }
  return false;
}

vael::tag find_or_create_top_level_tag(const vael::custom_tag_namespace& ns,
                                       const std::string& name, const vael::tag_type_t& type) {
  vael::tag found;
  if (find_top_level_tag(ns, name, found)) return found;
  return ns.create_tag(name, type);
}

vael::tag find_or_create_child_tag(const vael::tag& parent, const std::string& name,
                                   const vael::tag_type_t& type) {
  const vael::connection_handle& handle = parent.base().handle();
  dbl::query q(vael::database_of(handle), child_by_name_sql);
  q.bind(":id", dbl::entry_data(parent.get_id())).bind(":name", dbl::entry_data(name));
  const std::vector<int> ids = q.select_ints();
  if (!ids.empty()) return vael::get_tag(handle, ids.front());
  return parent.create_child(name, type);
}

std::vector<int> expand_tag_descendants(const vael::connection_handle& handle,
                                        const std::vector<int>& tag_ids) {
  lil::timer timer("vael_util::expand_tag_descendants");
  dbl::database& db = vael::database_of(handle);
  std::vector<int> out;
  for (int tag_id : tag_ids) {
    out.push_back(tag_id);
    append_descendants(db, vael::get_tag(handle, tag_id), out);
  }
  return out;
}

std::vector<int> expand_tag_descendants_ignore_internal_tags(const vael::connection_handle& handle,
                                                             const std::vector<int>& tag_ids) {
  lil::timer timer("vael_util::expand_tag_descendants_ignore_internal_tags");
  std::vector<int> out;
  for (int tag_id : tag_ids) {
    const vael::tag top = vael::get_tag(handle, tag_id);
    if (!is_internal_tag_name(top)) out.push_back(tag_id);
    std::vector<vael::tag> frontier = top.get_children();
    while (!frontier.empty()) {
      std::vector<vael::tag> next;
      for (const vael::tag& t : frontier) {
        if (!is_internal_tag_name(t)) out.push_back(t.get_id());
        std::vector<vael::tag> children = t.get_children();
        std::move(children.begin(), children.end(), std::back_inserter(next));
      }
      frontier = std::move(next);
    }
  }
  return out;
}

bool is_internal_tag_name(const vael::tag& t) {
  return is_internal_name(t.get_name());
}

bool is_user_facing_tag(const vael::tag& t) {
  if (!t.has_parent() || !t.can_tag_media()) return false;
  const std::string type = t.get_type_name();
  if (type == type_name::user_qr_code) return false;
  return type.compare(0, 4, "user") == 0 || type == type_name::hidden ||
         type == type_name::collection;
}

vael::tag create_history_tag(const vael::connection_handle& handle,
                             const std::string& category_type, const std::string& item_type) {
  const vael::custom_tag_namespace history = create_or_load_ns(handle, ns_name::history);
  const vael::tag category =
      find_or_create_top_level_tag(history, category_type, history_category_type(category_type));
  const boost::posix_time::ptime now = utc_now();
  vael::tag event = category.create_child(item_type, history_event_type(item_type));
  create_tag_metadata(handle, id::tag_date, date_time_type, event.get_id(), dbl::entry_data(now));
  return event;
}

vael::tag create_export_history_tag(const vael::connection_handle& handle) {
  return create_history_tag(handle, type_name::history_export_category, type_name::history_export);
}

vael::tag create_print_history_tag(const vael::connection_handle& handle,
                                   const std::string& printer_name) {
  return history_tag_with(handle, type_name::history_print_category, type_name::history_print,
                          id::printer_name, printer_name);
}

vael::tag create_email_history_tag(const vael::connection_handle& handle,
                                   const std::string& recipients) {
  return history_tag_with(handle, type_name::history_email_category, type_name::history_email,
                          id::email_recipients, recipients);
}

vael::tag create_share_history_tag(const vael::connection_handle& handle,
                                   const std::string& service_name) {
  return history_tag_with(handle, type_name::history_share_category, type_name::history_share,
                          id::service_name, service_name);
}

vael::tag create_order_history_tag(const vael::connection_handle& handle,
                                   const std::string& service_name) {
  return history_tag_with(handle, type_name::history_order_category, type_name::history_order,
                          id::service_name, service_name);
}

vael::tag create_project_history_tag(const vael::connection_handle& handle,
                                     const std::string& project_name) {
  return history_tag_with(handle, type_name::history_print_category, type_name::history_project,
                          id::project_name, project_name);
}

vael::tag find_or_create_smart_event_tag(const vael::connection_handle& handle) {
  return find_or_create_top_level_tag(create_or_load_ns(handle, ns_name::history),
                                      reserved_name::smart_event, smart_event_type());
}

void set_tag_icon(const vael::connection_handle& handle, int tag_id, const dbl::blob& icon,
                  int media_id, const std::string& crop_rect) {
  create_tag_metadata(handle, id::tag_icon, blob_type, tag_id, dbl::entry_data(icon));
  create_tag_metadata(handle, id::tag_icon_media_id, integer_type, tag_id,
                      dbl::entry_data(media_id));
  create_tag_metadata(handle, id::tag_icon_media_crop_rect, string_type, tag_id,
                      dbl::entry_data(crop_rect));
}

}  // namespace vael_util
