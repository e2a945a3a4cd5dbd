#include "preferences/conflict_xml.h"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdint>
#include <exception>
#include <fstream>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "catalog/connection.h"
#include "catalog/connection_handle.h"
#include "catalog/media.h"
#include "catalog/metadata_view.h"
#include "catalog/version_stack.h"
#include "catalog_util/metadata_vocabulary.h"
#include "environment/catalog_paths.h"
#include "preferences/library_state.h"
#include "preferences/sync_catalog.h"
#include "preferences/sync_prefs_xml.h"
#include "vantor/vantor.h"

namespace vantor_prefs {
namespace {

namespace id = vael_util::metadata_identifier;
namespace pt = boost::posix_time;

// The first value of `identifier` on the media; null when the catalog has no such description
// or the media no value of it.
dbl::entry_data first_media_value(const vael::connection_handle& handle,
                                  const std::string& identifier, int media_id) {
  const vael::metadata_view_t view(handle);
  if (!view.has_description(identifier)) return {};
  const std::vector<vael::metadata_item_t> items =
      view.get_media(view.get_description(identifier), media_id);
  return items.empty() ? dbl::entry_data() : items.front().value;
}

// The first of the two dates that is set as a date and time; not_a_date_time when neither is.
pt::ptime local_date(const vael::connection_handle& handle, int media_id) {
  for (const char* identifier : {id::last_organizer_modified_time, id::file_date}) {
    const dbl::entry_data value = first_media_value(handle, identifier, media_id);
    if (value.kind() == dbl::entry_kind::timestamp) return value.as_ptime();
  }
  return {};
}

// The decimal text of an integer value; "" for a value of any other kind.
std::string integer_text(const dbl::entry_data& value) {
  switch (value.kind()) {
    case dbl::entry_kind::int16:
    case dbl::entry_kind::int32:
    case dbl::entry_kind::int64:
      return std::to_string(value.as_int64());
    case dbl::entry_kind::uint16:
    case dbl::entry_kind::uint32:
    case dbl::entry_kind::uint64:
      return std::to_string(value.as_uint64());
    default:
      return {};
  }
}

// A dimension in pixels; 0 when it has no value or cannot be read as a number.
std::int64_t pixel_dimension(const vael::connection_handle& handle, const char* identifier,
                             int media_id) {
  try {
    return first_media_value(handle, identifier, media_id).as_int64();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return 0;
  }
}

// The <localdate> and <localtime> elements; a media without a date gets both with an empty
// value, since the date library has no parts to give for not_a_date_time.
std::string date_text(const pt::ptime& date) {
  std::string day_text, time_text;
  if (!date.is_special()) {
    const boost::gregorian::date day = date.date();
    day_text = std::to_string(day.day().as_number()) + "/" +
               std::to_string(day.month().as_number()) + "/" + std::to_string(day.year());
    const pt::time_duration time = date.time_of_day();
    time_text = std::to_string(time.hours()) + ":" + std::to_string(time.minutes()) + ":" +
                std::to_string(time.seconds());
  }
  return "<localdate value = \"" + day_text + "\"/><localtime value = \"" + time_text + "\"/>";
}

// The <localdata> element of the media; "" when the catalog has no such media or fails on it.
// Running out of memory is not the catalog's failure: std::bad_alloc goes on to the caller.
std::string local_text(const vael::connection_handle& handle, int media_id) {
  std::string text;
  try {
    const std::string filename = vael::media::get_media(handle, media_id).get_filename();
    // Escaped, since a file may well be named "Tom & Jerry.jpg".
    text += "<localdata><locallabel value = \"";
    XmlEscape(filename, text);
    text += "\"/>";
    text += date_text(local_date(handle, media_id));

    const std::string::size_type dot = filename.rfind('.');
    const bool original =
        dot != std::string::npos && filename.compare(dot + 1, std::string::npos, "omb") == 0;
    text += "<localfilesize value = \"" +
            integer_text(first_media_value(
                handle, original ? id::file_size_original : id::file_size, media_id)) +
            "\"/>";

    const std::int64_t width = pixel_dimension(handle, id::image_width, media_id);
    const std::int64_t height = pixel_dimension(handle, id::image_height, media_id);
    const std::string pixels =
        width > 0 && height > 0 ? std::to_string(width) + "x" + std::to_string(height) : "";
    text += "<localpixel value = \"" + pixels + "\"/></localdata>";
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return {};
  }
  return text;
}

// The whole file as it is; "" when it cannot be opened. Sized up front, since streaming into
// a string stream would swallow a failed allocation and hand on a cut text.
std::string read_online_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  if (!in) return {};
  const std::streamoff size = in.tellg();
  if (size <= 0) return {};
  std::string text(static_cast<std::size_t>(size), '\0');
  in.seekg(0);
  in.read(text.data(), size);
  text.resize(static_cast<std::size_t>(in.gcount()));
  return text;
}

std::string id_text(int id, int top) {
  return "<vaelid value = \"" + std::to_string(id) + "\" tosvalue = \"" + std::to_string(top) +
         "\"/>";
}

}  // namespace

int VersionSetTop(const vael::connection_handle& connection, int mediaId) {
  try {
    if (!vael::version_stack::is_media_in_version_stack(connection, mediaId)) return mediaId;
    const std::vector<int> ids =
        vael::version_stack::get_for_media(connection, mediaId).get_media_ids();
    return ids.empty() ? mediaId : ids.front();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return mediaId;
  }
}

namespace {

// The elements of both lists, after the text `out` begins with.
void AppendConflicts(const vael::connection_handle& handle, const std::vector<int>& conflicts,
                     const std::vector<int>& deletes, const std::string& conflictFolder,
                     std::string& out) {
  for (const int c : conflicts) {
    const int top = VersionSetTop(handle, c);
    const std::string element = std::to_string(c);
    out += "<Conflict" + element + ">" + id_text(c, top);
    out += local_text(handle, top);
    out += read_online_text(conflictFolder + element + "/" + vantor_env::kConflictOnlineXml);
    out += "</Conflict" + element + ">";
  }
  out += "</Conflicts><Deletions>";
  for (const int d : deletes) {
    const int top = VersionSetTop(handle, d);
    const std::string local = local_text(handle, top);
    if (local.empty()) continue;
    const std::string element = std::to_string(d);
    out += "<Delete" + element + ">" + id_text(d, top) + local + "</Delete" + element + ">";
  }
  out += "</Deletions></ManualConflictResolution>";
}

}  // namespace
}  // namespace vantor_prefs

namespace VTL {

int getVersionSetTop(std::shared_ptr<vael::internal_connection*> connection, int mediaId) {
  if (connection == nullptr) return mediaId;
  // The host hands over the catalog state itself; the model reaches it through a slot.
  auto slot = std::make_shared<vael::connection_slot>();
  slot->connection = *connection;
  return vantor_prefs::VersionSetTop(slot, mediaId);
}

error_code GetManualConflictResolutionXML(std::vector<int> conflicts, std::vector<int> deletes,
                                          std::string& out, std::string conflictFolder,
                                          std::string& /*reserved*/) {
  using namespace vantor_prefs;
  out = "<ManualConflictResolution><Conflicts>";
  std::optional<catalog_connection_scope> scope;
  try {
    scope.emplace(SyncCatalogFilePath());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return catalog_error;
  }
  const vael::connection_handle& handle = scope->get().handle();
  try {
    AppendConflicts(handle, conflicts, deletes, conflictFolder, out);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return catalog_error;
  }
  return success;
}

}  // namespace VTL
