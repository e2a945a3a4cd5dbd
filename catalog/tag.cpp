#include "catalog/tag.h"

#include <set>

#include "catalog/custom_tag_namespace.h"
#include "catalog/internal_connection.h"
#include "catalog/tag_queries.h"

namespace vael {

tag_base& tag::base() const {
  if (base_ == nullptr) throw connection_error();
  return *base_;
}

bool tag::has_parent_tag() const {
  return !base().get_parent().is_namespace();
}

std::shared_ptr<custom_tag_namespace> tag::get_namespace() const {
  tag_base current = base();
  if (!current.has_parent()) throw database_state_invalid_error();
  std::set<int> seen{current.get_id()};
  for (;;) {
    current = current.get_parent();
    if (current.is_namespace()) return std::make_shared<custom_tag_namespace>(current);
    if (!current.has_parent() || !seen.insert(current.get_id()).second) {
      throw database_state_invalid_error();
    }
  }
}

std::vector<tag> tag::get_children() const {
  std::vector<tag> children;
  for (tag_base& child : base().get_children()) children.emplace_back(std::move(child));
  return children;
}

void tag::set_children(const std::vector<tag>& children) {
  internal_connection& c = get_connection(base().handle());
  if (c.hierarchy_namespace == nullptr) {
    throw std::logic_error("You must be in a tag hierarchy change to set tag children.");
  }
  if (get_namespace()->get_id() != c.hierarchy_namespace->get_id()) {
    throw std::logic_error(
        "The tag namespace doesn't match the namespace for the current tag hierarchy change.");
  }
  std::vector<tag_base> bases;
  for (const tag& child : children) bases.push_back(child.base());
  base().renumber_children(bases);
}

std::vector<int> tag::get_tags_on_media(int media_id) const {
  return vael::get_tags_on_media(base(), media_id);
}

std::vector<int> tag::get_tags_on_all_media(const std::vector<int>& media_ids) const {
  return vael::get_tags_on_all_media(base(), media_ids);
}

std::vector<int> tag::get_tags_on_any_media(const std::vector<int>& media_ids,
                                            bool leaves_only) const {
  return vael::get_tags_on_any_media(base(), media_ids, leaves_only);
}

std::vector<std::pair<int, int>> tag::get_tag_frequencies(const std::vector<int>& media_ids,
                                                          bool leaves_only, int keep_rare,
                                                          int minimum_score) const {
  return vael::get_tag_frequencies(base(), media_ids, leaves_only, keep_rare, minimum_score);
}

bool tag::has_other_named_tag(const std::vector<int>& media_ids, bool leaves_only,
                              const std::string& name) const {
  return vael::has_other_named_tag(base(), media_ids, leaves_only, name);
}

tag get_tag(const connection_handle& handle, int id) {
  return tag(load_tag_base(handle, id));
}

tag get_tag_in_namespace(const connection_handle& handle, int id) {
  tag_base base = load_tag_base(handle, id);
  if (base.is_namespace()) {
    throw std::logic_error(
        "The tag id specified reference a custom tag.  It referenced a custom tag namespace");
  }
  return tag(std::move(base));
}

}  // namespace vael
