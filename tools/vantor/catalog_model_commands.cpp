#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "catalog/connection.h"
#include "catalog/internal_connection.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/transaction.h"
#include "catalog/volume_manager.h"
#include "dbl/query.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"

namespace vantor_cli {
namespace {

int count_rows(vael::connection& c, const std::string& table) {
  dbl::query q(c.get().database(), "SELECT COUNT(*) FROM " + table);
  q.add_column("ignored", typeid(int));
  return q.first_row()[0].as_int();
}

void print_volume(const vael::volume_manager& vm, const vael::volume_t& v) {
  const std::string path = vm.get_volume_path(v.id);
  std::cout << "volume " << v.id << ": " << vael::volume_type_text(v.type) << " "
            << (path.empty() ? "(no path)" : path) << " "
            << (vm.is_volume_online(v.id) ? "online" : "offline") << "\n";
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

int catalog_info(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 1, 1);
  const auto c = open_catalog(args.positionals[0]);
  const std::optional<std::int32_t> version =
      vael::schema::read_schema_version(c->get().database());
  std::cout << "schema version: " << (version ? std::to_string(*version) : "none") << "\n"
            << "current change id: " << c->get().change_tracker().current_change_id() << "\n"
            << "media: " << count_rows(*c, "media_table") << "\n"
            << "tags: " << count_rows(*c, "tag_table") << "\n"
            << "volumes: " << count_rows(*c, "volume_table") << "\n";
  const vael::volume_manager vm = vael::get_volume_manager(c->handle());
  for (const vael::volume_t& v : vm.get_all_volumes()) print_volume(vm, v);
  return 0;
}

int volume_list(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 1, 1);
  const auto c = open_catalog(args.positionals[0]);
  const vael::volume_manager vm = vael::get_volume_manager(c->handle());
  for (const vael::volume_t& v : vm.get_all_volumes()) print_volume(vm, v);
  return 0;
}

int volume_add(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--description", "--path"});
  expect_positionals(args, 3, 3);
  vael::volume_t v;
  v.type = parse_volume_type(args.positionals[1]);
  v.serial = args.positionals[2];
  v.description = args.option("--description");
  v.drive_path_if_builtin = args.option("--path");
  const auto c = open_catalog(args.positionals[0]);
  vael::transaction t(c->handle());
  t.begin(vael::without_undo, vael::lock_now);
  vael::volume_manager vm = vael::get_volume_manager(c->handle());
  const vael::volume_t added = vm.add_volume(v);
  t.commit();
  print_volume(vm, added);
  return 0;
}

int volume_set_path(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 3, 3);
  const auto id = static_cast<int>(parse_integer(args.positionals[1], "volume id"));
  const auto c = open_catalog(args.positionals[0]);
  vael::transaction t(c->handle());
  t.begin(vael::without_undo, vael::lock_now);
  vael::volume_manager vm = vael::get_volume_manager(c->handle());
  vael::volume_t v = vm.get_volume(id);
  v.drive_path_if_builtin = args.positionals[2];
  vm.update_volume(v);
  t.commit();
  print_volume(vm, v);
  return 0;
}

}  // namespace

command catalog_info_command() {
  return {"info",
          "FILE",
          "Shows a catalog's schema version, change id, counts and volumes.",
          "Opens the catalog as the library does, which upgrades an older schema and adds\n"
          "the catalog's own namespace and volume when they are missing.",
          catalog_info,
          {}};
}

command volume_command() {
  command list{"list",
               "CATALOG",
               "Lists the volumes of a catalog.",
               "One line each: id, type, known path and whether it is online now.",
               volume_list,
               {}};
  command add{"add",
              "CATALOG TYPE SERIAL [--description TEXT] [--path PATH]",
              "Adds a volume.",
              "TYPE is builtin_drive (needs --path), removable_drive, readonly_drive,\n"
              "network_drive or no_drive (--path optional).",
              volume_add,
              {}};
  command set_path{"set-path",
                   "CATALOG ID PATH",
                   "Stores a new path for a builtin or 'no drive' volume.",
                   "Other volumes are found where they are mounted; their path is not stored.",
                   volume_set_path,
                   {}};
  return {"volume", "",      "Lists and edits the volumes of a catalog.",
          "",       nullptr, {list, add, set_path}};
}

}  // namespace vantor_cli
