#include "catalog_util/file_types.h"

#include <QString>
#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <map>
#include <set>
#include <string_view>

namespace vael_util {
namespace {

// One line per type: the type, then its extensions, separated by blanks or tabs. A later
// line wins an extension, so m4v is video/mpeg and not video/mp4.
constexpr char catalog_types[] =
    "image/vnd.norvane.ombrix omx\n"
    "application/vnd.norvane.ombra omd omc\n"
    "application/omb omb\n";
constexpr char image_types[] =
    "image/bmp bmp\n"
    "image/gif gif\n"
    "image/jpeg jpg jpe jpeg\n"
    "image/tiff tif tiff\n"
    "image/png png\n"
    "image/x-raw\n";
constexpr char video_types[] =
    "video/3gpp 3gp 3gpp 3g2\n"
    "video/avi avi\n"
    "video/dvd vob\n"
    "video/mp4 mp4 m4v avc 264\n"
    "video/mpeg mpg mpe mpeg m2v m4v mpv m2t mpv m2p mod m2ts tod mts m1v\n"
    "video/quicktime mov\n"
    "video/x-gfv gfv\n"
    "video/x-ms-wmv wmv\n"
    "video/x-ms-asf asf\n"
    "video/x-dv dv\n";
constexpr char audio_types[] =
    "audio/mpeg mp3 mp2 m2a mpa\n"
    "audio/x-aac aac\n"
    "audio/x-ms-wma wma\n"
    "audio/x-wav wav\n"
    "audio/ac3 ac3\n"
    "audio/x-aiff aif\n"
    "audio/3gpp\n"
    "audio/x-m4a m4a\n"
    "audio/x-aiff aif aiff\n";
constexpr char document_types[] =
    "application/pdf pdf\n"
    "application/smil smil smi\n"
    "application/x-glimmerwave-flicker gwf\n"
    "application/javascript js\n"
    "application/xml xml\n"
    "text/html html\n";

std::string folded(const std::string& text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()))
      .toLower()
      .toStdString();
}

struct mime_table {
  std::map<std::string, std::string> type_of_extension;
  std::set<std::string> types;
};

mime_table build_table() {
  const std::string text =
      std::string(catalog_types) + image_types + video_types + audio_types + document_types;
  mime_table table;
  std::vector<std::string> lines, tokens;
  boost::split(lines, text, boost::is_any_of("\n\r"), boost::token_compress_on);
  for (const std::string& line : lines) {
    boost::split(tokens, line, boost::is_any_of(" \t"), boost::token_compress_on);
    tokens.erase(std::remove(tokens.begin(), tokens.end(), std::string()), tokens.end());
    if (tokens.empty()) continue;
    const std::string type = folded(tokens.front());
    table.types.insert(type);
    for (auto extension = tokens.begin() + 1; extension != tokens.end(); ++extension) {
      table.type_of_extension[folded(*extension)] = type;
    }
  }
  return table;
}

// Built by the first caller; a function-local static, so a concurrent first use waits.
mime_table& table() {
  static mime_table instance = build_table();
  return instance;
}

struct creation_type {
  std::string_view mime_type;
  const char* extension;
  const char* folder;
};

constexpr creation_type creation_types[] = {
    {creation_mime_type::flicker_gallery, creation_extension::flicker_gallery,
     creation_folder::projects},
    {creation_mime_type::slideshow, creation_extension::slideshow, creation_folder::projects},
    {creation_mime_type::velo_slideshow, creation_extension::velo_slideshow,
     creation_folder::projects},
    {creation_mime_type::themes, creation_extension::themes, creation_folder::themes},
    {creation_mime_type::text_slide, creation_extension::text_slide, creation_folder::projects},
};

}  // namespace

std::string mime_type_of_file(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  if (dot == std::string::npos) return unknown_mime_type;
  const mime_table& t = table();
  const auto found = t.type_of_extension.find(folded(path.substr(dot + 1)));
  return found == t.type_of_extension.end() ? unknown_mime_type : found->second;
}

void register_mime_type(const std::string& mime_type, std::vector<std::string>& extensions,
                        bool replace) {
  mime_table& t = table();
  for (const std::string& extension : extensions) {
    auto [at, added] = t.type_of_extension.emplace(folded(extension), mime_type);
    if (!added && replace) at->second = mime_type;
  }
  extensions.clear();
}

void known_mime_type(std::string& mime_type) {
  mime_type = folded(mime_type);
  if (table().types.count(mime_type) == 0) mime_type.clear();
}

std::string project_file_path(const std::string& folder, const std::string& name,
                              const std::string& mime_type) {
  const auto type = std::find_if(std::begin(creation_types), std::end(creation_types),
                                 [&](const creation_type& c) { return c.mime_type == mime_type; });
  if (type == std::end(creation_types)) return {};
  std::string file = name;
  std::replace_if(file.begin(), file.end(), boost::is_any_of("\\/?*|"), '_');
  return folder + type->folder + "/" + file + "." + type->extension;
}

}  // namespace vael_util
