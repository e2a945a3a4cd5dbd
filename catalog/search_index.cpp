#include "catalog/search_index.h"

#include <QByteArray>
#include <QString>
#include <algorithm>

namespace vael {

std::string to_search_index(const std::string& text) {
  // Most names are ASCII, where Unicode lower-casing maps A-Z alone; that spares the round
  // trip through UTF-16 on every path lookup.
  if (std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; })) {
    std::string lower = text;
    for (char& c : lower) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
  }
  const QByteArray lower =
      QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())).toLower().toUtf8();
  return std::string(lower.constData(), static_cast<std::size_t>(lower.size()));
}

std::string to_folder_search_index(const std::string& folder) {
  std::string index = to_search_index(folder);
  std::replace(index.begin(), index.end(), '\\', '/');
  if (index.empty() || index.back() != '/') index.push_back('/');
  return index;
}

}  // namespace vael
