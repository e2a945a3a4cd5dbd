#include <algorithm>
#include <csignal>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"
#include "vantor_build_config.h"

namespace {

// "vantor tag move": how the user reaches `command`.
std::string path_of(const CLI::App* command) {
  std::string path = command->get_name();
  for (const CLI::App* up = command->get_parent(); up != nullptr; up = up->get_parent()) {
    path = up->get_name() + " " + path;
  }
  return path;
}

// The command the words named last, which a refusal of the words is about.
const CLI::App* deepest(const CLI::App& app) {
  const CLI::App* at = &app;
  while (!at->get_subcommands().empty()) at = at->get_subcommands().front();
  return at;
}

// Whether `command` is a family of commands; option groups are nameless subcommands.
bool has_commands(const CLI::App* command) {
  return !command->get_subcommands([](const CLI::App* sub) { return !sub->get_name().empty(); })
              .empty();
}

std::string usage_of(const CLI::App* command) {
  return CLI::Formatter().make_usage(command, path_of(command)) + "Run '" + path_of(command) +
         " --help' for more.\n";
}

void add_help_command(CLI::App& app) {
  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* help =
      vantor_cli::add_command(app, "help", "Shows the help of a command.", [&app, words] {
        CLI::App* command = &app;
        for (const std::string& word : *words) {
          const auto found = command->get_subcommands(
              [&](const CLI::App* sub) { return sub->get_name() == word; });
          if (found.empty()) {
            throw vantor_cli::usage_error("no command '" + word + "' in '" + path_of(command) +
                                          "'");
          }
          command = found.front();
        }
        std::cout << command->get_formatter()->make_help(command, path_of(command),
                                                         CLI::AppFormatMode::Normal);
        return 0;
      });
  help->add_option("COMMAND", *words, "The command and its subcommands, e.g. 'tag move'.");
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  vantor_cli::checked_output output;
  CLI::App app(
      "Drives the Vantor library the way a host does: preferences, settings, catalogs.\n"
      "Settings live under $VANTOR_SETTINGS_ROOT (default: "
      "$XDG_CONFIG_HOME/norvane/registry).\n"
      "Exit status: 0 on success, 1 for a 'no' answer, 2 on any error.",
      "vantor");
  app.set_version_flag("-V,--version", VANTOR_VERSION_TEXT);
  app.fallthrough();
  app.require_subcommand(1);
  vantor_cli::add_global_options(app);
  add_help_command(app);
  vantor_cli::add_prefs_commands(app);
  vantor_cli::add_settings_commands(app);
  vantor_cli::add_catalog_commands(app);
  vantor_cli::add_tag_commands(app);
  vantor_cli::add_media_commands(app);
  vantor_cli::add_stack_commands(app);
  vantor_cli::add_album_commands(app);
  vantor_cli::add_online_commands(app);
  vantor_cli::add_conflicts_command(app);
  vantor_cli::add_screen_command(app);
  vantor_cli::add_save_command(app);
  vantor_cli::add_search_command(app);
  vantor_cli::add_preview_command(app);

  if (argc < 2) {
    std::cerr << app.help();
    return 2;
  }
  int status = 2;
  try {
    app.parse(argc, argv);
    status = vantor_cli::command_status();
  } catch (const CLI::CallForHelp& e) {
    status = app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    status = app.exit(e);
  } catch (const CLI::ParseError& e) {
    const CLI::App* at = deepest(app);
    const std::vector<std::string> left = app.remaining(true);
    // CLI11 checks what is required before what is left over, so an unknown option would
    // otherwise hide behind a complaint about what it was meant to be.
    const auto option = std::find_if(left.begin(), left.end(), [](const std::string& word) {
      return word.size() > 1 && word[0] == '-';
    });
    if (option != left.end()) {
      std::cerr << "vantor: unknown option '" << *option << "'\n" << usage_of(at);
    } else if (e.get_name() == "RequiredError" && has_commands(at) && !left.empty()) {
      std::cerr << "vantor: unknown command '" << left.front() << "'\n" << usage_of(at);
    } else {
      std::cerr << "vantor: " << e.what() << "\n" << usage_of(at);
    }
  } catch (const vantor_cli::usage_error& e) {
    std::cerr << "vantor: " << e.what() << "\n" << usage_of(deepest(app));
  } catch (const std::exception& e) {
    std::cerr << "vantor: " << e.what() << "\n";
  }
  const int error = output.finish();
  if (error == 0 || error == EPIPE) return status;
  std::cerr << "vantor: cannot write the output: " << std::strerror(error) << "\n";
  return 2;
}
