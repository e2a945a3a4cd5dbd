#include "catalog_util/file_types.h"

#include <gtest/gtest.h>

#include "catalog_util/creation_file.h"
#include "tests/catalog/catalog_test_support.h"

namespace {

using vael_util::mime_type_of_file;

TEST(FileTypes, ExtensionsFoldAndLaterLinesWinUntilRegistered) {
  const struct {
    const char* path;
    const char* type;
  } cases[] = {{"A.JPG", "image/jpeg"},    {"dir/noext", "*/*"},      {"a.b.Mp4", "video/mp4"},
               {"clip.m4v", "video/mpeg"}, {"x.aif", "audio/x-aiff"}, {"file.", "*/*"},
               {"raw.nef", "*/*"},         {"a.tod", "video/mpeg"}};
  for (const auto& c : cases) EXPECT_EQ(mime_type_of_file(c.path), c.type) << c.path;

  std::vector<std::string> extensions = {"NEF", "tod", "ÉXT"};
  vael_util::register_mime_type("image/x-raw", extensions, false);
  EXPECT_TRUE(extensions.empty());
  EXPECT_EQ(mime_type_of_file("raw.nef"), "image/x-raw");
  EXPECT_EQ(mime_type_of_file("a.tod"), "video/mpeg") << "kept without replace";
  EXPECT_EQ(mime_type_of_file("f.éxt"), "image/x-raw") << "non-ASCII folds";
  extensions = {"nef"};
  vael_util::register_mime_type("image/x-nikon", extensions, true);
  EXPECT_EQ(mime_type_of_file("RAW.NEF"), "image/x-nikon");

  const struct {
    std::string given, known;
  } types[] = {{"IMAGE/JPEG", "image/jpeg"},
               {"image/x-raw", "image/x-raw"},
               {"audio/3gpp", "audio/3gpp"},
               {"image/x-nikon", ""},
               {"*/*", ""},
               {vael_util::creation_mime_type::slideshow, ""}};
  for (const auto& t : types) {
    std::string type = t.given;
    vael_util::known_mime_type(type);
    EXPECT_EQ(type, t.known) << t.given;
  }
}

TEST(FileTypes, ProjectFilesGoToTheirFolderWithSeparatorsReplaced) {
  namespace type = vael_util::creation_mime_type;
  const struct {
    const char *name, *type, *path;
  } cases[] = {{"a/b?c", type::slideshow, "/c/projects/a_b_c.omss"},
               {"x\\*|y:z", type::themes, "/c/themes/x___y:z.theme"},
               {"g", type::flicker_gallery, "/c/projects/g.vmg"},
               {"v", type::velo_slideshow, "/c/projects/v.omssc"},
               {"t", type::text_slide, "/c/projects/t.textslide"},
               {"p", "image/jpeg", ""}};
  for (const auto& c : cases) {
    EXPECT_EQ(vael_util::project_file_path("/c/", c.name, c.type), c.path) << c.name;
  }
}

TEST(CreationFile, RoundTripsAndRefusesWhatItsBytesCannotHold) {
  const vantor_test::sandbox box;
  const std::string path = box.path("show.omss"), title = "Été 𝄞";
  ASSERT_TRUE(vael_util::write_creation_file(path, title, {1, -5, 2147483647}, {"b\0lob", 5}));
  const std::string bytes = vantor_test::read_file(path);
  EXPECT_EQ(bytes.substr(0, 6), std::string("\0\0\0\x0c\0\xc9", 6)) << "6 UTF-16 units";
  std::string read_title = "keep", blob = "keep";
  std::vector<int> ids;
  vael_util::read_creation_file(path, read_title, ids, blob);
  EXPECT_EQ(read_title, title);
  EXPECT_EQ(ids, (std::vector<int>{1, -5, 2147483647}));
  EXPECT_EQ(blob, std::string("b\0lob", 5));

  // Values above 2^31 keep their low 32 bits.
  vael_util::parse_creation_file(std::string("\0\0\0\0\0\0\0\x02"
                                             "\0\0\0\x01\0\0\0\x05"
                                             "\0\0\0\0\x80\0\0\x01"
                                             "\0\0\0\0",
                                             28),
                                 read_title, ids, blob);
  EXPECT_EQ(ids, (std::vector<int>{5, -2147483647}));

  read_title = "keep";
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_THROW(vael_util::parse_creation_file(bytes.substr(0, size), read_title, ids, blob),
                 std::runtime_error)
        << size;
  }
  EXPECT_EQ(read_title, "keep");
  const struct {
    std::string bytes, message;
  } malformed[] = {
      {std::string("\0\0\0\x03"
                   "abc",
                   7),
       "malformed creation file: the title length 3 is odd"},
      {std::string("\0\0\0\0\xff\xff\xff\xff\0\0\0\0", 12),
       "truncated creation file: the media count 4294967295 needs more than the 4 bytes left"},
      {std::string("\0\0\0\0\0\0\0\0\x7f\xff\xff\xff", 12),
       "truncated creation file: the blob needs 2147483647 bytes and 0 are left"}};
  for (const auto& m : malformed) {
    EXPECT_EQ(vael_test::message_of<std::runtime_error>(
                  [&] { vael_util::parse_creation_file(m.bytes, read_title, ids, blob); }),
              m.message);
  }
  box.write_file("short", bytes.substr(0, 5));
  EXPECT_EQ(
      vael_test::message_of<std::runtime_error>(
          [&] { vael_util::read_creation_file(box.path("short"), read_title, ids, blob); }),
      box.path("short") + ": truncated creation file: the title needs 12 bytes and 1 are left");

  vael_util::read_creation_file(box.path("none"), read_title, ids, blob);
  vael_util::read_creation_file(box.root(), read_title, ids, blob);
  EXPECT_EQ(read_title, "keep") << "an unopenable file changes nothing";
  EXPECT_FALSE(vael_util::write_creation_file(box.path("no/dir.omss"), title, ids, blob));
  EXPECT_FALSE(vael_util::write_creation_file(box.root(), title, ids, blob));
}

}  // namespace
