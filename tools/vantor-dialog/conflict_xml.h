// The conflict text of GetManualConflictResolutionXML, read as a host does, and the user's
// answers as JSON. Pure data; no widgets.
#pragma once

#include <QByteArray>
#include <QString>
#include <string>
#include <utility>
#include <vector>

namespace vantor_dialog {

using facts = std::vector<std::pair<QString, QString>>;  // name, value, in the text's order

struct conflict_item {
  bool deletion = false;  // deleted on one side, rather than changed on both
  int id = 0;             // the id asked about
  int top = 0;            // the top of its version stack, which the facts describe
  facts local;            // element names without their "local" prefix: label, date, ...
  facts online;           // whatever the sync agent wrote, by element (and attribute) name
};

// Throws xml_error (album_xml.h) for a text that is not well-formed: an online.xml that is no
// piece of XML makes the whole text so.
std::vector<conflict_item> ParseConflicts(const std::string& xml);

// What the user may answer, the first being the default.
std::vector<QString> ChoicesFor(const conflict_item& item);

// {"conflicts": [{"id": N, "choice": C}], "deletions": [...]}, in the items' order.
// REQUIRES: choices.size() == items.size().
QByteArray ChoicesJson(const std::vector<conflict_item>& items,
                       const std::vector<QString>& choices);

}  // namespace vantor_dialog
