#include "environment/media_file_probe.h"

#include <sys/stat.h>

#include <QMimeDatabase>
#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cerrno>
#include <cstring>
#include <exiv2/exiv2.hpp>
#include <limits>
#include <mutex>
#include <stdexcept>

namespace vantor_env {
namespace {

namespace pt = boost::posix_time;

// Exiv2's XMP toolkit is not thread-safe by itself: it takes a lock function when set up.
void LockXmp(void* mutex, bool lock) {
  auto* m = static_cast<std::recursive_mutex*>(mutex);
  if (lock) {
    m->lock();
  } else {
    m->unlock();
  }
}

// Exiv2 logs to stderr unless told not to, for every process that uses it.
void InitExiv2() {
  static std::once_flag once;
  static std::recursive_mutex xmp_mutex;
  std::call_once(once, [] {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    Exiv2::XmpParser::initialize(LockXmp, &xmp_mutex);
  });
}

std::optional<int> IntOf(const Exiv2::Value& value) {
#if EXIV2_TEST_VERSION(0, 28, 0)
  const std::int64_t n = value.toInt64();
#else
  const long n = value.toLong();
#endif
  if (!value.ok() || n < std::numeric_limits<int>::min() || n > std::numeric_limits<int>::max()) {
    return std::nullopt;
  }
  return static_cast<int>(n);
}

const Exiv2::Metadatum* Find(const Exiv2::ExifData& exif, const char* key) {
  const auto it = exif.findKey(Exiv2::ExifKey(key));
  return it == exif.end() ? nullptr : &*it;
}

const Exiv2::Metadatum* Find(const Exiv2::XmpData& xmp, const char* key) {
  const auto it = xmp.findKey(Exiv2::XmpKey(key));
  return it == xmp.end() ? nullptr : &*it;
}

template <typename Data>
std::optional<int> IntAt(const Data& data, const char* key) {
  const Exiv2::Metadatum* m = Find(data, key);
  if (m == nullptr) return std::nullopt;
  return IntOf(m->value());
}

template <typename Data>
std::string TextAt(const Data& data, const char* key) {
  const Exiv2::Metadatum* m = Find(data, key);
  return m == nullptr ? std::string() : m->toString();
}

// "YYYY:MM:DD HH:MM:SS"; cameras without a clock write zeros or blanks, which give nothing.
std::optional<pt::ptime> ExifDate(std::string text) {
  if (text.size() < 19 || text[4] != ':' || text[7] != ':') return std::nullopt;
  text[4] = text[7] = '-';
  try {
    return pt::time_from_string(text.substr(0, 19));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

// ISO 8601 as XMP writes it: a date, or a date and a time of minutes or seconds with an optional
// fraction and zone.
std::optional<pt::ptime> XmpDate(std::string text) {
  try {
    const std::size_t t = text.find('T');
    if (t == std::string::npos) {
      if (text.size() != 10) return std::nullopt;
      return pt::ptime(boost::gregorian::from_simple_string(text));
    }
    const std::size_t zone = text.find_first_of("Z+-", t);
    if (zone != std::string::npos) text.resize(zone);
    if (text.size() == t + 6) text += ":00";
    return pt::from_iso_extended_string(text);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

bool PositivePair(std::optional<int> a, std::optional<int> b) {
  return a > 0 && b > 0;
}

void ReadEmbedded(const std::string& path, media_file_probe_t& probe) {
  InitExiv2();
  try {
    auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    const Exiv2::ExifData& exif = image->exifData();
    const Exiv2::XmpData& xmp = image->xmpData();

    probe.capture_date = ExifDate(TextAt(exif, "Exif.Photo.DateTimeOriginal"));
    if (!probe.capture_date) probe.capture_date = ExifDate(TextAt(exif, "Exif.Image.DateTime"));
    if (!probe.capture_date) probe.capture_date = XmpDate(TextAt(xmp, "Xmp.xmp.CreateDate"));

    std::optional<int> w = IntAt(exif, "Exif.Photo.PixelXDimension");
    std::optional<int> h = IntAt(exif, "Exif.Photo.PixelYDimension");
    if (!PositivePair(w, h)) {
      w = IntAt(exif, "Exif.Image.ImageWidth");
      h = IntAt(exif, "Exif.Image.ImageLength");
    }
    if (!PositivePair(w, h)) {
      w = static_cast<int>(image->pixelWidth());
      h = static_cast<int>(image->pixelHeight());
    }
    if (PositivePair(w, h)) {
      probe.width = w;
      probe.height = h;
    }

    probe.rating = IntAt(xmp, "Xmp.xmp.Rating");
    if (!probe.rating) probe.rating = IntAt(exif, "Exif.Image.Rating");
  } catch (const std::exception& e) {
    probe.capture_date.reset();
    probe.width.reset();
    probe.height.reset();
    probe.rating.reset();
    probe.warning = "Cannot read the metadata of " + path + ": " + e.what();
  }
}

}  // namespace

bool IsCatalogMediaType(const std::string& mime_type) {
  return mime_type.rfind("image/", 0) == 0 || mime_type.rfind("video/", 0) == 0 ||
         mime_type.rfind("audio/", 0) == 0;
}

media_file_probe_t ProbeMediaFile(const std::string& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) {
    throw std::runtime_error("Cannot probe " + path + ": " + std::strerror(errno));
  }
  if (!S_ISREG(st.st_mode)) throw std::runtime_error("Cannot probe " + path + ": not a file");

  media_file_probe_t probe;
  probe.size = static_cast<std::uint64_t>(st.st_size);
  probe.last_write =
      pt::from_time_t(st.st_mtim.tv_sec) + pt::microseconds(st.st_mtim.tv_nsec / 1000);
  // QMimeDatabase is documented thread-safe; one per call keeps no state of ours.
  const QMimeType mime = QMimeDatabase().mimeTypeForFile(QString::fromStdString(path));
  // Even an unknown file is application/octet-stream; no type at all means Qt found no MIME
  // database, and every file would silently look like non-media.
  if (!mime.isValid()) {
    throw std::runtime_error("No MIME type database found: cannot tell the type of " + path);
  }
  probe.mime_type = mime.name().toStdString();
  probe.is_media = IsCatalogMediaType(probe.mime_type);
  if (probe.mime_type.rfind("image/", 0) == 0) ReadEmbedded(path, probe);
  return probe;
}

}  // namespace vantor_env
