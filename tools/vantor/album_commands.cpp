#include <iostream>
#include <memory>
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

// An album tree as indented lines "name (id, type, N media)" or as JSON.
QJsonObject album_tree(const vael::tag& t, std::size_t depth, bool json) {
  QJsonObject node{{"id", t.get_id()},
                   {"name", json_text(t.get_name())},
                   {"type", json_text(t.get_type_name())}};
  if (!json) {
    std::cout << std::string(depth * 2, ' ') << escape_field(t.get_name()) << " (" << t.get_id()
              << ", " << t.get_type_name();
    if (t.can_tag_media()) std::cout << ", " << t.get_media_ids().size() << " media";
    std::cout << ")\n";
  }
  if (t.can_tag_media()) node.insert("media", json_ids(vael::media_of_tag(t)));
  QJsonArray children;
  for (const vael::tag& child : t.get_children()) {
    children.append(album_tree(child, depth + 1, json));
  }
  node.insert("children", children);
  return node;
}

}  // namespace

void add_album_commands(CLI::App& app) {
  CLI::App* album = add_family(app, "album",
                               "Makes albums and album groups and fills albums.\nExit status 2 "
                               "on any error, and then the catalog is left as it was.");
  struct make_args {
    std::string catalog;
    std::string name;
    int group = 0;
  };
  for (const bool group : {false, true}) {
    auto made = std::make_shared<make_args>();
    CLI::App* make = add_command(
        *album, group ? "group" : "create",
        group ? "Adds an album group, which holds albums and groups but no media."
              : "Adds an album at the top of collection_ns or under an album group.",
        [made, group] {
          const auto c = open_catalog(made->catalog);
          vael::tag t;
          write(*c, "", [&] {
            t = group ? vael_util::create_album_group(c->handle(), made->name, made->group)
                      : vael_util::create_album(c->handle(), made->name, made->group);
          });
          std::cout << "added " << (group ? "album group " : "album ") << t.get_id() << " '"
                    << made->name << "'\n";
          return 0;
        });
    make->add_option("CATALOG", made->catalog, "Catalog file.")->required();
    make->add_option("NAME", made->name, "Name.")->required();
    make->add_option("--group", made->group, "Album group to go under.")
        ->check(CLI::PositiveNumber);
  }

  struct list_args {
    std::string catalog;
    bool json = false;
  };
  auto list = std::make_shared<list_args>();
  CLI::App* list_command =
      add_command(*album, "list",
                  "Prints the albums and groups as a tree.\n"
                  "One line per tag, indented by depth: name (id, type, media count).",
                  [list] {
                    const auto c = open_catalog(list->catalog);
                    QJsonArray tops;
                    for (const vael::tag& top :
                         vael::get_custom_tag_namespace(c->handle(), vael_util::ns_name::collection)
                             .get_children()) {
                      tops.append(album_tree(top, 0, list->json));
                    }
                    if (list->json) print_json(tops);
                    return 0;
                  });
  list_command->add_option("CATALOG", list->catalog, "Catalog file.")->required();
  add_json_flag(list_command, list->json);

  struct fill_args {
    std::string catalog;
    int album = 0;
    std::vector<int> media;
  };
  for (const bool adding : {true, false}) {
    auto fill = std::make_shared<fill_args>();
    CLI::App* command =
        add_command(*album, adding ? "add" : "rm",
                    adding ? "Appends media to an album, in the order given.\n"
                             "Refuses a media the album holds already."
                           : "Removes media from an album; the others keep their order.",
                    [fill, adding] {
                      const auto c = open_catalog(fill->catalog);
                      vael::tag t = vael_util::find_album(c->handle(), fill->album);
                      std::size_t holds = 0;
                      write(*c, "", [&] {
                        holds = adding ? vael_util::add_to_album(c->handle(), t, fill->media)
                                       : vael_util::remove_from_album(c->handle(), t, fill->media);
                      });
                      std::cout << (adding ? "added " : "removed ") << fill->media.size()
                                << " media " << (adding ? "to " : "from ")
                                << vael_util::describe_tag(t) << ", which holds " << holds << "\n";
                      return 0;
                    });
    command->add_option("CATALOG", fill->catalog, "Catalog file.")->required();
    command->add_option("ALBUM", fill->album, "Album id.")->required();
    command->add_option("MEDIA", fill->media, "Media ids.")->required()->check(CLI::PositiveNumber);
  }
}

}  // namespace vantor_cli
