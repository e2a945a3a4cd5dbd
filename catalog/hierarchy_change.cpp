#include "catalog/hierarchy_change.h"

#include <memory>
#include <stdexcept>

#include "catalog/internal_connection.h"

namespace vael {
namespace {

std::size_t count_namespace(const custom_tag_namespace& ns) {
  return count_tags(ns.base().get_children());
}

void finish(internal_connection& c, std::size_t count) {
  if (count != c.hierarchy_tag_count) {
    throw std::logic_error(
        "Could not change the tag hierarchy, since the namespace tag count is different than "
        "when we started.");
  }
  c.hierarchy_namespace.reset();
}

void require_started(const internal_connection& c) {
  if (c.hierarchy_namespace == nullptr) {
    throw std::logic_error("Attempted to finish a tag hierarchy change without starting it.");
  }
}

void require_valid(const custom_tag_namespace& ns) {
  if (!ns.is_valid()) {
    throw std::logic_error("Can't change the tag hierarchy on an invalid namespace");
  }
}

}  // namespace

std::size_t count_tags(const std::vector<tag_base>& children) {
  std::size_t count = children.size();
  for (const tag_base& child : children) count += count_tags(child.get_children());
  return count;
}

void start_tag_hierarchy_change(const connection_handle& handle, const custom_tag_namespace& ns) {
  internal_connection& c = get_connection(handle);
  require_valid(ns);
  const std::size_t count = count_namespace(ns);
  c.hierarchy_namespace = std::make_shared<custom_tag_namespace>(ns);
  c.hierarchy_tag_count = count;
}

void start_tag_hierarchy_change(const connection_handle& handle, const custom_tag_namespace& ns,
                                const custom_tag_namespace& second_ns) {
  internal_connection& c = get_connection(handle);
  require_valid(ns);
  const std::size_t count = count_namespace(ns) + count_namespace(second_ns);
  c.hierarchy_namespace = std::make_shared<custom_tag_namespace>(ns);
  c.hierarchy_second_namespace = std::make_shared<custom_tag_namespace>(second_ns);
  c.hierarchy_tag_count = count;
}

void finish_tag_hierarchy_change(const connection_handle& handle) {
  internal_connection& c = get_connection(handle);
  require_started(c);
  finish(c, count_namespace(*c.hierarchy_namespace));
}

void finish_two_namespace_hierarchy_change(const connection_handle& handle) {
  internal_connection& c = get_connection(handle);
  require_started(c);
  std::size_t count = count_namespace(*c.hierarchy_namespace);
  if (c.hierarchy_second_namespace != nullptr) {
    count += count_namespace(*c.hierarchy_second_namespace);
  }
  finish(c, count);
  c.hierarchy_second_namespace.reset();
}

bool is_in_tag_hierarchy_change(const connection_handle& handle) {
  return get_connection(handle).hierarchy_namespace != nullptr;
}

custom_tag_namespace get_hierarchy_change_namespace(const connection_handle& handle) {
  const internal_connection& c = get_connection(handle);
  return c.hierarchy_namespace != nullptr ? *c.hierarchy_namespace : custom_tag_namespace();
}

}  // namespace vael
