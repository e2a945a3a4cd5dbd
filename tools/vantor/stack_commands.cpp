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
#include "catalog/internal_connection.h"
#include "catalog/media_stack.h"
#include "catalog/stack_namespace.h"
#include "catalog/stack_sort.h"
#include "catalog/tag.h"
#include "catalog/transaction.h"
#include "catalog/version_stack.h"
#include "dbl/query.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"

namespace vantor_cli {
namespace {

std::vector<int> parse_media_list(vael::connection& c, const std::vector<std::string>& words,
                                  std::size_t first) {
  std::vector<int> ids;
  for (std::size_t i = first; i < words.size(); ++i) {
    const int id = parse_media_id(c, words[i]);
    if (std::find(ids.begin(), ids.end(), id) != ids.end()) {
      throw usage_error("media " + words[i] + " is given twice");
    }
    ids.push_back(id);
  }
  return ids;
}

// A media stack given by the id of its tag.
int parse_stack(vael::connection& c, const std::string& text) {
  const int id = parse_id(text, "stack id");
  dbl::query q(c.get().database(),
               "SELECT COUNT(*) FROM tag_table WHERE id = :id AND type_name = :type");
  q.bind(":id", dbl::entry_data(id)).bind(":type", dbl::entry_data(vael::media_stack::type_name));
  q.add_column("ignored", typeid(int));
  if (q.first_row()[0].as_int() == 0) throw std::runtime_error("there is no media stack " + text);
  return id;
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

int stack_create(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 2, static_cast<std::size_t>(-1));
  const auto c = open_catalog(args.positionals[0]);
  const std::vector<int> media = parse_media_list(*c, args.positionals, 1);
  int id = 0;
  write(*c, "media stack of " + joined(media),
        [&] { id = vael::media_stack::create(c->handle(), media).get_id(); });
  std::cout << "media stack " << id << ": " << joined(media) << "\n";
  return 0;
}

int stack_list(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 1, 1);
  const auto c = open_catalog(args.positionals[0]);
  for (int id : stack_ids(*c, vael::media_stack::type_name)) {
    std::cout << id << ": " << joined(vael::media_stack(c->handle(), id).get_media_ids()) << "\n";
  }
  return 0;
}

int stack_show(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 2, 2);
  const auto c = open_catalog(args.positionals[0]);
  const int id = parse_stack(*c, args.positionals[1]);
  const vael::media_stack s(c->handle(), id);
  for (int member : s.get_media_ids()) {
    std::cout << member;
    if (vael::version_stack::is_media_in_version_stack(c->handle(), member)) {
      std::cout << " (version stack "
                << vael::version_stack::get_stack_id_of_media(c->handle(), member) << ")";
    }
    std::cout << "\n";
  }
  return 0;
}

int stack_dissolve(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 2, 2);
  const auto c = open_catalog(args.positionals[0]);
  const int id = parse_stack(*c, args.positionals[1]);
  const std::string subject = "media stack " + std::to_string(id);
  write(*c, subject, [&] { vael::media_stack(c->handle(), id).dissolve(); });
  std::cout << "dissolved " << subject << "\n";
  return 0;
}

int version_add(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 3, 3);
  const auto c = open_catalog(args.positionals[0]);
  const int child = parse_media_id(*c, args.positionals[1]);
  const int parent = parse_media_id(*c, args.positionals[2]);
  int id = 0;
  write(*c, "version " + std::to_string(child) + " of " + std::to_string(parent),
        [&] { id = vael::version_stack::create_version(c->handle(), child, parent).get_id(); });
  std::cout << "version stack " << id << ": "
            << joined(vael::version_stack(c->handle(), id).get_media_ids()) << "\n";
  return 0;
}

int version_list(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 1, 1);
  const auto c = open_catalog(args.positionals[0]);
  for (int id : stack_ids(*c, vael::version_stack::type_name)) {
    std::cout << id << ":";
    for (int member : vael::version_stack(c->handle(), id).get_media_ids()) {
      std::cout << " " << member;
      const int parent = vael::version_stack::get_parent_id(c->handle(), member);
      if (parent != 0) std::cout << "<" << parent;
    }
    std::cout << "\n";
  }
  return 0;
}

// An unversioned media leads itself.
int version_top(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 2, 2);
  const auto c = open_catalog(args.positionals[0]);
  const int media = parse_media_id(*c, args.positionals[1]);
  if (!vael::version_stack::is_media_in_version_stack(c->handle(), media)) {
    std::cout << media << "\n";
    return 0;
  }
  std::cout << vael::version_stack::get_for_media(c->handle(), media).get_media_ids().front()
            << "\n";
  return 0;
}

// The model leaves a removed version's sort rows as they were and does not look at the media
// stack around it; here the media sorts by its own date again, and a media stack that would no
// longer hold the rest of the version stack as one run refuses the change.
int version_rm(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 2, 2);
  const auto c = open_catalog(args.positionals[0]);
  const int media = parse_media_id(*c, args.positionals[1]);
  const std::string subject = "media " + std::to_string(media);
  if (!vael::version_stack::is_media_in_version_stack(c->handle(), media)) {
    throw std::runtime_error(subject + " is in no version stack");
  }
  write(*c, subject, [&] {
    vael::version_stack::get_for_media(c->handle(), media).remove_media(media);
    if (vael::media_stack::is_media_in_stack(c->handle(), media)) {
      vael::media_stack pile = vael::media_stack::get_for_media(c->handle(), media);
      pile.set_media(pile.get_media_ids());
    }
    vael::media_stack_sort(c->handle()).update(media, false);
    vael::version_stack_sort(c->handle()).update(media, false);
  });
  std::cout << "removed " << subject << " from its version stack\n";
  return 0;
}

}  // namespace

command stack_command() {
  command create{"create",
                 "CATALOG MEDIA...",
                 "Piles media into a new media stack; the first is its top.",
                 "A version stack must be given whole, lead first, in its order.",
                 stack_create,
                 {}};
  command list{"list", "CATALOG",  "Lists the media stacks: id, then the media, top first.",
               "",     stack_list, {}};
  command show{"show",
               "CATALOG STACK",
               "Prints the media of one stack, top first, one a line.",
               "Media that are versions name their version stack.",
               stack_show,
               {}};
  command dissolve{"dissolve", "CATALOG STACK", "Frees the media of a stack and removes it.",
                   "",         stack_dissolve,  {}};
  return {"stack",
          "",
          "Shows and edits the media stacks of a catalog.",
          "Exit status 2 on any error, and then the catalog is left as it was.",
          nullptr,
          {create, list, show, dissolve}};
}

command version_command() {
  command add{"add",
              "CATALOG CHILD PARENT",
              "Makes CHILD the newest version of PARENT.",
              "A parent in a media stack takes the child into that stack too.",
              version_add,
              {}};
  command list{"list",
               "CATALOG",
               "Lists the version stacks: id, then the media, newest first.",
               "Each version made from another shows it as MEDIA<PARENT.",
               version_list,
               {}};
  command top{"top", "CATALOG MEDIA", "Prints the lead version of the media's stack.",
              "",    version_top,     {}};
  command rm{"rm",
             "CATALOG MEDIA",
             "Takes a media out of its version stack.",
             "Versions made from it are then made from its parent; a stack left with one\n"
             "media is dissolved.",
             version_rm,
             {}};
  return {"version",
          "",
          "Shows and edits the version stacks of a catalog.",
          "Exit status 2 on any error, and then the catalog is left as it was.",
          nullptr,
          {add, list, top, rm}};
}

}  // namespace vantor_cli
