#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/hierarchy_change.h"
#include "catalog/internal_connection.h"
#include "catalog/tag.h"
#include "catalog/transaction.h"
#include "catalog_util/well_known_tags.h"
#include "dbl/query.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"

namespace vantor_cli {
namespace {

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

// A tag given by id; namespaces are named, not numbered.
vael::tag find_tag(vael::connection& c, const std::string& text) {
  const int id = parse_id(text, "tag id");
  dbl::query q(c.get().database(), "SELECT COUNT(*) FROM tag_table WHERE id = :id");
  q.bind(":id", dbl::entry_data(id)).add_column("ignored", typeid(int));
  if (q.first_row()[0].as_int() == 0) throw std::runtime_error("there is no tag " + text);
  try {
    return vael::get_tag_in_namespace(c.handle(), id);
  } catch (const std::logic_error&) {
    throw std::runtime_error("tag " + text + " is a namespace; use 'vantor namespace'");
  }
}

void print_subtree(const vael::tag& t, int depth) {
  std::cout << std::string(static_cast<std::size_t>(depth) * 2, ' ') << t.get_name() << " ("
            << t.get_id() << ", " << t.get_type_name();
  if (t.can_tag_media()) std::cout << ", " << t.get_media_ids().size() << " media";
  std::cout << ")\n";
  for (const vael::tag& child : t.get_children()) print_subtree(child, depth + 1);
}

int tag_tree(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--namespace"});
  expect_positionals(args, 1, 1);
  const auto c = open_catalog(args.positionals[0]);
  std::vector<vael::custom_tag_namespace> spaces;
  if (args.options.count("--namespace") != 0) {
    spaces.push_back(vael::get_custom_tag_namespace(c->handle(), args.required("--namespace")));
  } else {
    spaces = vael::get_custom_tag_namespaces(c->handle());
  }
  for (const vael::custom_tag_namespace& ns : spaces) {
    std::cout << ns.get_name() << " (" << ns.get_id() << ", namespace)\n";
    for (const vael::tag& child : ns.get_children()) print_subtree(child, 1);
  }
  return 0;
}

// Exactly one of --namespace and --parent.
void expect_one_place(const parsed_args& args) {
  if ((args.options.count("--namespace") != 0) == (args.options.count("--parent") != 0)) {
    throw usage_error("give either --namespace NAME or --parent ID");
  }
}

int tag_add(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--namespace", "--parent", "--type"});
  expect_positionals(args, 2, 2);
  expect_one_place(args);
  const vael::tag_type_t type = parse_type(args.option("--type", "user_custom"));
  const std::string name = args.positionals[1];
  const auto c = open_catalog(args.positionals[0]);
  vael::tag added;
  if (args.options.count("--parent") != 0) {
    const vael::tag parent = find_tag(*c, args.required("--parent"));
    if (!parent.can_have_children()) {
      throw std::runtime_error(describe(parent) + ": This tag cannot have children.");
    }
    write(*c, describe(parent), [&] { added = parent.create_child(name, type); });
  } else {
    const vael::custom_tag_namespace ns =
        vael::get_custom_tag_namespace(c->handle(), args.required("--namespace"));
    write(*c, "namespace '" + ns.get_name() + "'", [&] { added = ns.create_tag(name, type); });
  }
  std::cout << "added " << describe(added) << "\n";
  return 0;
}

int tag_rename(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 3, 3);
  const auto c = open_catalog(args.positionals[0]);
  vael::tag t = find_tag(*c, args.positionals[1]);
  const std::string subject = describe(t);
  write(*c, subject, [&] { t.set_name(args.positionals[2]); });
  std::cout << "renamed " << subject << " to '" << t.get_name() << "'\n";
  return 0;
}

// Moves the tag's subtree under a new parent in one hierarchy change. Across namespaces the
// destination's namespace leads the change, since only its tags may be given children.
int tag_move(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--namespace", "--parent", "--index"});
  expect_positionals(args, 2, 2);
  expect_one_place(args);
  const auto c = open_catalog(args.positionals[0]);
  const vael::tag moved = find_tag(*c, args.positionals[1]);
  const vael::custom_tag_namespace from = *moved.get_namespace();
  vael::tag parent;
  vael::custom_tag_namespace to;
  std::vector<vael::tag> children;
  const bool under_tag = args.options.count("--parent") != 0;
  if (under_tag) {
    parent = find_tag(*c, args.required("--parent"));
    to = *parent.get_namespace();
    children = parent.get_children();
  } else {
    to = vael::get_custom_tag_namespace(c->handle(), args.required("--namespace"));
    children = to.get_children();
  }
  children.erase(std::remove_if(children.begin(), children.end(),
                                [&](const vael::tag& t) { return t.get_id() == moved.get_id(); }),
                 children.end());
  std::size_t index = children.size();
  if (args.options.count("--index") != 0) {
    index =
        std::min(index, static_cast<std::size_t>(parse_integer(args.required("--index"), "index")));
  }
  children.insert(children.begin() + static_cast<std::ptrdiff_t>(index), moved);
  const bool across = from.get_id() != to.get_id();
  write(*c, describe(moved), [&] {
    if (across) {
      vael::start_tag_hierarchy_change(c->handle(), to, from);
    } else {
      vael::start_tag_hierarchy_change(c->handle(), to);
    }
    if (under_tag) {
      parent.set_children(children);
    } else {
      to.set_children(children);
    }
    if (across) {
      vael::finish_two_namespace_hierarchy_change(c->handle());
    } else {
      vael::finish_tag_hierarchy_change(c->handle());
    }
  });
  std::cout << "moved " << describe(moved) << " to "
            << (under_tag ? describe(parent) : "namespace '" + to.get_name() + "'") << " at "
            << index << "\n";
  return 0;
}

int tag_rm(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {}, {"--force"});
  expect_positionals(args, 2, 2);
  const auto c = open_catalog(args.positionals[0]);
  vael::tag t = find_tag(*c, args.positionals[1]);
  const std::string subject = describe(t);
  write(*c, subject, [&] { t.remove(args.has("--force")); });
  std::cout << "removed " << subject << "\n";
  return 0;
}

// Ordered tags keep their media through set_media_order: new media go to the end.
int tag_media(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 3, static_cast<std::size_t>(-1));
  const std::string action = args.positionals[2];
  const auto c = open_catalog(args.positionals[0]);
  vael::tag t = find_tag(*c, args.positionals[1]);
  std::vector<int> media;
  for (std::size_t i = 3; i < args.positionals.size(); ++i) {
    media.push_back(parse_id(args.positionals[i], "media id"));
  }
  if (action == "list") {
    if (!media.empty()) throw usage_error("'list' takes no media ids");
    std::vector<int> ids = t.media_is_ordered() ? t.get_ordered_media_ids() : t.get_media_ids();
    if (!t.media_is_ordered()) std::sort(ids.begin(), ids.end());
    for (int id : ids) std::cout << id << "\n";
    return 0;
  }
  if (action != "add" && action != "rm") throw usage_error("unknown action '" + action + "'");
  if (media.empty()) throw usage_error("give at least one media id");
  for (int id : media) require_media(*c, id);
  const bool adding = action == "add";
  write(*c, describe(t), [&] {
    if (!t.media_is_ordered()) {
      for (int id : media) adding ? t.tag_media(id) : t.untag_media(id);
      return;
    }
    std::vector<int> order = t.get_ordered_media_ids();
    for (int id : media) {
      const bool present = std::find(order.begin(), order.end(), id) != order.end();
      if (adding && !present) order.push_back(id);
      if (!adding) order.erase(std::remove(order.begin(), order.end(), id), order.end());
    }
    t.set_media_order(order);
  });
  std::cout << (adding ? "tagged " : "untagged ") << media.size() << " media with " << describe(t)
            << "\n";
  return 0;
}

int namespace_list(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 1, 1);
  const auto c = open_catalog(args.positionals[0]);
  for (const vael::custom_tag_namespace& ns : vael::get_custom_tag_namespaces(c->handle())) {
    std::cout << ns.get_id() << " " << ns.get_name() << " (" << ns.get_all_descendant_ids().size()
              << " tags)\n";
  }
  return 0;
}

int namespace_add(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 2, 2);
  const auto c = open_catalog(args.positionals[0]);
  const std::string name = args.positionals[1];
  vael::custom_tag_namespace ns;
  write(*c, "namespace '" + name + "'",
        [&] { ns = vael::create_custom_tag_namespace(c->handle(), name); });
  std::cout << "added namespace " << ns.get_id() << " '" << name << "'\n";
  return 0;
}

}  // namespace

command tag_command() {
  command tree{"tree",
               "CATALOG [--namespace NAME]",
               "Prints the tag forest, or one namespace of it.",
               "One line per tag, indented by depth: name (id, type, media count).",
               tag_tree,
               {}};
  command add{"add",
              "CATALOG (--namespace NAME | --parent ID) NAME [--type TYPE]",
              "Adds a tag at the top of a namespace or under a tag.",
              "TYPE defaults to user_custom; collection is an ordered album,\n"
              "collection_group and smartcollect_group hold tags but no media.",
              tag_add,
              {}};
  command rename{"rename", "CATALOG TAG NAME", "Renames a tag.", "", tag_rename, {}};
  command move{"move",
               "CATALOG TAG (--namespace NAME | --parent ID) [--index N]",
               "Moves a tag and its subtree, within or across namespaces.",
               "N is the position among the new siblings, from 0; the end by default.",
               tag_move,
               {}};
  command rm{"rm",
             "CATALOG TAG [--force]",
             "Removes a tag without children.",
             "Without --force a tag that still holds media or other rows is kept.",
             tag_rm,
             {}};
  command media{"media",
                "CATALOG TAG (add|rm|list) [MEDIA...]",
                "Tags, untags or lists media.",
                "An ordered tag keeps its order; added media go to its end.",
                tag_media,
                {}};
  return {"tag",
          "",
          "Shows and edits the tags of a catalog.",
          "Exit status 2 on any error, "
          "and then the catalog is left as it was.",
          nullptr,
          {tree, add, rename, move, rm, media}};
}

command namespace_command() {
  command list{"list", "CATALOG",      "Lists the tag namespaces: id, name, tag count.",
               "",     namespace_list, {}};
  command add{"add", "CATALOG NAME", "Adds a tag namespace.", "", namespace_add, {}};
  return {"namespace", "", "Lists and adds tag namespaces.", "", nullptr, {list, add}};
}

}  // namespace vantor_cli
