#pragma once

#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/metadata_item.h"
#include "dbl/entry_data.h"

namespace vael_util {

// Small readers and writers of well-known metadata, for code that would otherwise work with
// vael::metadata_view_t directly. `data_type` is the number of vael::metadata_data_type;
// each writer makes sure of the description first (create_or_load_metadata_description), so
// for an existing description the number is ignored. Writers REQUIRE an open transaction.

// Sets a value of `identifier` on the media: a new value when the media has none or the
// description is multi valued, else the first existing value is overwritten.
vael::metadata_item_t create_media(const vael::connection_handle& handle,
                                   const std::string& identifier, int data_type, int media_id,
                                   const dbl::entry_data& value);
// Sets the value on the tag: the first existing value is overwritten whatever the
// description's multiplicity, so a tag keeps one value of each description.
vael::metadata_item_t create_tag_metadata(const vael::connection_handle& handle,
                                          const std::string& identifier, int data_type, int tag_id,
                                          const dbl::entry_data& value);
// As create_tag_metadata for the catalog-wide value, which has no owner.
vael::metadata_item_t create_catalog_metadata(const vael::connection_handle& handle,
                                              const std::string& identifier, int data_type,
                                              const dbl::entry_data& value);

// Values of `identifier` on the media, on the tag, and catalog-wide (every value of the
// description). Throw std::logic_error when the description does not exist.
std::vector<vael::metadata_item_t> get_media_metadata(const vael::connection_handle& handle,
                                                      const std::string& identifier, int media_id);
std::vector<vael::metadata_item_t> get_tag_metadata(const vael::connection_handle& handle,
                                                    const std::string& identifier, int tag_id);
std::vector<vael::metadata_item_t> get_catalog_metadata(const vael::connection_handle& handle,
                                                        const std::string& identifier);

// The first omb:PersonId value of the tag, or "" when it has none.
std::string person_id_of_tag(const vael::connection_handle& handle, int tag_id);
// Writes sync:HalcynTagSyncStatus = 1 or 0 on the tag.
void set_tag_sync_status(int tag_id, bool flag, const vael::connection_handle& handle);
// Writes omb:isTagHidden = 0 on the tag.
void clear_tag_hidden(int tag_id, const vael::connection_handle& handle);

// Day notes: catalog-wide db:day_note strings "<date text>-<note>". The finders give every
// note whose text begins with `date_text`, or with the year written in four digits, so
// "2021-05" finds a month; none when the description does not exist yet.
std::vector<vael::metadata_item_t> find_day_note(const vael::connection_handle& handle,
                                                 const std::string& date_text);
std::vector<vael::metadata_item_t> find_day_notes_of_year(const vael::connection_handle& handle,
                                                          int year);
// Overwrites the first note found for `date_text`, or adds one.
vael::metadata_item_t set_day_note(const vael::connection_handle& handle,
                                   const std::string& date_text, const std::string& note);

// "a,b,c,d", the text of omb:TagIconMediaCropRect.
std::string format_rect(double a, double b, double c, double d);
// Reads the first four comma separated numbers of `text`; with fewer than four parts all four
// outputs are 0. Throws boost::bad_lexical_cast when one of the four is not a number, with the
// outputs unchanged.
void parse_rect(const std::string& text, double& a, double& b, double& c, double& d);
// "a#b,c,d,e#f#g#h#i#j#k#l", a twelve field face record.
std::string format_face_record(int a, int b, int c, int d, int e, double f, int g,
                               const std::string& h, double i, int j, double k, double l);

// Unlinks the string values of `identifier` from the listed media; the value rows stay. An
// identifier without a description does nothing.
void remove_string_metadata_of_media(const std::vector<int>& media_ids,
                                     const std::string& identifier,
                                     const vael::connection_handle& handle);
void remove_face_data_of_media(const std::vector<int>& media_ids,
                               const vael::connection_handle& handle);
void remove_asset_ids_of_media(const std::vector<int>& media_ids,
                               const vael::connection_handle& handle);
// Deletes the link of one string value to the media, and the value row.
void remove_metadata_link(int media_id, int metadata_id, const vael::connection_handle& handle);
// Forgets what the online service knew: the values and links of its media and album
// identifiers (the descriptions stay), then clears the sync mark of every marked tag.
void remove_online_metadata(const vael::connection_handle& handle);

}  // namespace vael_util
