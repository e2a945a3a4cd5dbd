#pragma once

#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/metadata_description.h"

namespace vael_util {

// Identifiers of the catalog's well-known metadata. The double colon of the three "omb::"
// face names and the spelling "Dectector" are part of the stored identifiers.
namespace metadata_identifier {
inline constexpr char image_description[] = "tiff:ImageDescription";
inline constexpr char album_notes[] = "album:notes";
inline constexpr char rating[] = "xmp:Rating";
inline constexpr char file_size[] = "omb:FileSize";
inline constexpr char file_size_original[] = "omb:FileSizeOriginal";
inline constexpr char file_date[] = "omb:FileDate";
inline constexpr char file_date_original[] = "omb:FileDateOriginal";
inline constexpr char file_name_original[] = "omb:FileNameOriginal";
inline constexpr char folder_name[] = "omb:FolderName";
inline constexpr char media_guid[] = "omb:guid";
inline constexpr char face_data[] = "omb:FaceData";
inline constexpr char face_detector_version[] = "omb::FaceDectectorVersion";
inline constexpr char face_recognizer_version[] = "omb::FaceRecognizerVersion";
inline constexpr char face_detector_analysis_path[] = "omb::FaceDectectorFaceAnalysisPath";
inline constexpr char image_width[] = "tiff:ImageWidth";
inline constexpr char image_height[] = "tiff:ImageHeight";
inline constexpr char gps_longitude[] = "exif:GPSLongitude";
inline constexpr char gps_latitude[] = "exif:GPSLatitude";
inline constexpr char create_date[] = "xmp:CreateDate";
inline constexpr char make[] = "exif:Make";
inline constexpr char model[] = "exif:Model";
inline constexpr char exposure_time[] = "exif:ExposureTime";
inline constexpr char exposure_program[] = "exif:ExposureProgram";
inline constexpr char exposure_bias[] = "exif:ExposureBias";
inline constexpr char focal_length[] = "exif:FocalLength";
inline constexpr char iso_speed_ratings[] = "exif:ISOSpeedRatings";
inline constexpr char f_number[] = "exif:FNumber";
inline constexpr char flash[] = "exif:Flash";
inline constexpr char creator[] = "dc:creator";
inline constexpr char title[] = "dc:title";
inline constexpr char frame_rate[] = "vdl:FrameRate";
inline constexpr char media_duration[] = "vdl:MediaDuration";
inline constexpr char media_format[] = "vdl:MediaFormat";
inline constexpr char resolution[] = "vdl:Resolution";
inline constexpr char asset_id[] = "nx:assetid";
inline constexpr char asset_catalog_id[] = "nx:asset_catalog_id";
inline constexpr char rendition_type[] = "nx:rendition_type";
inline constexpr char revision_id[] = "nx:revisionid";
inline constexpr char imported_by[] = "nx:imported_by";
inline constexpr char associated_jpeg_id[] = "nx:associated_jpeg_id";
inline constexpr char proxy_jpeg_path[] = "nx:proxy_jpeg_path";
inline constexpr char is_asset_duplicate[] = "nx:is_asset_duplicate";
inline constexpr char is_video_proxy_required[] = "kq:is_video_proxy_required";
inline constexpr char video_proxy_generation_status[] = "kq:video_proxy_generation_status";
inline constexpr char tag_sort_name[] = "omb:TagSortName";
inline constexpr char tag_color[] = "omb:TagColor";
inline constexpr char tag_icon[] = "omb:TagIcon";
inline constexpr char tag_icon_media_id[] = "omb:TagIconMediaId";
inline constexpr char tag_icon_media_crop_rect[] = "omb:TagIconMediaCropRect";
inline constexpr char tag_date[] = "omb:TagDate";
inline constexpr char tag_notes[] = "omb:TagNotes";
inline constexpr char tag_latitude[] = "omb:TagLatitude";
inline constexpr char tag_longitude[] = "omb:TagLongitude";
inline constexpr char tag_zoom[] = "omb:TagZoom";
inline constexpr char person_id[] = "omb:PersonId";
inline constexpr char printer_name[] = "omb:PrinterName";
inline constexpr char email_recipients[] = "omb:EmailRecipients";
inline constexpr char service_name[] = "omb:ServiceName";
inline constexpr char project_name[] = "omb:ProjectName";
inline constexpr char smart_collection_search_data[] = "omb:SmartCollectionSearchData";
inline constexpr char smart_album_search_data[] = "omb:SmartAlbumSearchData";
inline constexpr char event_details[] = "omb:eventDetails";
inline constexpr char event_description[] = "omb:eventDescription";
inline constexpr char is_event_tag[] = "omb:isEventTag";
inline constexpr char tag_sync_status[] = "sync:HalcynTagSyncStatus";
inline constexpr char initialize_revision[] = "db:initialize_revision";
inline constexpr char day_note[] = "db:day_note";
inline constexpr char catalog_guid[] = "db:guid";
inline constexpr char is_show_warning_sign[] = "omb:isShowWarningSign";
inline constexpr char is_icon_manually_set[] = "omb:isIconManuallySet";
inline constexpr char face_stack_compliance_score[] = "omb:faceStackComplianceScore";
inline constexpr char is_tag_hidden[] = "omb:isTagHidden";
inline constexpr char is_face_tag[] = "omb:isFaceTag";
inline constexpr char face_tag_contact_uuid[] = "omb:faceTagContactuuid";
inline constexpr char is_place_tag[] = "omb:isPlaceTag";
inline constexpr char acl_public[] = "omb:aclPublic";
inline constexpr char album_owner_name[] = "omb:halcynAlbumOwnerName";
inline constexpr char album_style_xml_path[] = "omb:HalcynAlbumStyleXmlPath";
inline constexpr char album_template_id[] = "omb:HalcynAlbumTemplateId";
inline constexpr char flat_album_template_id[] = "omb:flatHalcynAlbumTemplateId";
inline constexpr char is_shared_album_public[] = "omb:isSharedHalcynAlbumPublic";
inline constexpr char shared_album_email_to_send_info[] = "omb:sharedHalcynAlbumEmailToSendInfo";
inline constexpr char shared_album_email_sent_to_info[] = "omb:sharedHalcynAlbumEmailSentToInfo";
inline constexpr char shared_album_permissions[] = "omb:sharedHalcynAlbumPermissions";
inline constexpr char shared_album_url_info[] = "omb:sharedHalcynAlbumURLInfo";
inline constexpr char online_album_id[] = "nx:nx_albumid";
inline constexpr char is_friend_album_group[] = "sync:isFriendAlbumGroup";
inline constexpr char is_friend_album_group_accepted[] = "sync:isFriendAlbumGroupAccepted";
inline constexpr char last_organizer_modified_time[] = "omb:LastOrganizerModifiedTime";
inline constexpr char scene_in_point[] = "vdl:SceneInPoint";
inline constexpr char scene_out_point[] = "vdl:SceneOutPoint";
inline constexpr char converted_smart_albums[] = "db:converted t6 Smart Albums";
}  // namespace metadata_identifier

// What a description of an identifier attaches to and whether an owner may hold several of
// its values; decided only when the description is first made.
struct metadata_rule {
  vael::metadata_association_type association_type;
  bool can_have_multiple_items;
};

// The rule for `identifier`, compared exactly; unlisted identifiers are unassociated and
// single valued.
metadata_rule metadata_rule_of(const std::string& identifier);

// One entry of the default description list: an identifier and the data type number asked
// for it.
struct default_metadata_description {
  const char* identifier;
  int data_type;
};

// The default list in registration order. omb:TagSortName stands in it twice, the second time
// as an integer where omb:TagColor might be expected; the second request finds the first
// description and changes nothing, so omb:TagColor is not made by the list.
const std::vector<default_metadata_description>& default_metadata_descriptions();

// The description of `identifier`, loaded when it exists (the type number is then ignored),
// else made with `data_type` and the rule of metadata_rule_of. Throws std::logic_error
// "An unrecognized metadata type was encounted." when a new description gets a type number
// outside 0 to 4. REQUIRES: an open transaction when the description may be new.
vael::metadata_description_t create_or_load_metadata_description(
    const vael::connection_handle& handle, const std::string& identifier, int data_type);

// Makes sure of every description of the default list, then gives the catalog its identity,
// a new UUID in text form as the catalog-wide db:guid value, unless it has one already.
// REQUIRES: an open transaction.
void create_default_metadata_descriptions(const vael::connection_handle& handle);

}  // namespace vael_util
