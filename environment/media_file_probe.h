#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdint>
#include <optional>
#include <string>

// What one file on disk tells about itself before it enters a catalog: its type, size and time,
// and the facts its embedded metadata gives.
namespace vantor_env {

struct media_file_probe_t {
  std::string mime_type;  // from the name and the content; "application/octet-stream" if unknown
  bool is_media = false;  // a catalog can hold it: image/*, video/*, audio/*
  std::uint64_t size = 0;
  boost::posix_time::ptime last_write;  // UTC

  // From the embedded metadata of images. The capture date is the wall time the camera wrote,
  // with any zone offset dropped.
  std::optional<boost::posix_time::ptime> capture_date;
  std::optional<int> width;
  std::optional<int> height;
  std::optional<int> rating;
  // Why the embedded metadata of an image could not be read; empty when it could, and for files
  // that are not images.
  std::string warning;
};

// True for the MIME types a catalog can hold.
bool IsCatalogMediaType(const std::string& mime_type);

// Probes the file at `path`. An image whose metadata cannot be read (damaged, or a format the
// metadata reader does not know) gives a result with a warning and no metadata values. Throws
// std::runtime_error when `path` is not an existing regular file, and when the system's MIME
// database (shared-mime-info, found through XDG_DATA_DIRS) is missing.
// Thread-safe.
media_file_probe_t ProbeMediaFile(const std::string& path);

}  // namespace vantor_env
