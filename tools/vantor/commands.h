#pragma once

#include "tools/vantor/cli.h"

namespace vantor_cli {

// The top-level commands, one family per source file.
void add_prefs_commands(CLI::App& app);
void add_settings_commands(CLI::App& app);
void add_catalog_commands(CLI::App& app);
void add_catalog_model_commands(CLI::App& app, CLI::App& catalog);
void add_tag_commands(CLI::App& app);
void add_media_commands(CLI::App& app);
void add_stack_commands(CLI::App& app);
void add_album_commands(CLI::App& app);
void add_online_commands(CLI::App& app);
void add_conflicts_command(CLI::App& app);
void add_screen_command(CLI::App& app);
void add_save_command(CLI::App& app);
void add_search_command(CLI::App& app);
void add_preview_command(CLI::App& app);

}  // namespace vantor_cli
