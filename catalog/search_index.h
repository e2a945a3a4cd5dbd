#pragma once

#include <string>

namespace vael {

// The lower-cased form of `text` (UTF-8), as stored in the path index columns of media_table;
// use it for every value compared with them. Lower-casing is the Unicode simple mapping, the
// one other writers of the catalog use, so "ÄBC.JPG" and "äbc.jpg" give one index.
std::string to_search_index(const std::string& text);

// A folder's index: to_search_index(), every "\" turned into "/", and one final "/" added
// unless there is one. An empty folder gives "/".
std::string to_folder_search_index(const std::string& folder);

}  // namespace vael
