#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/catalog_lookup.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/media_stack.h"
#include "catalog/stack_edits.h"
#include "catalog/stack_namespace.h"
#include "catalog/tag.h"
#include "catalog/transaction.h"
#include "catalog/version_stack.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"

namespace vantor_cli {
namespace {

// Media ids given once each, of media that exist.
void check_media_list(vael::connection& c, const std::vector<int>& ids) {
  require_media(c, ids);
  for (auto id = ids.begin(); id != ids.end(); ++id) {
    if (std::find(ids.begin(), id, *id) != id) {
      throw usage_error("media " + std::to_string(*id) + " is given twice");
    }
  }
}

// A media stack given by the id of its tag.
void check_stack(vael::connection& c, int id) {
  if (!vael::media_stack_exists(c.handle(), id)) {
    throw std::runtime_error("there is no media stack " + std::to_string(id));
  }
}

std::string joined(const std::vector<int>& ids) {
  std::string out;
  for (int id : ids) out += (out.empty() ? "" : " ") + std::to_string(id);
  return out;
}

// The ids of the stack tags of one type, oldest first.
std::vector<int> stack_ids(vael::connection& c, const char* type_name) {
  std::vector<int> ids;
  const vael::custom_tag_namespace ns =
      vael::get_custom_tag_namespace(c.handle(), vael::stack_namespace_name);
  for (const vael::tag& t : ns.get_children()) {
    if (t.get_type_name() == type_name) ids.push_back(t.get_id());
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

struct stack_args {
  std::string catalog;
  std::vector<int> media;
  int id = 0;  // a stack, or a media
  int parent = 0;
  bool json = false;
};

int stack_create(const stack_args& args) {
  const auto c = open_catalog(args.catalog);
  check_media_list(*c, args.media);
  int id = 0;
  write(*c, "media stack of " + joined(args.media),
        [&] { id = vael::media_stack::create(c->handle(), args.media).get_id(); });
  std::cout << "media stack " << id << ": " << joined(args.media) << "\n";
  return 0;
}

int stack_list(const stack_args& args) {
  const auto c = open_catalog(args.catalog);
  QJsonArray stacks;
  for (int id : stack_ids(*c, vael::media_stack::type_name)) {
    const std::vector<int> media = vael::media_stack(c->handle(), id).get_media_ids();
    if (args.json) {
      stacks.append(QJsonObject{{"id", id}, {"media", json_ids(media)}});
    } else {
      print_row({std::to_string(id), joined(media)});
    }
  }
  if (args.json) print_json(stacks);
  return 0;
}

int stack_show(const stack_args& args) {
  const auto c = open_catalog(args.catalog);
  check_stack(*c, args.id);
  QJsonArray members;
  for (int member : vael::media_stack(c->handle(), args.id).get_media_ids()) {
    const int version_stack = vael::version_stack::is_media_in_version_stack(c->handle(), member)
                                  ? vael::version_stack::get_stack_id_of_media(c->handle(), member)
                                  : 0;
    if (args.json) {
      members.append(QJsonObject{
          {"media", member},
          {"version_stack", version_stack != 0 ? QJsonValue(version_stack) : QJsonValue()}});
    } else {
      print_row({std::to_string(member), version_stack != 0 ? std::to_string(version_stack) : ""});
    }
  }
  if (args.json) print_json(members);
  return 0;
}

int stack_dissolve(const stack_args& args) {
  const auto c = open_catalog(args.catalog);
  check_stack(*c, args.id);
  const std::string subject = "media stack " + std::to_string(args.id);
  write(*c, subject, [&] { vael::media_stack(c->handle(), args.id).dissolve(); });
  std::cout << "dissolved " << subject << "\n";
  return 0;
}

int version_add(const stack_args& args) {
  const auto c = open_catalog(args.catalog);
  require_media(*c, {args.id, args.parent});
  int id = 0;
  write(*c, "version " + std::to_string(args.id) + " of " + std::to_string(args.parent), [&] {
    id = vael::version_stack::create_version(c->handle(), args.id, args.parent).get_id();
  });
  std::cout << "version stack " << id << ": "
            << joined(vael::version_stack(c->handle(), id).get_media_ids()) << "\n";
  return 0;
}

// Each version made from another shows it as MEDIA<PARENT.
int version_list(const stack_args& args) {
  const auto c = open_catalog(args.catalog);
  QJsonArray stacks;
  for (int id : stack_ids(*c, vael::version_stack::type_name)) {
    std::string text;
    QJsonArray members;
    for (int member : vael::version_stack(c->handle(), id).get_media_ids()) {
      const int parent = vael::version_stack::get_parent_id(c->handle(), member);
      text += (text.empty() ? "" : " ") + std::to_string(member);
      if (parent != 0) text += "<" + std::to_string(parent);
      members.append(QJsonObject{{"media", member},
                                 {"parent", parent != 0 ? QJsonValue(parent) : QJsonValue()}});
    }
    if (args.json) {
      stacks.append(QJsonObject{{"id", id}, {"media", members}});
    } else {
      print_row({std::to_string(id), text});
    }
  }
  if (args.json) print_json(stacks);
  return 0;
}

// An unversioned media leads itself.
int version_top(const stack_args& args) {
  const auto c = open_catalog(args.catalog);
  require_media(*c, {args.id});
  const int top =
      vael::version_stack::is_media_in_version_stack(c->handle(), args.id)
          ? vael::version_stack::get_for_media(c->handle(), args.id).get_media_ids().front()
          : args.id;
  if (args.json) {
    print_json(QJsonObject{{"media", args.id}, {"top", top}});
  } else {
    std::cout << top << "\n";
  }
  return 0;
}

int version_rm(const stack_args& args) {
  const auto c = open_catalog(args.catalog);
  const int media = args.id;
  require_media(*c, {media});
  const std::string subject = "media " + std::to_string(media);
  write(*c, subject, [&] { vael::remove_from_version_stack(c->handle(), media); });
  std::cout << "removed " << subject << " from its version stack\n";
  return 0;
}

// A command of `family` over the shared arguments, declared by `declare`.
template <class Declare>
void stack_command(CLI::App* family, const char* name, const char* description,
                   int (*run)(const stack_args&), Declare declare) {
  auto args = std::make_shared<stack_args>();
  CLI::App* command = add_command(*family, name, description, [args, run] { return run(*args); });
  command->add_option("CATALOG", args->catalog, "Catalog file.")->required();
  declare(command, *args);
}

void json_flag(CLI::App* command, stack_args& args) {
  add_json_flag(command, args.json);
}
void media_list(CLI::App* command, stack_args& args) {
  command->add_option("MEDIA", args.media, "Media ids.")->required()->check(CLI::PositiveNumber);
}
void one_stack(CLI::App* command, stack_args& args) {
  command->add_option("STACK", args.id, "Stack id.")->required();
}
void one_media(CLI::App* command, stack_args& args) {
  command->add_option("MEDIA", args.id, "Media id.")->required();
}

}  // namespace

void add_stack_commands(CLI::App& app) {
  CLI::App* stack = add_family(app, "stack",
                               "Shows and edits the media stacks of a catalog.\nExit status 2 on "
                               "any error, and then the catalog is left as it was.");
  stack_command(stack, "create",
                "Piles media into a new media stack; the first is its top.\n"
                "A version stack must be given whole, lead first, in its order.",
                stack_create, media_list);
  stack_command(stack, "list", "Lists the media stacks: id, then the media, top first.", stack_list,
                json_flag);
  stack_command(stack, "show",
                "Prints the media of one stack, top first: media id, its version stack if any.",
                stack_show, [](CLI::App* command, stack_args& args) {
                  one_stack(command, args);
                  json_flag(command, args);
                });
  stack_command(stack, "dissolve", "Frees the media of a stack and removes it.", stack_dissolve,
                one_stack);

  CLI::App* version = add_family(app, "version-stack",
                                 "Shows and edits the version stacks of a catalog.\nExit status "
                                 "2 on any error, and then the catalog is left as it was.");
  stack_command(version, "add",
                "Makes CHILD the newest version of PARENT.\n"
                "A parent in a media stack takes the child into that stack too.",
                version_add, [](CLI::App* command, stack_args& args) {
                  command->add_option("CHILD", args.id, "Media id.")->required();
                  command->add_option("PARENT", args.parent, "Media id.")->required();
                });
  stack_command(version, "list",
                "Lists the version stacks: id, then the media, newest first.\n"
                "Each version made from another shows it as MEDIA<PARENT.",
                version_list, json_flag);
  stack_command(version, "top", "Prints the lead version of the media's stack.", version_top,
                [](CLI::App* command, stack_args& args) {
                  one_media(command, args);
                  json_flag(command, args);
                });
  stack_command(version, "rm",
                "Takes a media out of its version stack.\n"
                "Versions made from it are then made from its parent; a stack left with one\n"
                "media is dissolved.",
                version_rm, one_media);
}

}  // namespace vantor_cli
