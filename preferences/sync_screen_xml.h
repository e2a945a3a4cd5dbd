#pragma once

#include <map>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/tag.h"
#include "dbl/entry_data.h"
#include "preferences/ksv_bridge.h"
#include "preferences/library_state.h"

// The two trees of the preference screen: the online albums as the membership client lists
// them, and the local albums of the catalog's collection_ns. The export that joins them is
// the five-argument VTL::GetXMLForSyncPrefs.
namespace vantor_prefs {

// Appends one <tag> element per online album of `tags`, all at `height`: an online album's
// place is given by its parents text alone. Albums whose escaped title is empty are left out.
// Records each written album's sharing details in `shared` under its online id, replacing
// what stood there.
void WriteOnlineTagTree(const std::vector<ksv_map>& tags, int height, std::string& out,
                        std::map<std::string, SharedAlbumInfo>& shared);

// The marks the screen shows, read for every tag at once: a tree of thousands of albums would
// otherwise cost a query per album.
class TagSyncMarks {
 public:
  // REQUIRES: the description sync:HalcynTagSyncStatus exists.
  TagSyncMarks(const vael::connection_handle& handle, bool markAllForSync);

  // The tag's sync status (0 when it has none), 3 for a status of 1 on a shared flat album
  // (omb:aclPublic "r"), and 1 in place of 0 when `markAllForSync`.
  int mark(int tag_id) const;

 private:
  std::map<int, dbl::entry_data> status_;
  std::map<int, dbl::entry_data> access_;
  bool mark_all_;
};

// Appends one <tag> element per tag of `tags`, in order, with its children nested inside at
// `height` + 1. QR code and viiv albums are left out with their subtrees. The online id of
// each tag comes from the sync agent's album store. Throws what reading the catalog throws.
void WriteLocalTagTree(const std::vector<vael::tag>& tags, int height, const TagSyncMarks& marks,
                       std::string& out);

}  // namespace vantor_prefs
