#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vantor/ksv_client.h"

// The local client's whole service: a JSON file that stands in for the user's account.
namespace ksv_local {

// Statuses of the local client, beyond those of the interface.
inline constexpr KSV::Status kNoState = KSV::MakeStatus("nost");   // no state file
inline constexpr KSV::Status kBadState = KSV::MakeStatus("bast");  // unreadable or malformed

using text_pairs = std::vector<std::pair<KSV::Code, std::string>>;

struct state {
  std::string ticket;
  std::optional<std::string> server_time;  // the clock's own time when absent
  KSV::Status list_tags_status = KSV::codes::ok;
  text_pairs storage;              // qsal and qsud, those that the file gives
  std::vector<text_pairs> albums;  // tag maps, with the keys that the file gives
};

// $VANTOR_KSV_LOCAL_STATE when set, else <XDG data home>/norvane/ksv_local.json.
std::string state_path();

// Reads the state file into `out`. Returns 0, kNoState when the file does not exist, or
// kBadState when it cannot be read or is not a state object of the documented form.
KSV::Status load_state(state& out);

}  // namespace ksv_local
