#pragma once

#include <string>

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

}  // namespace sync_util
