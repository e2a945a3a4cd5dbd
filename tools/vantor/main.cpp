#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "tools/vantor/command.h"
#include "tools/vantor/commands.h"

namespace {

vantor_cli::command root_command() {
  vantor_cli::command root;
  root.name = "vantor";
  root.summary = "Drives the Vantor library the way a host does: preferences, settings, catalogs.";
  root.details =
      "Settings live under $VANTOR_SETTINGS_ROOT (default: $XDG_CONFIG_HOME/norvane/registry).\n"
      "Exit status: 0 on success, 1 for a 'no' answer, 2 on any error.";
  // One command family a line, so that a new family is a one-line change.
  // clang-format off
  root.children = {
      vantor_cli::prefs_command(),
      vantor_cli::eligible_command(),
      vantor_cli::settings_command(),
      vantor_cli::sync_catalog_command(),
      vantor_cli::catalog_command(),
      vantor_cli::volume_command(),
      vantor_cli::tag_command(),
      vantor_cli::namespace_command(),
      vantor_cli::import_command(),
      vantor_cli::sample_photos_command(),
      vantor_cli::media_command(),
      vantor_cli::meta_command(),
      vantor_cli::stack_command(),
      vantor_cli::version_command(),
      vantor_cli::album_command(),
      vantor_cli::online_command(),
      vantor_cli::server_time_command(),
      vantor_cli::sync_albums_command(),
      vantor_cli::conflicts_command(),
      vantor_cli::screen_command(),
      vantor_cli::save_command(),
  };
  // clang-format on
  return root;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  try {
    return vantor_cli::dispatch(root_command(), words, "vantor");
  } catch (const vantor_cli::usage_error& e) {
    std::cerr << "vantor: " << e.what() << "\nTry 'vantor --help'.\n";
  } catch (const std::exception& e) {
    std::cerr << "vantor: " << e.what() << "\n";
  }
  return 2;
}
