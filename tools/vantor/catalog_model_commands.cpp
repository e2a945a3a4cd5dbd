#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "catalog/catalog_database.h"
#include "catalog/catalog_lookup.h"
#include "catalog/connection.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/transaction.h"
#include "catalog/volume_manager.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"

namespace vantor_cli {
namespace {

struct catalog_args {
  std::string catalog;
  bool json = false;
};

// Volumes as rows (id, type, path, online or offline) or as a JSON array.
QJsonArray volumes_of(const vael::volume_manager& vm, bool json) {
  QJsonArray volumes;
  for (const vael::volume_t& v : vm.get_all_volumes()) {
    const std::string path = vm.get_volume_path(v.id);
    const bool online = vm.is_volume_online(v.id);
    if (json) {
      volumes.append(QJsonObject{{"id", v.id},
                                 {"type", vael::volume_type_text(v.type)},
                                 {"path", json_text(path)},
                                 {"online", online}});
    } else {
      print_row({std::to_string(v.id), vael::volume_type_text(v.type), path,
                 online ? "online" : "offline"});
    }
  }
  return volumes;
}

void print_volume(const vael::volume_manager& vm, const vael::volume_t& v) {
  const std::string path = vm.get_volume_path(v.id);
  print_row({std::to_string(v.id), vael::volume_type_text(v.type), path,
             vm.is_volume_online(v.id) ? "online" : "offline"});
}

vael::volume_type parse_volume_type(const std::string& text) {
  for (int i = 0; i <= static_cast<int>(vael::volume_type::database_relative_drive); ++i) {
    const auto type = static_cast<vael::volume_type>(i);
    if (text == vael::volume_type_text(type)) return type;
  }
  throw usage_error("unknown volume type '" + text +
                    "'; one of builtin_drive, removable_drive, readonly_drive, network_drive, "
                    "no_drive");
}

int catalog_info(const catalog_args& args) {
  const auto c = open_catalog(args.catalog);
  const std::optional<std::int32_t> version =
      vael::schema::read_schema_version(vael::database_of(*c));
  const vael::catalog_counts counts = vael::count_catalog_rows(c->handle());
  const int change_id = vael::current_change_id(c->handle());
  const vael::volume_manager vm = vael::get_volume_manager(c->handle());
  if (args.json) {
    print_json(QJsonObject{{"schema_version", version ? QJsonValue(*version) : QJsonValue()},
                           {"change_id", change_id},
                           {"media", counts.media},
                           {"tags", counts.tags},
                           {"volumes", volumes_of(vm, true)}});
    return 0;
  }
  std::cout << "schema version: " << (version ? std::to_string(*version) : "none") << "\n"
            << "current change id: " << change_id << "\n"
            << "media: " << counts.media << "\n"
            << "tags: " << counts.tags << "\n"
            << "volumes: " << counts.volumes << "\n";
  volumes_of(vm, false);
  return 0;
}

}  // namespace

void add_catalog_model_commands(CLI::App& app, CLI::App& catalog) {
  auto info = std::make_shared<catalog_args>();
  CLI::App* info_command =
      add_command(catalog, "info",
                  "Shows a catalog's schema version, change id, counts and volumes.\n"
                  "Opens the catalog as the library does, which upgrades an older schema and adds\n"
                  "the catalog's own namespace and volume when they are missing.",
                  [info] { return catalog_info(*info); });
  info_command->add_option("FILE", info->catalog, "Catalog file.")->required();
  add_json_flag(info_command, info->json);

  CLI::App* volume = add_family(app, "volume", "Lists and edits the volumes of a catalog.");
  auto list = std::make_shared<catalog_args>();
  CLI::App* list_command = add_command(
      *volume, "list", "Lists the volumes of a catalog: id, type, known path, online or offline.",
      [list] {
        const auto c = open_catalog(list->catalog);
        const QJsonArray volumes = volumes_of(vael::get_volume_manager(c->handle()), list->json);
        if (list->json) print_json(volumes);
        return 0;
      });
  list_command->add_option("CATALOG", list->catalog, "Catalog file.")->required();
  add_json_flag(list_command, list->json);

  struct add_args {
    std::string catalog;
    std::string type;
    vael::volume_t volume;
  };
  auto add = std::make_shared<add_args>();
  CLI::App* add_volume = add_command(
      *volume, "add",
      "Adds a volume.\nTYPE is builtin_drive (needs --path), removable_drive, readonly_drive,\n"
      "network_drive or no_drive (--path optional).",
      [add] {
        add->volume.type = parse_volume_type(add->type);
        const auto c = open_catalog(add->catalog);
        vael::volume_manager vm = vael::get_volume_manager(c->handle());
        vael::volume_t added;
        write(*c, "", [&] { added = vm.add_volume(add->volume); });
        print_volume(vm, added);
        return 0;
      });
  add_volume->add_option("CATALOG", add->catalog, "Catalog file.")->required();
  add_volume->add_option("TYPE", add->type, "Volume type.")->required();
  add_volume->add_option("SERIAL", add->volume.serial, "Serial of the file system.")->required();
  add_volume->add_option("--description", add->volume.description, "Description.");
  add_volume->add_option("--path", add->volume.drive_path_if_builtin, "Path of the volume.");

  struct set_path_args {
    std::string catalog;
    int id = 0;
    std::string path;
  };
  auto set_path = std::make_shared<set_path_args>();
  CLI::App* set_path_command =
      add_command(*volume, "set-path",
                  "Stores a new path for a builtin or 'no drive' volume.\n"
                  "Other volumes are found where they are mounted; their path is not stored.",
                  [set_path] {
                    const auto c = open_catalog(set_path->catalog);
                    vael::volume_manager vm = vael::get_volume_manager(c->handle());
                    vael::volume_t v;
                    write(*c, "", [&] {
                      v = vm.get_volume(set_path->id);
                      v.drive_path_if_builtin = set_path->path;
                      vm.update_volume(v);
                    });
                    print_volume(vm, v);
                    return 0;
                  });
  set_path_command->add_option("CATALOG", set_path->catalog, "Catalog file.")->required();
  set_path_command->add_option("ID", set_path->id, "Volume id.")->required();
  set_path_command->add_option("PATH", set_path->path, "New path.")->required();
}

}  // namespace vantor_cli
