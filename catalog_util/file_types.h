#pragma once

#include <string>
#include <vector>

namespace vael_util {

// The built-in table from file extension to MIME type. It is built once, on first use, and
// that first use may come from several threads at once; register_mime_type changes it, so
// REQUIRES: no lookup runs on another thread while register_mime_type does.

// What mime_type_of_file answers for a name whose extension the table does not hold.
inline constexpr char unknown_mime_type[] = "*/*";

// The MIME type of `path` by the text after its last ".", folded to lower case; "*/*" when
// there is no "." or the table has no such extension.
std::string mime_type_of_file(const std::string& path);

// Maps each of `extensions` (without the ".", folded to lower case) to `mime_type`, leaving
// `extensions` empty. An extension the table already holds keeps its type unless `replace`.
// The table's list of types stays as built, so known_mime_type does not learn `mime_type`.
void register_mime_type(const std::string& mime_type, std::vector<std::string>& extensions,
                        bool replace);

// Folds `mime_type` to lower case in place, and clears it when it is none of the built-in
// table's types.
void known_mime_type(std::string& mime_type);

// The project files of creations: their MIME types, file extensions and the folders that
// hold them.
namespace creation_mime_type {
inline constexpr char flicker_gallery[] = "application/vnd.norvane.omb.flickergallery";
inline constexpr char slideshow[] = "application/vnd.norvane.omb.slideshow";
inline constexpr char velo_slideshow[] = "application/vnd.norvane.omb.veloslideshow";
inline constexpr char themes[] = "application/vnd.norvane.omb.themes";
inline constexpr char text_slide[] = "application/vnd.norvane.omb.textslide";
}  // namespace creation_mime_type

namespace creation_extension {
inline constexpr char flicker_gallery[] = "vmg";
inline constexpr char slideshow[] = "omss";
inline constexpr char velo_slideshow[] = "omssc";
inline constexpr char themes[] = "theme";
inline constexpr char text_slide[] = "textslide";
}  // namespace creation_extension

// Folder words of creations. Only the first two make paths here; the rest name folders of
// other components that share these names.
namespace creation_folder {
inline constexpr char projects[] = "projects";
inline constexpr char themes[] = "themes";
inline constexpr char sidecar[] = "sidecar";
inline constexpr char settings[] = "settings";
inline constexpr char slideshow[] = "slideshow";
}  // namespace creation_folder

// `folder` + "projects/" (or "themes/" for the themes type) + `name` + "." + the type's
// extension, with each of \ / ? * | in `name` made "_"; empty for a `mime_type` that is not a
// creation type. `folder` is joined as it stands, so it must end in a separator. Other
// characters a file system may refuse, such as ":", are left alone.
std::string project_file_path(const std::string& folder, const std::string& name,
                              const std::string& mime_type);

}  // namespace vael_util
