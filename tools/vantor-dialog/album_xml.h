// The album texts of the preference screen, read and written as a host does: the local and the
// online trees that GetXMLForSyncPrefs gives, and the selection that SaveSyncPrefs takes.
// Pure data; no widgets.
#pragma once

#include <QString>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantor_dialog {

// A text the dialog cannot read; the message says where and why.
class xml_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One album of the local tree. `mark` is the sync mark: 0 not synced, 1 synced, 2 partly (a
// group), 3 synced and shared.
struct local_album {
  QString label;
  QString type;
  QString localid;
  QString onlineid;
  int mark = 0;
  std::vector<local_album> children;

  bool is_group() const { return type == QLatin1String("collection_group"); }
};

// One album of the online tree, which is flat: `parents` names the group it sits in.
struct online_album {
  QString label;
  QString parents;
  QString onlineid;
  QString type;

  bool is_group() const { return type == QLatin1String("collection_group"); }
};

struct online_albums {
  std::vector<online_album> albums;
  std::optional<qint64> quota;  // bytes; none when the client gave no number
  std::optional<qint64> used;
};

// Throw xml_error for text that is not well-formed or lacks the screen's elements.
std::vector<local_album> ParseLocalAlbums(const std::string& xml);
online_albums ParseOnlineAlbums(const std::string& xml);

// One element of the selection. `children` nest as the albums do, so that an album made
// locally for an online one is made under its group.
struct selection_entry {
  QString localid;
  QString onlineid;
  QString parents;
  QString label;
  int state = 0;
  QString type;
  std::vector<selection_entry> children;
};

// The selection text: <tagselection> holding one <tag> per entry, attributes in the order the
// library reads them by position, values escaped.
std::string BuildSelectionXml(const std::vector<selection_entry>& entries);

}  // namespace vantor_dialog
