#include <iostream>
#include <memory>

#include "environment/reg_settings.h"
#include "platform/sync_util.h"
#include "tools/vantor/commands.h"

namespace vantor_cli {
namespace {

std::unique_ptr<sync_reg_util::RegSettings> open_key(bool machine, const std::string& key) {
  if (machine) return std::make_unique<sync_reg_util::RegSettingsLM>(key);
  return std::make_unique<sync_reg_util::RegSettingsCU>(key);
}

int settings_get(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {}, {"--machine"});
  expect_positionals(args, 2, 2);
  auto key = open_key(args.has("--machine"), args.positionals[0]);
  if (!key->contains(QString::fromStdString(args.positionals[1]))) {
    throw std::runtime_error("no value " + args.positionals[1] + " under " + args.positionals[0]);
  }
  std::cout << key->get_string(args.positionals[1]) << "\n";
  return 0;
}

int settings_set(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {}, {"--machine"});
  expect_positionals(args, 3, 3);
  auto key = open_key(args.has("--machine"), args.positionals[0]);
  key->set_string(args.positionals[1], args.positionals[2]);
  key->sync();
  if (key->status() != QSettings::NoError) {
    throw std::runtime_error("cannot write " + key->fileName().toStdString());
  }
  return 0;
}

int sync_catalog_show(const std::vector<std::string>& words) {
  expect_positionals(parse_args(words, {}), 0, 0);
  std::cout << sync_util::get_sync_catalog(10) << "\n";
  return 0;
}

int sync_catalog_set(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 1, 1);
  if (sync_util::set_sync_catalog(args.positionals[0]) != 0) {
    throw std::runtime_error("cannot store the sync catalog");
  }
  return 0;
}

}  // namespace

command settings_command() {
  command get{"get",
              "[--machine] KEY NAME",
              "Prints a value of the settings store.",
              "KEY is a path such as 'software\\norvane\\Strand'; --machine reads the machine's "
              "hive\ninstead of the current user's.",
              settings_get,
              {}};
  command set{"set",
              "[--machine] KEY NAME VALUE",
              "Stores a text value in the settings store.",
              "",
              settings_set,
              {}};
  return {"settings", "", "Reads and writes the settings store.", "", nullptr, {get, set}};
}

command sync_catalog_command() {
  command show{
      "show", "", "Prints the sync catalog folder (empty when none is set).", "", sync_catalog_show,
      {}};
  command set{"set", "PATH", "Makes PATH the sync catalog folder.", "", sync_catalog_set, {}};
  return {"sync-catalog",
          "",
          "Shows (no argument) or sets the folder of the sync catalog.",
          "",
          sync_catalog_show,
          {show, set}};
}

}  // namespace vantor_cli
