#include "catalog_util/metadata_vocabulary.h"

#include <QUuid>
#include <set>

#include "catalog/metadata_view.h"
#include "catalog_util/metadata_helpers.h"
#include "diagnostics/timer.h"

namespace vael_util {
namespace {

namespace id = metadata_identifier;
using association = vael::metadata_association_type;

const std::set<std::string>& single_media_identifiers() {
  static const std::set<std::string> ids = {id::face_detector_version,
                                            id::face_recognizer_version,
                                            id::face_detector_analysis_path,
                                            id::asset_id,
                                            id::asset_catalog_id,
                                            id::rendition_type,
                                            id::revision_id,
                                            id::imported_by,
                                            id::associated_jpeg_id,
                                            id::proxy_jpeg_path,
                                            id::is_video_proxy_required,
                                            id::is_asset_duplicate,
                                            id::video_proxy_generation_status};
  return ids;
}

const std::set<std::string>& single_tag_identifiers() {
  static const std::set<std::string> ids = {id::is_tag_hidden,
                                            id::is_face_tag,
                                            id::face_tag_contact_uuid,
                                            id::is_event_tag,
                                            id::event_details,
                                            id::event_description,
                                            id::is_place_tag,
                                            id::person_id,
                                            id::is_show_warning_sign,
                                            id::is_icon_manually_set,
                                            id::face_stack_compliance_score};
  return ids;
}

}  // namespace

metadata_rule metadata_rule_of(const std::string& identifier) {
  if (identifier == id::day_note) return {association::unassociated_association_type, true};
  if (identifier == id::face_data) return {association::media_association_type, true};
  if (single_media_identifiers().count(identifier) != 0) {
    return {association::media_association_type, false};
  }
  if (single_tag_identifiers().count(identifier) != 0) {
    return {association::tag_association_type, false};
  }
  return {association::unassociated_association_type, false};
}

const std::vector<default_metadata_description>& default_metadata_descriptions() {
  static const std::vector<default_metadata_description> list = {
      {id::image_description, 0},
      {id::album_notes, 0},
      {id::rating, 1},
      {id::file_size, 1},
      {id::file_size_original, 1},
      {id::file_date, 3},
      {id::file_date_original, 3},
      {id::file_name_original, 0},
      {id::folder_name, 0},
      {id::media_guid, 0},
      {id::face_data, 0},
      {id::face_detector_version, 1},
      {id::face_recognizer_version, 1},
      {id::face_detector_analysis_path, 0},
      {"omb::VisualSimilarityIndexed", 1},
      {"xmpDM:Duration", 1},
      {"exif:RelatedSoundFile", 0},
      {"omb:ProxyFile", 0},
      {id::image_width, 1},
      {id::image_height, 1},
      {id::gps_longitude, 2},
      {id::gps_latitude, 2},
      {"omb:CalendarDayDelegate", 1},
      {id::create_date, 3},
      {id::make, 0},
      {id::model, 0},
      {id::exposure_time, 2},
      {id::exposure_program, 1},
      {id::exposure_bias, 2},
      {id::focal_length, 2},
      {id::iso_speed_ratings, 1},
      {id::f_number, 2},
      {id::flash, 1},
      {id::creator, 0},
      {id::title, 0},
      {"creation:MediaCount", 1},
      {id::frame_rate, 2},
      {id::media_duration, 2},
      {id::media_format, 0},
      {id::resolution, 0},
      {id::asset_id, 0},
      {id::asset_catalog_id, 0},
      {id::rendition_type, 0},
      {id::revision_id, 0},
      {id::imported_by, 0},
      {id::associated_jpeg_id, 1},
      {id::proxy_jpeg_path, 0},
      {id::is_asset_duplicate, 1},
      {id::is_video_proxy_required, 1},
      {id::video_proxy_generation_status, 1},
      {"omb:ImportSourceType", 0},
      {"omb:ImportSourceName", 0},
      {"omb:ImportSourceId", 0},
      {"omb:ImportSourcePath", 0},
      {"omb:place_alias_name", 0},
      {id::tag_sort_name, 0},
      // Where omb:TagColor belongs; catalogs were made with this list, so it stays.
      {id::tag_sort_name, 1},
      {id::tag_icon, 4},
      {id::tag_icon_media_id, 1},
      {id::tag_icon_media_crop_rect, 0},
      {id::tag_date, 3},
      {id::tag_notes, 0},
      {id::tag_latitude, 2},
      {id::tag_longitude, 2},
      {id::tag_zoom, 2},
      {id::person_id, 0},
      {id::printer_name, 0},
      {id::email_recipients, 0},
      {id::service_name, 0},
      {id::project_name, 0},
      {id::smart_collection_search_data, 4},
      {id::smart_album_search_data, 4},
      {id::event_details, 0},
      {id::event_description, 0},
      {id::is_event_tag, 1},
      {id::tag_sync_status, 1},
      {id::initialize_revision, 1},
      {id::day_note, 0},
      {id::catalog_guid, 0},
      {id::is_show_warning_sign, 1},
      {id::is_icon_manually_set, 1},
      {id::face_stack_compliance_score, 1},
      {id::is_tag_hidden, 1},
  };
  return list;
}

vael::metadata_description_t create_or_load_metadata_description(
    const vael::connection_handle& handle, const std::string& identifier, int data_type) {
  lil::timer timer("vael_util::create_or_load_metadata_description");
  vael::metadata_view_t view(handle);
  if (view.has_description(identifier)) return view.get_description(identifier);
  const metadata_rule rule = metadata_rule_of(identifier);
  return view.create_description(identifier, static_cast<vael::metadata_data_type>(data_type),
                                 rule.association_type, rule.can_have_multiple_items);
}

void create_default_metadata_descriptions(const vael::connection_handle& handle) {
  for (const default_metadata_description& entry : default_metadata_descriptions()) {
    create_or_load_metadata_description(handle, entry.identifier, entry.data_type);
  }
  if (!get_catalog_metadata(handle, id::catalog_guid).empty()) return;
  const std::string guid = QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
  create_catalog_metadata(handle, id::catalog_guid, 0, guid);
}

}  // namespace vael_util
