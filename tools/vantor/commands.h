#pragma once

#include "tools/vantor/command.h"

namespace vantor_cli {

// The top-level commands, one family per source file.
command prefs_command();
command eligible_command();
command settings_command();
command sync_catalog_command();
command catalog_command();
command catalog_info_command();
command volume_command();
command tag_command();
command namespace_command();
command import_command();
command sample_photos_command();
command media_command();
command meta_command();
command stack_command();
command version_command();
command album_command();
command online_command();
command server_time_command();
command sync_albums_command();
command conflicts_command();
command screen_command();
command save_command();

}  // namespace vantor_cli
