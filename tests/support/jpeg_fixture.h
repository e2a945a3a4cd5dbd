#pragma once

#include <exiv2/exiv2.hpp>
#include <fstream>
#include <functional>
#include <string>

#include "tools/vantor/tiny_jpeg.h"

namespace vantor_test {

using vantor_cli::kTinyJpegHeight;
using vantor_cli::kTinyJpegWidth;

// Writes the tiny JPEG to `path` and lets `tag`, when given, fill in its metadata.
inline void WriteJpeg(const std::string& path,
                      const std::function<void(Exiv2::ExifData&, Exiv2::XmpData&)>& tag = {}) {
  std::ofstream(path, std::ios::binary) << vantor_cli::TinyJpeg() << std::flush;
  if (!tag) return;
  auto image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  tag(image->exifData(), image->xmpData());
  image->writeMetadata();
}

}  // namespace vantor_test
