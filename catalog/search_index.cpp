#include "catalog/search_index.h"

#include <QByteArray>
#include <QString>
#include <algorithm>

namespace vael {

std::string to_search_index(const std::string& text) {
  if (text.empty()) return text;
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
