#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "tests/support/sandbox.h"
#include "vantor/vantor.h"

namespace vantor_test {

// A sandbox whose pictures folder is <root>/home/Photos (through user-dirs.dirs), with helpers
// that write the settings files the way a person or the host leaves them.
class prefs_env {
 public:
  prefs_env() {
    std::filesystem::create_directories(box_.path("home/Photos"));
    box_.write_file("home/.config/user-dirs.dirs", "XDG_PICTURES_DIR=\"$HOME/Photos\"\n");
  }

  const sandbox& box() const { return box_; }
  // The download folder the library must compute from the sandbox's pictures folder.
  std::string download_path() const { return box_.path("home/Photos") + "/Norvane"; }
  // Writes a current-user settings file: `key` with "\", `body` the lines under [General].
  void write_user_key(std::string key, const std::string& body) const {
    std::replace(key.begin(), key.end(), '\\', '/');
    box_.write_file("registry/HKEY_CURRENT_USER/" + key + ".ini", "[General]\n" + body);
  }
  // A sync utility state: sync catalog, user name, ticket and user id.
  void write_strand(const std::string& catalog, const std::string& user, const std::string& ticket,
                    const std::string& userId = "u-1") const {
    write_user_key("software\\norvane\\Strand",
                   "OMB10SyncCatalogPath=" + catalog + "\nUserName=" + user +
                       "\nEncryptedTicketVector=" + ticket + "\nUserId=" + userId + "\n");
  }

 private:
  sandbox box_;
};

}  // namespace vantor_test
