#include "preferences/sync_screen_xml.h"

#include <optional>
#include <string>
#include <vector>

#include "catalog/catalog_database.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/metadata_view.h"
#include "catalog/transaction.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/well_known_tags.h"
#include "dbl/transaction.h"
#include "environment/debug_log.h"
#include "platform/sync_util.h"
#include "preferences/sync_catalog.h"
#include "preferences/sync_prefs_xml.h"
#include "vantor/ksv_client.h"
#include "vantor/vantor.h"

namespace vantor_prefs {
namespace {

namespace id = vael_util::metadata_identifier;

// A code missing from the map reads as an empty text.
const std::string& text_of(const ksv_map& tag, KSV::Code code) {
  static const std::string empty;
  const auto found = tag.find(code);
  return found == tag.end() ? empty : found->second;
}

void append_attribute(std::string& out, const char* name, const std::string& value) {
  out += name;
  out += value;
  out += '"';
}

}  // namespace

void WriteOnlineTagTree(const std::vector<ksv_map>& tags, int height, std::string& out,
                        std::map<std::string, SharedAlbumInfo>& shared) {
  const std::string height_text = std::to_string(height);
  std::string title;
  for (const ksv_map& tag : tags) {
    title.clear();
    XmlEscape(text_of(tag, KSV::codes::tgti), title);
    if (title.empty()) continue;
    const std::string& online_id = text_of(tag, KSV::codes::srid);
    append_attribute(out, "\n<tag label =\"", title);
    // The parents text is escaped too: "A & B" would otherwise make the whole tree unreadable.
    // The other texts are ids and type names of the service, written as it gave them.
    std::string parents;
    XmlEscape(text_of(tag, KSV::codes::thie), parents);
    append_attribute(out, "\n parents =\"", parents);
    out += "\n localid =\"\"";
    append_attribute(out, "\n onlineid =\"", online_id);
    out += text_of(tag, KSV::codes::ttty) == "album group" ? "\n type =\"collection_group\""
                                                           : "\n type =\"collection\"";
    append_attribute(out, "\n height =\"", height_text);
    out += "\n isLiveAlbum =\"false\">";

    SharedAlbumInfo info;
    info.onlineid = online_id;
    info.isSharedFlat = text_of(tag, KSV::codes::acpu) == "r";
    info.isPublic = text_of(tag, KSV::codes::tpri) == "public" ? 1 : 0;
    info.templateId = text_of(tag, KSV::codes::gtmi);
    info.permissions = text_of(tag, KSV::codes::tapr);
    shared[online_id] = std::move(info);

    out += "\n</tag>";
  }
}

TagSyncMarks::TagSyncMarks(const vael::connection_handle& handle, bool markAllForSync)
    : mark_all_(markAllForSync) {
  const vael::metadata_view_t view(handle);
  status_ = view.get_first_value_of_each_tag(view.get_description(id::tag_sync_status));
  // A catalog that never shared an album has no omb:aclPublic description, and so no value.
  if (view.has_description(id::acl_public)) {
    access_ = view.get_first_value_of_each_tag(view.get_description(id::acl_public));
  }
}

int TagSyncMarks::mark(int tag_id) const {
  const auto status = status_.find(tag_id);
  int mark = status == status_.end() ? 0 : status->second.as_int();
  if (mark == 1) {
    const auto access = access_.find(tag_id);
    if (access != access_.end() && access->second.as_string() == "r") mark = 3;
  }
  if (mark_all_ && mark == 0) mark = 1;
  return mark;
}

void WriteLocalTagTree(const std::vector<vael::tag>& tags, int height, const TagSyncMarks& marks,
                       std::string& out) {
  const std::string height_text = std::to_string(height);
  std::string name;
  for (const vael::tag& tag : tags) {
    const std::string type = tag.get_type_name();
    if (type == vael_util::type_name::user_qr_code ||
        type == vael_util::type_name::collection_intel_viiv) {
      continue;
    }
    const int tag_id = tag.get_id();
    name.clear();
    XmlEscape(tag.get_name(), name);
    append_attribute(out, "\n<tag label =\"", name);
    append_attribute(out, "\n type =\"", type);
    append_attribute(out, "\n localid =\"", std::to_string(tag_id));

    std::string online_id;
    sync_util::get_sync_tag_nixie_id(tag_id, online_id);
    if (type == vael_util::type_name::collection_group) online_id.clear();
    append_attribute(out, "\n onlineid =\"", online_id);
    append_attribute(out, "\n height =\"", height_text);
    append_attribute(out, "\n ismarkedforsync =\"", std::to_string(marks.mark(tag_id)));
    out += '>';

    const std::vector<vael::tag> children = tag.get_children();
    if (!children.empty()) WriteLocalTagTree(children, height + 1, marks, out);
    out += "\n</tag>";
  }
}

}  // namespace vantor_prefs

namespace VTL {

error_code GetXMLForSyncPrefs(std::string folder, std::string& localXml, std::string& onlineXml,
                              std::string /*unused*/, bool markAllForSync) {
  using namespace vantor_prefs;
  try {
    gCatalogFolder = folder;
    const std::string catalog_path = EnsureSyncCatalogInPlace();

    const std::string ticket = RequireSignedInTicket();

    {
      const ksv_ref<KSV::Library> library = GetAuthenticatedKsvLibrary(ticket);
      const std::vector<ksv_map> tags = ListKsvTags(*library);
      const auto [quota, used] = GetKsvStorage(*library);
      std::string online = "<syncsettings><tagsdata><tagnamespace type = \"user_tag\">";
      WriteOnlineTagTree(tags, 1, online, gSharedAlbums);
      online += "</tagnamespace></tagsdata><KSVStorage quota = \"";
      online += quota;
      online += "\" storageused = \"";
      online += used;
      online += "\"/></syncsettings>";
      // Stays appended when the catalog fails below: the host reads the result first.
      onlineXml += online;
    }

    std::optional<catalog_connection_scope> connection;
    try {
      connection.emplace(catalog_path);
    } catch (const std::exception&) {
      vantor_env::DebugLog("Unable to retrive from Vael.Connection not valid.");
      throw catalog_error;
    }
    const vael::connection_handle& handle = connection->get().handle();
    {
      vael::transaction transaction(handle);
      transaction.begin(vael::without_undo, vael::lock_now);
      vael_util::create_or_load_metadata_description(
          handle, vael_util::metadata_identifier::tag_sync_status, 1);
      transaction.commit();
    }

    // The walk reads in one transaction: SQLite then takes its shared lock, and looks for a
    // hot journal, once rather than at each of the walk's tens of thousands of queries.
    dbl::transaction read(vael::database_of(handle));
    read.begin(dbl::merge_policy, true, false);
    // Built apart and appended whole, so that a failure leaves the caller's text as it was.
    std::string local = "\n<syncsettings>\n<tagsdata>";
    const vael::custom_tag_namespace albums =
        vael::get_custom_tag_namespace(handle, vael_util::ns_name::collection);
    local += "\n<tagnamespace type=\"collection_tag\">";
    WriteLocalTagTree(albums.get_children(), 1, TagSyncMarks(handle, markAllForSync), local);
    local += "\n</tagnamespace>\n</tagsdata>\n</syncsettings>";
    read.end();
    localXml += local;
    return success;
  } catch (error_code code) {
    return code;
  } catch (...) {
    vantor_env::DebugLog("Unhandled Exception.");
    return unknown_error;
  }
}

}  // namespace VTL
