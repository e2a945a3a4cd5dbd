#pragma once

#include <string>
#include <vector>

// Stand-in for the sync agent's utility library. Its values live in the settings store under
// the current user's key software\norvane\Strand.
namespace sync_util {

// The sync catalog folder of a product version (10 is the current one); empty if unset.
std::string get_sync_catalog(int version);
// Sets the current version's sync catalog. 0 on success, non-zero if the store cannot be
// written.
int set_sync_catalog(const std::string& path);
// True when UserName is not empty.
bool get_is_user_signed_in();
// EncryptedTicketVector as stored; empty when there is no valid user.
std::string get_ticket_vector();
// UserId as stored.
std::string get_ksvuser_id();
// The agent's data folder for `product`.
std::string get_sync_data_folder_path(const std::string& product);

// Statuses of the album functions below, which keep their data in the agent's album store
// (album_store.h). Failures are also logged.
inline constexpr int kAlbumOk = 0;
inline constexpr int kAlbumNotFound = 1;  // get_sync_tag_nixie_id: the tag has no online id
inline constexpr int kAlbumStoreError = 2;

// Sets the dirty flag of the album whose local tag id is `tagId`. An album that the store does
// not know is left alone, and that is no failure.
int set_album_dirty_if_exists(const int& tagId, bool dirty);
// Links the local album `tagId` to `onlineId`, recording the tag's `changeId` and the two
// texts; an earlier link of the album is replaced, its dirty flag kept.
int create_or_replace_sync_tag_info(int tagId, const std::string& onlineId, unsigned changeId,
                                    const std::string& first, const std::string& second);
// Adds to `tagIds` the local albums linked to `onlineId` with change id 0: links recorded
// before the album's making was committed and not yet replaced. None without a store.
int get_unfinished_sync_tag_ids(const std::string& onlineId, std::vector<int>& tagIds);
// Stores the online id linked to `tagId` in `onlineId`, which is left as it is on any status
// but kAlbumOk. Reading never creates the store.
int get_sync_tag_nixie_id(int tagId, std::string& onlineId);

}  // namespace sync_util
