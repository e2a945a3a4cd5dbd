#pragma once

#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"
#include "catalog/tag_type.h"
#include "dbl/entry_data.h"

namespace vael_util {

// Names of the well-known namespaces: values of the `name` column of their root rows. They
// are never shown to a user, so they are never translated.
namespace ns_name {
inline constexpr char user[] = "user_ns";
inline constexpr char event[] = "event_ns";
inline constexpr char person[] = "person_ns";
inline constexpr char place[] = "place_ns";
inline constexpr char collection[] = "collection_ns";
inline constexpr char smart_collection[] = "smartcollect_ns";
inline constexpr char hidden[] = "hidden_ns";
inline constexpr char import[] = "import_ns";
inline constexpr char history[] = "history_ns";
inline constexpr char rejected_face[] = "rejected_face_ns";
inline constexpr char video_project[] = "vdl_project_tag_ns";
inline constexpr char content_analysis[] = "vdl_content_analysis_tag_ns";
inline constexpr char content_analysis_hidden[] = "vdl_content_analysis_hidden_tag_ns";
}  // namespace ns_name

// Values of the `type_name` column. The last four are reserved: stored by other programs,
// made by nothing here.
namespace type_name {
inline constexpr char user_person[] = "user_person";
inline constexpr char user_place[] = "user_place";
inline constexpr char user_event[] = "user_event";
inline constexpr char user_misc[] = "user_misc";
inline constexpr char user_custom[] = "user_custom";
inline constexpr char user_qr_code[] = "user_qr_code";
inline constexpr char collection[] = "collection";
inline constexpr char collection_intel_viiv[] = "collection_intel_viiv";
inline constexpr char collection_group[] = "collection_group";
inline constexpr char smart_collection[] = "smartcollect";
inline constexpr char smart_collection_group[] = "smartcollect_group";
inline constexpr char content_analysis_group[] = "vdl_content_analysis_group";
inline constexpr char content_analysis_hidden_group[] = "vdl_content_analysis_hidden_group";
inline constexpr char hidden[] = "hidden";
inline constexpr char rejected_face[] = "rejected_face";
inline constexpr char history_export_category[] = "history_export_category";
inline constexpr char history_print_category[] = "history_print_category";
inline constexpr char history_email_category[] = "history_email_category";
inline constexpr char history_share_category[] = "history_share_category";
inline constexpr char history_order_category[] = "history_order_category";
inline constexpr char history_export[] = "history_export";
inline constexpr char history_print[] = "history_print";
inline constexpr char history_email[] = "history_email";
inline constexpr char history_share[] = "history_share";
inline constexpr char history_order[] = "history_order";
inline constexpr char history_project[] = "history_project";
inline constexpr char smart_event[] = "smartEvent";
inline constexpr char import[] = "import";
inline constexpr char video_project[] = "vdl_project";
inline constexpr char video_project_group[] = "vdl_project_group";
inline constexpr char history_project_category[] = "history_project_category";
}  // namespace type_name

// Reserved values of the `name` column, compared exactly and case-sensitively.
namespace reserved_name {
inline constexpr char hidden[] = "Hidden";
inline constexpr char rejected_face[] = "";
inline constexpr char smart_event[] = "smartEvent";
// A sentinel: only ever compared, never made here.
inline constexpr char internal_sentinel[] = "zzABC@11#";
}  // namespace reserved_name

// The descriptions tags of the well-known types are made from. Two stack flags stay false in
// every one; a tag's stored flags, not its type name, rule once it is made.
const vael::tag_type_t& user_person_type();
const vael::tag_type_t& user_place_type();
const vael::tag_type_t& user_event_type();
// user_misc comes in two forms on purpose: a leaf, and the form of the default tag.
const vael::tag_type_t& user_misc_leaf_type();
const vael::tag_type_t& user_misc_parent_type();
const vael::tag_type_t& user_custom_type();
const vael::tag_type_t& user_qr_code_type();
const vael::tag_type_t& album_type();
const vael::tag_type_t& album_intel_viiv_type();
const vael::tag_type_t& album_group_type();
const vael::tag_type_t& smart_album_type();
const vael::tag_type_t& smart_album_group_type();
// Inner nodes of the content analysis trees; their roots are made without can_tag_media.
const vael::tag_type_t& content_analysis_group_type();
const vael::tag_type_t& content_analysis_hidden_group_type();
const vael::tag_type_t& hidden_type();
const vael::tag_type_t& rejected_face_type();
const vael::tag_type_t& smart_event_type();
// A history category (holds events, no media) and a history event (holds media, no
// children) of the given type name.
vael::tag_type_t history_category_type(const std::string& type_name);
vael::tag_type_t history_event_type(const std::string& type_name);
// Every description above in one list, the history ones included: each category once, each
// event once.
const std::vector<vael::tag_type_t>& well_known_tag_types();

// The namespace of that name, made when there is none. REQUIRES: an open transaction when it
// may be made.
vael::custom_tag_namespace create_or_load_ns(const vael::connection_handle& handle,
                                             const std::string& name);
// The one child of hidden_ns. Throws std::runtime_error "vael_util::load_hidden_tag --
// Expected only one hidden tag" unless there is exactly one, and as get_custom_tag_namespace
// when the namespace is missing.
vael::tag load_hidden_tag(const vael::connection_handle& handle);
// The one child of rejected_face_ns. Throws std::runtime_error "vael_util::load_rejected_face_tag
// -- Expected only one rejected face tag" unless there is exactly one.
vael::tag load_rejected_face_tag(const vael::connection_handle& handle);

// Stores in `found` the first top-level tag of `ns` in sibling order named exactly `name`, and
// says whether there was one; makes nothing.
bool find_top_level_tag(const vael::custom_tag_namespace& ns, const std::string& name,
                        vael::tag& found);
// That tag, or a new top-level tag made from `type` when there is none.
// REQUIRES: an open transaction when it may be made.
vael::tag find_or_create_top_level_tag(const vael::custom_tag_namespace& ns,
                                       const std::string& name, const vael::tag_type_t& type);
// A child of `parent` named `name`, as the name column's collation compares, or a new child
// made from `type`. REQUIRES: an open transaction when it may be made.
vael::tag find_or_create_child_tag(const vael::tag& parent, const std::string& name,
                                   const vael::tag_type_t& type);

// For each id in order: the id, then its descendants breadth first. Duplicates are kept, so a
// tag listed twice gives its subtree twice. Throws std::logic_error for an unknown id.
std::vector<int> expand_tag_descendants(const vael::connection_handle& handle,
                                        const std::vector<int>& tag_ids);
// As expand_tag_descendants without tags of an internal name; their children are still
// walked, and kept unless their own names are internal.
std::vector<int> expand_tag_descendants_ignore_internal_tags(const vael::connection_handle& handle,
                                                             const std::vector<int>& tag_ids);

// Whether the tag's name is "smartEvent" or the sentinel "zzABC@11#".
bool is_internal_tag_name(const vael::tag& t);
// Whether a user sees and applies the tag: it has a parent, can hold media, and is a user tag
// (a QR code tag excepted), the hidden tag or an album. An album of type collection_intel_viiv
// is not one: its type neither begins with "user" nor is "collection".
bool is_user_facing_tag(const vael::tag& t);

// Adds a new event of type `item_type` under the top-level history_ns category of type
// `category_type` (made on first use and named by its type), dated now (UTC) in omb:TagDate.
// Every call makes a new event. Throws std::runtime_error "could not convert calendar time to
// UTC time" when the clock cannot be read as UTC. REQUIRES: an open transaction.
vael::tag create_history_tag(const vael::connection_handle& handle,
                             const std::string& category_type, const std::string& item_type);
// One history event per kind, with its detail as a string metadata of the event. A project
// event goes under the print category: no project category is ever made.
vael::tag create_export_history_tag(const vael::connection_handle& handle);
vael::tag create_print_history_tag(const vael::connection_handle& handle,
                                   const std::string& printer_name);
vael::tag create_email_history_tag(const vael::connection_handle& handle,
                                   const std::string& recipients);
vael::tag create_share_history_tag(const vael::connection_handle& handle,
                                   const std::string& service_name);
vael::tag create_order_history_tag(const vael::connection_handle& handle,
                                   const std::string& service_name);
vael::tag create_project_history_tag(const vael::connection_handle& handle,
                                     const std::string& project_name);

// The top-level tag of history_ns named and typed smartEvent, made when missing.
// REQUIRES: an open transaction when it may be made.
vael::tag find_or_create_smart_event_tag(const vael::connection_handle& handle);

// Writes omb:TagIcon, omb:TagIconMediaId and omb:TagIconMediaCropRect on the tag, in that
// order. `crop_rect` is the text of format_rect. REQUIRES: an open transaction.
void set_tag_icon(const vael::connection_handle& handle, int tag_id, const dbl::blob& icon,
                  int media_id, const std::string& crop_rect);

}  // namespace vael_util
