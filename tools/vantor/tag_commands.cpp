#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"
#include "catalog/tag_edits.h"
#include "catalog_util/albums.h"
#include "catalog_util/well_known_tags.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"

namespace vantor_cli {
namespace {

using vael_util::describe_tag;

// Any well-known type; of the two forms of user_misc the table gives the leaf first.
vael::tag_type_t parse_type(const std::string& name) {
  std::string names;
  std::string previous;
  for (const vael::tag_type_t& type : vael_util::well_known_tag_types()) {
    if (type.type_name == name) return type;
    if (type.type_name != previous) names += (names.empty() ? "" : ", ") + type.type_name;
    previous = type.type_name;
  }
  throw usage_error("unknown tag type '" + name + "'; one of " + names);
}

// A tag and its subtree, as indented lines "name (id, type, N media)" or as JSON.
QJsonObject tree_of(const vael::tag& t, int depth, bool json) {
  QJsonObject node{{"id", t.get_id()},
                   {"name", json_text(t.get_name())},
                   {"type", json_text(t.get_type_name())}};
  if (!json) {
    std::cout << std::string(static_cast<std::size_t>(depth) * 2, ' ') << escape_field(t.get_name())
              << " (" << t.get_id() << ", " << t.get_type_name();
    if (t.can_tag_media()) std::cout << ", " << t.get_media_ids().size() << " media";
    std::cout << ")\n";
  }
  if (t.can_tag_media()) node.insert("media", static_cast<int>(t.get_media_ids().size()));
  QJsonArray children;
  for (const vael::tag& child : t.get_children()) children.append(tree_of(child, depth + 1, json));
  node.insert("children", children);
  return node;
}

// Where a tag goes: at the top of a namespace or under a tag, exactly one of them.
struct place_args {
  std::string catalog;
  std::string space;
  int parent = 0;
};

void declare_place(CLI::App* command, place_args& args) {
  CLI::Option_group* place = command->add_option_group("place", "Exactly one of:");
  place->add_option("--namespace", args.space, "Namespace to go into.");
  place->add_option("--parent", args.parent, "Tag to go under.")->check(CLI::PositiveNumber);
  place->require_option(1);
}

struct catalog_args {
  std::string catalog;
  bool json = false;
};

}  // namespace

void add_tag_commands(CLI::App& app) {
  CLI::App* tag = add_family(app, "tag",
                             "Shows and edits the tags of a catalog.\nExit status 2 on any "
                             "error, and then the catalog is left as it was.");

  struct tree_args {
    std::string catalog;
    std::string space;
    bool json = false;
  };
  auto tree = std::make_shared<tree_args>();
  CLI::App* tree_command = add_command(
      *tag, "tree",
      "Prints the tag forest, or one namespace of it.\n"
      "One line per tag, indented by depth: name (id, type, media count).",
      [tree] {
        const auto c = open_catalog(tree->catalog);
        std::vector<vael::custom_tag_namespace> spaces;
        if (!tree->space.empty()) {
          spaces.push_back(vael::get_custom_tag_namespace(c->handle(), tree->space));
        } else {
          spaces = vael::get_custom_tag_namespaces(c->handle());
        }
        QJsonArray forest;
        for (const vael::custom_tag_namespace& ns : spaces) {
          if (!tree->json)
            std::cout << escape_field(ns.get_name()) << " (" << ns.get_id() << ", namespace)\n";
          QJsonArray children;
          for (const vael::tag& child : ns.get_children()) {
            children.append(tree_of(child, 1, tree->json));
          }
          forest.append(QJsonObject{{"id", ns.get_id()},
                                    {"name", json_text(ns.get_name())},
                                    {"type", "namespace"},
                                    {"children", children}});
        }
        if (tree->json) print_json(forest);
        return 0;
      });
  tree_command->add_option("CATALOG", tree->catalog, "Catalog file.")->required();
  tree_command->add_option("--namespace", tree->space, "Only this namespace.");
  add_json_flag(tree_command, tree->json);

  struct add_args : place_args {
    std::string name;
    std::string type = "user_custom";
  };
  auto add = std::make_shared<add_args>();
  CLI::App* add_command_ = add_command(
      *tag, "add",
      "Adds a tag at the top of a namespace or under a tag.\n"
      "TYPE defaults to user_custom; collection is an ordered album,\n"
      "collection_group and smartcollect_group hold tags but no media.",
      [add] {
        const vael::tag_type_t type = parse_type(add->type);
        const auto c = open_catalog(add->catalog);
        vael::tag added;
        if (add->parent != 0) {
          const vael::tag parent = find_tag(*c, add->parent);
          if (!parent.can_have_children()) {
            throw std::runtime_error(describe_tag(parent) + ": This tag cannot have children.");
          }
          write(*c, describe_tag(parent), [&] { added = parent.create_child(add->name, type); });
        } else {
          const vael::custom_tag_namespace ns =
              vael::get_custom_tag_namespace(c->handle(), add->space);
          write(*c, "namespace '" + ns.get_name() + "'",
                [&] { added = ns.create_tag(add->name, type); });
        }
        std::cout << "added " << describe_tag(added) << "\n";
        return 0;
      });
  add_command_->add_option("CATALOG", add->catalog, "Catalog file.")->required();
  add_command_->add_option("NAME", add->name, "Name of the new tag.")->required();
  add_command_->add_option("--type", add->type, "Well-known tag type.");
  declare_place(add_command_, *add);

  struct rename_args {
    std::string catalog;
    int tag = 0;
    std::string name;
  };
  auto rename = std::make_shared<rename_args>();
  CLI::App* rename_command = add_command(*tag, "rename", "Renames a tag.", [rename] {
    const auto c = open_catalog(rename->catalog);
    vael::tag t = find_tag(*c, rename->tag);
    const std::string subject = describe_tag(t);
    write(*c, subject, [&] { t.set_name(rename->name); });
    std::cout << "renamed " << subject << " to '" << t.get_name() << "'\n";
    return 0;
  });
  rename_command->add_option("CATALOG", rename->catalog, "Catalog file.")->required();
  rename_command->add_option("TAG", rename->tag, "Tag id.")->required();
  rename_command->add_option("NAME", rename->name, "New name.")->required();

  struct move_args : place_args {
    int tag = 0;
    std::optional<std::size_t> index;
  };
  auto move = std::make_shared<move_args>();
  CLI::App* move_command = add_command(
      *tag, "move",
      "Moves a tag and its subtree, within or across namespaces.\n"
      "N is the position among the new siblings, from 0; the end by default.",
      [move] {
        const auto c = open_catalog(move->catalog);
        const vael::tag moved = find_tag(*c, move->tag);
        vael::tag parent;
        vael::custom_tag_namespace to;
        std::size_t index = 0;
        if (move->parent != 0) {
          parent = find_tag(*c, move->parent);
          write(*c, describe_tag(moved),
                [&] { index = vael::move_tag(c->handle(), moved, parent, move->index); });
        } else {
          to = vael::get_custom_tag_namespace(c->handle(), move->space);
          write(*c, describe_tag(moved),
                [&] { index = vael::move_tag(c->handle(), moved, to, move->index); });
        }
        std::cout << "moved " << describe_tag(moved) << " to "
                  << (move->parent != 0 ? describe_tag(parent)
                                        : "namespace '" + to.get_name() + "'")
                  << " at " << index << "\n";
        return 0;
      });
  move_command->add_option("CATALOG", move->catalog, "Catalog file.")->required();
  move_command->add_option("TAG", move->tag, "Tag id.")->required();
  move_command->add_option("--index", move->index, "Position among the new siblings.");
  declare_place(move_command, *move);

  struct rm_args {
    std::string catalog;
    int tag = 0;
    bool force = false;
  };
  auto rm = std::make_shared<rm_args>();
  CLI::App* rm_command =
      add_command(*tag, "rm",
                  "Removes a tag without children.\n"
                  "Without --force a tag that still holds media or other rows is kept.",
                  [rm] {
                    const auto c = open_catalog(rm->catalog);
                    vael::tag t = find_tag(*c, rm->tag);
                    const std::string subject = describe_tag(t);
                    write(*c, subject, [&] {
                      t.remove(rm->force ? vael::tag_base::even_if_referenced
                                         : vael::tag_base::unless_referenced);
                    });
                    std::cout << "removed " << subject << "\n";
                    return 0;
                  });
  rm_command->add_option("CATALOG", rm->catalog, "Catalog file.")->required();
  rm_command->add_option("TAG", rm->tag, "Tag id.")->required();
  rm_command->add_flag("--force", rm->force, "Removes a tag that is still referenced.");

  CLI::App* media = add_family(*tag, "media",
                               "Tags, untags or lists media.\n"
                               "An ordered tag keeps its order; added media go to its end.");
  struct media_args {
    std::string catalog;
    int tag = 0;
    std::vector<int> media;
    bool json = false;
  };
  auto declare_media = [](CLI::App* command, media_args& args, bool with_media) {
    command->add_option("CATALOG", args.catalog, "Catalog file.")->required();
    command->add_option("TAG", args.tag, "Tag id.")->required();
    if (with_media) {
      command->add_option("MEDIA", args.media, "Media ids.")
          ->required()
          ->check(CLI::PositiveNumber);
    }
  };
  auto list = std::make_shared<media_args>();
  CLI::App* list_command =
      add_command(*media, "list", "Lists the media of a tag, in its order if it has one.", [list] {
        const auto c = open_catalog(list->catalog);
        const std::vector<int> ids = vael::media_of_tag(find_tag(*c, list->tag));
        if (list->json) {
          print_json(json_ids(ids));
        } else {
          for (int id : ids) print_row({std::to_string(id)});
        }
        return 0;
      });
  declare_media(list_command, *list, false);
  add_json_flag(list_command, list->json);
  for (const bool adding : {true, false}) {
    auto edit = std::make_shared<media_args>();
    declare_media(add_command(*media, adding ? "add" : "rm",
                              adding ? "Tags media with the tag." : "Untags media.",
                              [edit, adding] {
                                const auto c = open_catalog(edit->catalog);
                                vael::tag t = find_tag(*c, edit->tag);
                                require_media(*c, edit->media);
                                write(*c, describe_tag(t), [&] {
                                  if (adding) {
                                    vael::add_media_to_tag(t, edit->media);
                                  } else {
                                    vael::remove_media_from_tag(t, edit->media);
                                  }
                                });
                                std::cout << (adding ? "tagged " : "untagged ")
                                          << edit->media.size() << " media with " << describe_tag(t)
                                          << "\n";
                                return 0;
                              }),
                  *edit, true);
  }

  CLI::App* space = add_family(app, "namespace", "Lists and adds tag namespaces.");
  auto spaces = std::make_shared<catalog_args>();
  CLI::App* spaces_command =
      add_command(*space, "list", "Lists the tag namespaces: id, name, tag count.", [spaces] {
        const auto c = open_catalog(spaces->catalog);
        QJsonArray all;
        for (const vael::custom_tag_namespace& ns : vael::get_custom_tag_namespaces(c->handle())) {
          const auto tags = static_cast<int>(ns.get_all_descendant_ids().size());
          if (spaces->json) {
            all.append(QJsonObject{
                {"id", ns.get_id()}, {"name", json_text(ns.get_name())}, {"tags", tags}});
          } else {
            print_row({std::to_string(ns.get_id()), ns.get_name(), std::to_string(tags)});
          }
        }
        if (spaces->json) print_json(all);
        return 0;
      });
  spaces_command->add_option("CATALOG", spaces->catalog, "Catalog file.")->required();
  add_json_flag(spaces_command, spaces->json);

  auto added = std::make_shared<std::pair<std::string, std::string>>();
  CLI::App* add_space = add_command(*space, "add", "Adds a tag namespace.", [added] {
    const auto c = open_catalog(added->first);
    const std::string& name = added->second;
    vael::custom_tag_namespace ns;
    write(*c, "namespace '" + name + "'",
          [&] { ns = vael::create_custom_tag_namespace(c->handle(), name); });
    std::cout << "added namespace " << ns.get_id() << " '" << name << "'\n";
    return 0;
  });
  add_space->add_option("CATALOG", added->first, "Catalog file.")->required();
  add_space->add_option("NAME", added->second, "Name of the namespace.")->required();
}

}  // namespace vantor_cli
