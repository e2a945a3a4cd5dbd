#pragma once

#include <string>

namespace vael {

// `type_name` of a root tag that is a tag namespace.
inline constexpr char custom_tag_namespace_type_name[] = "custom_tag_namespace";

// What a new tag is made from: its type name and five flags. Without can_tag_media the tag is
// made with no ordering and no stack flags, whatever this description says.
struct tag_type_t {
  std::string type_name;
  bool media_is_ordered = false;
  bool can_tag_media = true;
  bool can_have_children = true;
  bool applies_to_all_in_media_stack = false;
  bool applies_to_all_in_version_stack = false;
};

}  // namespace vael
