#include <iostream>
#include <memory>

#include "environment/reg_settings.h"
#include "platform/sync_util.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"

namespace vantor_cli {
namespace {

std::unique_ptr<sync_reg_util::RegSettings> open_key(bool machine, const std::string& key) {
  if (machine) return std::make_unique<sync_reg_util::RegSettingsLM>(key);
  return std::make_unique<sync_reg_util::RegSettingsCU>(key);
}

struct setting_args {
  bool machine = false;
  bool json = false;
  std::string key;
  std::string name;
  std::string value;
};

void declare(CLI::App* command, setting_args& args) {
  command->add_flag("--machine", args.machine, "The machine's hive instead of the current user's.");
  command->add_option("KEY", args.key, "A path such as 'software\\norvane\\Strand'.")->required();
  command->add_option("NAME", args.name, "The value's name.")->required();
}

void show_sync_catalog(bool json) {
  const std::string folder = sync_util::get_sync_catalog(10);
  if (json) {
    print_json(QJsonObject{{"folder", json_text(folder)}});
  } else {
    std::cout << folder << "\n";
  }
}

}  // namespace

void add_settings_commands(CLI::App& app) {
  CLI::App* settings = add_family(app, "settings", "Reads and writes the settings store.");
  auto get = std::make_shared<setting_args>();
  CLI::App* get_command =
      add_command(*settings, "get", "Prints a value of the settings store.", [get] {
        auto key = open_key(get->machine, get->key);
        if (!key->contains(QString::fromStdString(get->name))) {
          throw std::runtime_error("no value " + get->name + " under " + get->key);
        }
        const std::string value = key->get_string(get->name);
        if (get->json) {
          print_json(QJsonObject{{"value", json_text(value)}});
        } else {
          std::cout << value << "\n";
        }
        return 0;
      });
  declare(get_command, *get);
  add_json_flag(get_command, get->json);
  auto set = std::make_shared<setting_args>();
  CLI::App* set_command =
      add_command(*settings, "set", "Stores a text value in the settings store.", [set] {
        auto key = open_key(set->machine, set->key);
        key->set_string(set->name, set->value);
        key->sync();
        if (key->status() != QSettings::NoError) {
          throw std::runtime_error("cannot write " + key->fileName().toStdString());
        }
        return 0;
      });
  declare(set_command, *set);
  set_command->add_option("VALUE", set->value, "The text to store.")->required();

  CLI::App* sync_catalog = add_family(
      app, "sync-catalog", "Shows (no argument) or sets the folder of the sync catalog.");
  sync_catalog->require_subcommand(0, 1);
  sync_catalog->callback([sync_catalog] {
    if (sync_catalog->get_subcommands().empty()) show_sync_catalog(false);
  });
  auto show_json = std::make_shared<bool>(false);
  add_json_flag(
      add_command(*sync_catalog, "show", "Prints the sync catalog folder (empty when none is set).",
                  [show_json] {
                    show_sync_catalog(*show_json);
                    return 0;
                  }),
      *show_json);
  auto path = std::make_shared<std::string>();
  add_command(*sync_catalog, "set", "Makes PATH the sync catalog folder.",
              [path] {
                if (sync_util::set_sync_catalog(*path) != 0) {
                  throw std::runtime_error("cannot store the sync catalog");
                }
                return 0;
              })
      ->add_option("PATH", *path, "The folder.")
      ->required();
}

}  // namespace vantor_cli
