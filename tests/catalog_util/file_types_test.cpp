#include "catalog_util/file_types.h"

#include <gtest/gtest.h>

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

}  // namespace
