#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/internal_connection.h"
#include "catalog/tag.h"
#include "catalog_util/well_known_tags.h"
#include "dbl/query.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"

namespace vantor_cli {
namespace {

namespace names = vael_util::type_name;

vael::custom_tag_namespace albums_of(vael::connection& c) {
  return vael::get_custom_tag_namespace(c.handle(), vael_util::ns_name::collection);
}

// A tag of collection_ns given by id, of one of the types a command accepts.
vael::tag find_in_albums(vael::connection& c, const std::string& text, bool want_group) {
  const int id = parse_id(text, want_group ? "album group id" : "album id");
  if (!row_exists(c, "tag_table", id)) throw std::runtime_error("there is no tag " + text);
  const vael::tag t = vael::get_tag(c.handle(), id);
  const std::string type = t.get_type_name();
  const bool in_albums = t.get_namespace_id() == albums_of(c).get_id();
  if (want_group && !(in_albums && type == names::collection_group)) {
    throw std::runtime_error(describe(t) + " is not an album group: albums and groups go at " +
                             "the top of collection_ns or under an album group");
  }
  if (!want_group && !(in_albums && t.media_is_ordered() && t.can_tag_media())) {
    throw std::runtime_error(describe(t) + " is not an album: media go into the albums of " +
                             "collection_ns, which keep them in order");
  }
  return t;
}

int album_make(const std::vector<std::string>& words, const vael::tag_type_t& type,
               const char* what) {
  const parsed_args args = parse_args(words, {"--group"});
  expect_positionals(args, 2, 2);
  const std::string name = args.positionals[1];
  const auto c = open_catalog(args.positionals[0]);
  const vael::custom_tag_namespace albums = albums_of(*c);
  vael::tag made;
  if (args.options.count("--group") != 0) {
    const vael::tag group = find_in_albums(*c, args.required("--group"), true);
    write(*c, describe(group), [&] { made = group.create_child(name, type); });
  } else {
    write(*c, "namespace 'collection_ns'", [&] { made = albums.create_tag(name, type); });
  }
  std::cout << "added " << what << " " << made.get_id() << " '" << name << "'\n";
  return 0;
}

int album_create(const std::vector<std::string>& words) {
  return album_make(words, vael_util::album_type(), "album");
}

int album_group(const std::vector<std::string>& words) {
  return album_make(words, vael_util::album_group_type(), "album group");
}

void print_album_tree(const vael::tag& t, std::size_t depth) {
  std::cout << std::string(depth * 2, ' ') << t.get_name() << " (" << t.get_id() << ", "
            << t.get_type_name();
  if (t.can_tag_media()) std::cout << ", " << t.get_media_ids().size() << " media";
  std::cout << ")\n";
  for (const vael::tag& child : t.get_children()) print_album_tree(child, depth + 1);
}

int album_list(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 1, 1);
  const auto c = open_catalog(args.positionals[0]);
  for (const vael::tag& top : albums_of(*c).get_children()) print_album_tree(top, 0);
  return 0;
}

// The album and the media ids named after it; each media must exist and be named once.
struct album_request {
  vael::tag album;
  std::vector<int> media;
};

album_request read_request(vael::connection& c, const parsed_args& args) {
  album_request r{find_in_albums(c, args.positionals[1], false), {}};
  for (std::size_t i = 2; i < args.positionals.size(); ++i) {
    const int id = parse_media_id(c, args.positionals[i]);
    if (std::find(r.media.begin(), r.media.end(), id) != r.media.end()) {
      throw usage_error("media " + std::to_string(id) + " is named twice");
    }
    r.media.push_back(id);
  }
  return r;
}

// An album holds a media once and keeps its order: new media go to the end, removed media
// leave the others where they were.
int album_add_or_remove(const std::vector<std::string>& words, bool adding) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 3, static_cast<std::size_t>(-1));
  const auto c = open_catalog(args.positionals[0]);
  album_request r = read_request(*c, args);
  std::vector<int> order = r.album.get_ordered_media_ids();
  for (int id : r.media) {
    const auto at = std::find(order.begin(), order.end(), id);
    const std::string media = "media " + std::to_string(id);
    if (adding && at != order.end()) {
      throw std::runtime_error(media + " is in " + describe(r.album) +
                               " already: an album holds a media once");
    }
    if (!adding && at == order.end()) {
      throw std::runtime_error(media + " is not in " + describe(r.album));
    }
    if (adding) {
      order.push_back(id);
    } else {
      order.erase(at);
    }
  }
  write(*c, describe(r.album), [&] { r.album.set_media_order(order); });
  std::cout << (adding ? "added " : "removed ") << r.media.size() << " media "
            << (adding ? "to " : "from ") << describe(r.album) << ", which holds " << order.size()
            << "\n";
  return 0;
}

int album_add(const std::vector<std::string>& words) {
  return album_add_or_remove(words, true);
}

int album_rm(const std::vector<std::string>& words) {
  return album_add_or_remove(words, false);
}

}  // namespace

command album_command() {
  command create{"create",
                 "CATALOG NAME [--group GROUP_ID]",
                 "Adds an album at the top of collection_ns or under an album group.",
                 "",
                 album_create,
                 {}};
  command group{"group",
                "CATALOG NAME [--group GROUP_ID]",
                "Adds an album group, which holds albums and groups but no media.",
                "",
                album_group,
                {}};
  command list{"list",
               "CATALOG",
               "Prints the albums and groups as a tree.",
               "One line per tag, indented by depth: name (id, type, media count).",
               album_list,
               {}};
  command add{"add",
              "CATALOG ALBUM MEDIA...",
              "Appends media to an album, in the order given.",
              "Refuses a media the album holds already.",
              album_add,
              {}};
  command rm{"rm",
             "CATALOG ALBUM MEDIA...",
             "Removes media from an album; the others keep their order.",
             "",
             album_rm,
             {}};
  return {"album",
          "",
          "Makes albums and album groups and fills albums.",
          "Exit status 2 on any error, and then the catalog is left as it was.",
          nullptr,
          {create, group, list, add, rm}};
}

}  // namespace vantor_cli
