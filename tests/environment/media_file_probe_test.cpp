#include "environment/media_file_probe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdlib>
#include <exiv2/exiv2.hpp>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "tests/support/jpeg_fixture.h"
#include "tests/support/sandbox.h"

namespace pt = boost::posix_time;

namespace {

// A sandbox whose XDG_DATA_DIRS leads back to the system's MIME database.
struct probe_sandbox : vantor_test::sandbox {
  probe_sandbox() { ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1); }
};

using vantor_test::WriteJpeg;

TEST(MediaFileProbe, ReadsTypeSizeTimeAndImageMetadataInOrderOfPreference) {
  probe_sandbox box;
  const std::string plain = box.path("plain.jpg");
  WriteJpeg(plain, nullptr);
  const timespec times[2] = {{0, UTIME_OMIT}, {1588748889, 123456789}};  // 2020-05-06 07:08:09
  ASSERT_EQ(::utimensat(AT_FDCWD, plain.c_str(), times, 0), 0);
  auto p = vantor_env::ProbeMediaFile(plain);
  EXPECT_EQ(p.mime_type, "image/jpeg");
  EXPECT_TRUE(p.is_media);
  EXPECT_EQ(p.size, vantor_test::TinyJpeg().size());
  EXPECT_EQ(p.last_write, pt::time_from_string("2020-05-06 07:08:09.123456"));
  EXPECT_EQ(p.width, vantor_test::kTinyJpegWidth);
  EXPECT_EQ(p.height, vantor_test::kTinyJpegHeight);
  EXPECT_FALSE(p.capture_date || p.rating);
  EXPECT_EQ(p.warning, "");

  WriteJpeg(box.path("first.jpg"), [](Exiv2::ExifData& exif, Exiv2::XmpData& xmp) {
    exif["Exif.Photo.DateTimeOriginal"] = "2021:06:15 10:20:30";
    exif["Exif.Image.DateTime"] = "2000:01:01 00:00:00";
    exif["Exif.Photo.PixelXDimension"] = std::uint32_t{4000};
    exif["Exif.Photo.PixelYDimension"] = std::uint32_t{3000};
    exif["Exif.Image.ImageWidth"] = std::uint32_t{10};
    exif["Exif.Image.ImageLength"] = std::uint32_t{20};
    exif["Exif.Image.Rating"] = std::uint16_t{2};
    xmp["Xmp.xmp.Rating"] = "4";
  });
  p = vantor_env::ProbeMediaFile(box.path("first.jpg"));
  EXPECT_EQ(p.capture_date, pt::time_from_string("2021-06-15 10:20:30"));
  EXPECT_EQ(p.width, 4000);
  EXPECT_EQ(p.height, 3000);
  EXPECT_EQ(p.rating, 4);

  WriteJpeg(box.path("fallback.jpg"), [](Exiv2::ExifData& exif, Exiv2::XmpData& xmp) {
    exif["Exif.Photo.DateTimeOriginal"] = "0000:00:00 00:00:00";  // a camera without a clock
    exif["Exif.Image.ImageWidth"] = std::uint32_t{10};
    exif["Exif.Image.ImageLength"] = std::uint32_t{20};
    exif["Exif.Image.Rating"] = std::uint16_t{2};
    xmp["Xmp.xmp.CreateDate"] = "2019-02-03T04:05+02:00";
  });
  p = vantor_env::ProbeMediaFile(box.path("fallback.jpg"));
  EXPECT_EQ(p.capture_date, pt::time_from_string("2019-02-03 04:05:00"));
  EXPECT_EQ(p.width, 10);
  EXPECT_EQ(p.height, 20);
  EXPECT_EQ(p.rating, 2);
  EXPECT_EQ(p.warning, "");

  WriteJpeg(box.path("no_extension"), nullptr);
  EXPECT_EQ(vantor_env::ProbeMediaFile(box.path("no_extension")).mime_type, "image/jpeg");
}

TEST(MediaFileProbe, NonMediaAndDamagedImagesGiveNoValuesAndStayQuiet) {
  probe_sandbox box;
  box.write_file("notes.txt", "shopping list\n");
  const auto text = vantor_env::ProbeMediaFile(box.path("notes.txt"));
  EXPECT_EQ(text.mime_type, "text/plain");
  EXPECT_FALSE(text.is_media);
  EXPECT_EQ(text.size, 14u);
  EXPECT_EQ(text.warning, "");

  box.write_file("broken.jpg", "\xFF\xD8 cut short by a full card");
  // An EXIF block whose one entry points past its end: the reader complains, then goes on.
  const std::string exif(
      "Exif\0\0II*\0\x08\0\0\0\x01\0\x0F\x01\x02\0\xE8\x03\0\0\xFF\xFF\0\0\0\0\0\0", 32);
  const std::string jpeg = vantor_test::TinyJpeg();
  box.write_file("bad_exif.jpg", jpeg.substr(0, 2) + "\xFF\xE1" + std::string(1, '\0') +
                                     std::string(1, static_cast<char>(exif.size() + 2)) + exif +
                                     jpeg.substr(2));
  vantor_env::media_file_probe_t broken;
  vantor_env::media_file_probe_t bad_exif;
  const std::string stderr_text = vantor_test::capture_stderr([&] {
    broken = vantor_env::ProbeMediaFile(box.path("broken.jpg"));
    bad_exif = vantor_env::ProbeMediaFile(box.path("bad_exif.jpg"));
  });
  EXPECT_EQ(stderr_text, "");
  EXPECT_EQ(bad_exif.width, vantor_test::kTinyJpegWidth);
  EXPECT_EQ(bad_exif.warning, "");
  EXPECT_EQ(broken.mime_type, "image/jpeg");
  EXPECT_TRUE(broken.is_media);
  EXPECT_NE(broken.warning.find(box.path("broken.jpg")), std::string::npos) << broken.warning;
  EXPECT_FALSE(broken.width || broken.height || broken.capture_date || broken.rating);

  EXPECT_THROW(vantor_env::ProbeMediaFile(box.path("missing.jpg")), std::runtime_error);
  EXPECT_THROW(vantor_env::ProbeMediaFile(box.root()), std::runtime_error);
}

}  // namespace
