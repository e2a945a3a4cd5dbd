#include "catalog_util/catalog_defaults.h"

#include <array>
#include <stdexcept>

#include "catalog/custom_tag_namespace.h"
#include "catalog/metadata_description.h"
#include "catalog/metadata_view.h"
#include "catalog/tag.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/well_known_tags.h"

namespace vael_util {
namespace {

namespace id = metadata_identifier;

constexpr int integer_type = static_cast<int>(vael::metadata_data_type::integer_type);
constexpr int decimal_type = static_cast<int>(vael::metadata_data_type::decimal_type);

// The content analysis tree: the parent of each node, -1 for the two roots (node 0 shown,
// node 1 hidden). Every parent comes before its children, so nodes are made in number order.
constexpr std::array<int, content_analysis_tag_count> content_analysis_parent = {
    -1, -1, 1,  0,  3,  3,  3,  3,  1,  0,   // 0-9
    0,  1,  0,  0,  0,  0,  1,  0,  17, 17,  // 10-19
    17, 17, 17, 17, 1,  0,  25, 26, 27, 27,  // 20-29
    27, 26, 31, 31, 31, 25, 35, 36, 36, 36,  // 30-39
    35, 40, 40, 40, 25, 44, 45, 45, 45, 44,  // 40-49
    49, 49, 49, 1,  0,  1,  0,  0,  0,  0,   // 50-59
};

void require_entries(const std::vector<std::string>& names, std::size_t count, const char* what) {
  if (names.size() < count) {
    throw std::invalid_argument(std::string(what) + " needs " + std::to_string(count) +
                                " names, got " + std::to_string(names.size()));
  }
}

vael::tag_type_t without_media(vael::tag_type_t type) {
  type.can_tag_media = false;
  return type;
}

void place_tag_at_origin(const vael::connection_handle& handle, int tag_id) {
  create_tag_metadata(handle, id::tag_longitude, decimal_type, tag_id, dbl::entry_data(0.0));
  create_tag_metadata(handle, id::tag_latitude, decimal_type, tag_id, dbl::entry_data(0.0));
}

// The tags a user starts with; made only once in a catalog's life.
void create_first_user_tags(const vael::connection_handle& handle,
                            const vael::custom_tag_namespace& user,
                            const default_tag_names& names) {
  const int qr_code_id =
      find_or_create_top_level_tag(user, names[default_tag_entry::qr_code], user_qr_code_type())
          .get_id();
  create_or_load_ns(handle, ns_name::event);
  const vael::custom_tag_namespace person = create_or_load_ns(handle, ns_name::person);
  for (std::size_t i = 0; i < 3; ++i) {
    find_or_create_top_level_tag(person, names[default_tag_entry::first_person + i],
                                 user_person_type());
  }
  create_or_load_ns(handle, ns_name::place);
  for (std::size_t i = 0; i < 3; ++i) {
    find_or_create_top_level_tag(user, names[default_tag_entry::first_custom + i],
                                 user_custom_type());
  }
  const int misc_id = find_or_create_top_level_tag(user, names[default_tag_entry::miscellaneous],
                                                   user_misc_parent_type())
                          .get_id();
  for (int tag_id : {qr_code_id, misc_id}) place_tag_at_origin(handle, tag_id);
}

}  // namespace

int read_initialize_revision(const vael::connection_handle& handle) {
  if (!vael::metadata_view_t(handle).has_description(id::initialize_revision)) return 0;
  const std::vector<vael::metadata_item_t> values =
      get_catalog_metadata(handle, id::initialize_revision);
  if (values.empty() || values.front().value.is_null()) return 0;
  return values.front().value.as_int();
}

void initialize_catalog_defaults(const vael::connection_handle& handle,
                                 const default_tag_names& names) {
  const int revision = read_initialize_revision(handle);
  if (revision >= catalog_defaults_revision) return;
  const bool fresh = revision == 0;
  if (fresh) require_entries(names, default_tag_entry::qr_code + 1, "a new catalog");

  create_default_metadata_descriptions(handle);
  const vael::custom_tag_namespace user = create_or_load_ns(handle, ns_name::user);
  if (fresh) create_first_user_tags(handle, user, names);
  create_or_load_ns(handle, ns_name::collection);
  create_or_load_ns(handle, ns_name::smart_collection);
  create_or_load_ns(handle, ns_name::import);
  find_or_create_top_level_tag(create_or_load_ns(handle, ns_name::hidden), reserved_name::hidden,
                               hidden_type());
  create_or_load_ns(handle, ns_name::history);
  find_or_create_top_level_tag(create_or_load_ns(handle, ns_name::rejected_face),
                               reserved_name::rejected_face, rejected_face_type());

  create_catalog_metadata(handle, id::initialize_revision, integer_type,
                          dbl::entry_data(catalog_defaults_revision));
}

int find_or_create_smart_album_parent(const vael::connection_handle& handle,
                                      const default_tag_names& names) {
  require_entries(names, default_tag_entry::smart_album_parent + 1, "the smart album parent");
  return find_or_create_top_level_tag(create_or_load_ns(handle, ns_name::smart_collection),
                                      names[default_tag_entry::smart_album_parent],
                                      smart_album_type())
      .get_id();
}

void create_content_analysis_tags(const vael::connection_handle& handle,
                                  const std::vector<std::string>& names) {
  if (vael::has_custom_tag_namespace(handle, ns_name::content_analysis_hidden) &&
      vael::has_custom_tag_namespace(handle, ns_name::content_analysis)) {
    return;
  }
  require_entries(names, content_analysis_tag_count, "the content analysis tree");
  std::array<vael::tag, content_analysis_tag_count> nodes;
  nodes[0] = find_or_create_top_level_tag(create_or_load_ns(handle, ns_name::content_analysis),
                                          names[0], without_media(content_analysis_group_type()));
  nodes[1] =
      find_or_create_top_level_tag(create_or_load_ns(handle, ns_name::content_analysis_hidden),
                                   names[1], without_media(content_analysis_hidden_group_type()));
  // The hidden tree is the subtree of node 1; record which root each node descends from.
  std::array<bool, content_analysis_tag_count> hidden{};
  hidden[1] = true;
  for (std::size_t n = 2; n < content_analysis_tag_count; ++n) {
    const auto parent = static_cast<std::size_t>(content_analysis_parent[n]);
    hidden[n] = hidden[parent];
    nodes[n] = find_or_create_child_tag(
        nodes[parent], names[n],
        hidden[n] ? content_analysis_hidden_group_type() : content_analysis_group_type());
  }
}

}  // namespace vael_util
