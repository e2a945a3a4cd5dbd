#include "preferences/tag_selection.h"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "catalog/catalog_lookup.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"
#include "catalog/tag_type.h"
#include "catalog/transaction.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/well_known_tags.h"
#include "dbl/entry_data.h"
#include "platform/sync_util.h"
#include "preferences/host_xml_parser.h"
#include "preferences/library_state.h"

namespace vantor_prefs {

std::deque<TagSelectionEntry> gTagSelectionStack;

namespace {

namespace md = vael_util::metadata_identifier;

// Data types of the descriptions written here, in case the write makes them.
constexpr int kTextValue = 0;
constexpr int kNumberValue = 1;

// What the host calls the album's attributes is of no interest: they are read by position
// after "localid", counted in names and values alike.
constexpr std::size_t kLocalId = 1;
constexpr std::size_t kOnlineId = 3;
constexpr std::size_t kParents = 5;
constexpr std::size_t kLabel = 7;
constexpr std::size_t kState = 9;
constexpr std::size_t kFlag = 11;
constexpr std::size_t kType = 13;

const vael::connection_handle& Catalog() {
  return gCatalogConnection->handle();
}

// Runs `step` in a transaction of its own and commits it.
template <typename Step>
void Committed(Step&& step) {
  vael::transaction t(Catalog());
  t.begin(vael::without_undo, vael::lock_now);
  step();
  t.commit();
}

// An album is made ordered; a group, whatever its type text, with the defaults.
vael::tag_type_t TypeOf(const TagSelectionEntry& entry) {
  vael::tag_type_t type;
  if (entry.type == vael_util::type_name::collection) {
    type.type_name = vael_util::type_name::collection;
    type.media_is_ordered = true;
  } else {
    type.type_name = vael_util::type_name::collection_group;
  }
  return type;
}

// Makes the entry's tag at the top of collection_ns, or under the tag `parent_id` when one is
// given, and stores its id in the entry.
// REQUIRES: an open transaction.
void CreateTag(TagSelectionEntry& entry, std::optional<int> parent_id) {
  const vael::tag made =
      parent_id ? vael::get_tag(Catalog(), *parent_id).create_child(entry.label, TypeOf(entry))
                : vael_util::create_or_load_ns(Catalog(), vael_util::ns_name::collection)
                      .create_tag(entry.label, TypeOf(entry));
  entry.localid = std::to_string(made.get_id());
}

int IdOf(const TagSelectionEntry& entry) {
  return std::atoi(entry.localid.c_str());
}

// The album that a save cut short made for the entry's online album: its link is still the
// unfinished one that CreateLocalTags records. Stores its id in the entry and its parents'
// ids in the open ancestors, which that save made with it.
bool FindUnfinishedTag(TagSelectionEntry& entry) {
  std::vector<int> linked;
  if (entry.onlineid.empty() ||
      sync_util::get_unfinished_sync_tag_ids(entry.onlineid, linked) != sync_util::kAlbumOk) {
    return false;
  }
  for (int id : linked) {
    if (!vael::tag_exists(Catalog(), id)) continue;
    entry.localid = std::to_string(id);
    vael::tag at = vael::get_tag(Catalog(), id);
    for (auto a = gTagSelectionStack.rbegin(); a != gTagSelectionStack.rend(); ++a) {
      if (!at.has_parent_tag()) break;
      at = at.get_parent();
      if (a->localid.empty()) a->localid = std::to_string(at.get_id());
    }
    return true;
  }
  return false;
}

// Makes the entry's tag and, outermost first, every open ancestor that has none yet, in one
// transaction; their new ids stay on the stack for the children that follow. The tag of an
// online album is linked to it, unfinished (change id 0), before the commit, so that a save
// cut short after the commit finds the tag again rather than making a second one; a link to a
// tag whose commit failed names no tag, and ApplyEntry replaces the link once it has marked
// the album.
void CreateLocalTags(TagSelectionEntry& entry) {
  if (FindUnfinishedTag(entry)) return;
  Committed([&] {
    for (std::size_t i = 0; i < gTagSelectionStack.size(); ++i) {
      TagSelectionEntry& ancestor = gTagSelectionStack[i];
      if (!ancestor.localid.empty()) continue;
      CreateTag(ancestor, i == 0 ? std::nullopt : std::optional(IdOf(gTagSelectionStack[i - 1])));
    }
    CreateTag(entry, gTagSelectionStack.empty() ? std::nullopt
                                                : std::optional(IdOf(gTagSelectionStack.back())));
    if (entry.onlineid.empty()) return;
    const SharedAlbumInfo& album = gSharedAlbums[entry.onlineid];
    if (sync_util::create_or_replace_sync_tag_info(IdOf(entry), entry.onlineid, 0, album.first,
                                                   album.second) != sync_util::kAlbumOk) {
      throw std::runtime_error("the album store cannot link album " + entry.onlineid);
    }
  });
}

void WriteTagValue(const char* identifier, int data_type, int tag_id,
                   const dbl::entry_data& value) {
  vael_util::create_tag_metadata(Catalog(), identifier, data_type, tag_id, value);
}

// The change id that the commit just stamped on the tag. The write dropped the tag from the
// cache, so this load reads the row as committed; a tag object loaded before holds the old id.
unsigned CommittedChangeId(int tag_id) {
  return static_cast<unsigned>(vael::get_tag(Catalog(), tag_id).get_change_id());
}

void ApplyEntry(TagSelectionEntry entry) {
  const bool marked = entry.state == 1 || entry.state == 3;
  if (entry.localid.empty() && marked) CreateLocalTags(entry);
  gTagSelectionStack.push_back(entry);

  // An album with neither a local tag nor a mark has id 0, which names no tag: there is
  // nothing to load or to write, and the entry only stands for its children.
  if (IdOf(entry) == 0) return;
  const int id = vael::get_tag(Catalog(), IdOf(entry)).get_id();
  if (entry.state == 0) {
    Committed([&] { WriteTagValue(md::tag_sync_status, kNumberValue, id, 0u); });
    sync_util::set_album_dirty_if_exists(id, true);
    return;
  }
  if (!marked) return;

  const unsigned state = static_cast<unsigned>(entry.state);
  if (entry.onlineid.empty()) {
    Committed([&] { WriteTagValue(md::tag_sync_status, kNumberValue, id, state); });
  } else {
    const SharedAlbumInfo& album = gSharedAlbums[entry.onlineid];
    Committed([&] {
      if (album.isSharedFlat) {
        WriteTagValue(md::tag_sync_status, kNumberValue, id, 3);
        WriteTagValue(md::acl_public, kTextValue, id, "r");
        WriteTagValue(md::is_shared_album_public, kNumberValue, id, album.isPublic);
        WriteTagValue(md::flat_album_template_id, kTextValue, id, album.templateId);
        WriteTagValue(md::shared_album_permissions, kTextValue, id, album.permissions);
      } else {
        WriteTagValue(md::tag_sync_status, kNumberValue, id, state);
      }
    });
    sync_util::create_or_replace_sync_tag_info(id, entry.onlineid, CommittedChangeId(id),
                                               album.first, album.second);
  }
  sync_util::set_album_dirty_if_exists(id, false);
}

void StartElement(const XML_Char** attributes) {
  std::size_t count = 0;
  while (attributes[count] != nullptr) ++count;
  for (std::size_t i = 0; i < count; ++i) {
    if (std::strcmp(attributes[i], "localid") != 0) continue;
    // The host always sends all seven; a shorter list reads as empty texts, never past its end.
    auto at = [&](std::size_t offset) { return i + offset < count ? attributes[i + offset] : ""; };
    TagSelectionEntry entry;
    entry.state = std::atoi(at(kState));
    entry.localid = at(kLocalId);
    entry.onlineid = at(kOnlineId);
    entry.flag = std::strcmp(at(kFlag), "true") == 0;
    entry.parents = at(kParents);
    entry.label = at(kLabel);
    entry.type = at(kType);
    ApplyEntry(std::move(entry));
    i += kType;
  }
}

// Empties the stack on the way in and on every way out of a parse.
struct stack_reset {
  stack_reset() { gTagSelectionStack.clear(); }
  ~stack_reset() { gTagSelectionStack.clear(); }
  stack_reset(const stack_reset&) = delete;
  stack_reset& operator=(const stack_reset&) = delete;
};

}  // namespace

void XMLCALL TagSelectionStartElement(void* user_data, const XML_Char* /*name*/,
                                      const XML_Char** attributes) {
  host_xml_parser::guard(user_data, [&] { StartElement(attributes); });
}

void XMLCALL TagSelectionEndElement(void* user_data, const XML_Char* /*name*/) {
  host_xml_parser::guard(user_data, [] {
    if (!gTagSelectionStack.empty()) gTagSelectionStack.pop_back();
  });
}

void ApplyTagSelection(const std::string& xml) {
  const stack_reset reset;
  host_xml_parser parser;
  parser.set_element_handlers(TagSelectionStartElement, TagSelectionEndElement);
  parser.parse(xml);
}

}  // namespace vantor_prefs
