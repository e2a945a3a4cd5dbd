#pragma once

#include <string>

// The XDG folders that stand in for the known folders of other platforms. Each is read from
// the environment on every call and has no trailing slash; "" when it cannot be named.
namespace vantor_env {

// The XDG pictures directory: PICTURES of user-dirs.dirs, else $HOME/Pictures.
std::string GetPicturesFolder();
// The user's data folder: $XDG_DATA_HOME, else $HOME/.local/share.
std::string GetUserDataFolder();
// The machine's data folder: the first folder of $XDG_DATA_DIRS (default
// /usr/local/share:/usr/share) that exists; "" when none does.
std::string GetMachineDataFolder();

}  // namespace vantor_env
