#pragma once

#include <expat.h>

#include <cstdint>
#include <deque>
#include <string>

namespace vantor_prefs {

// One open element of the tag selection text: an album of the preference screen's tree.
struct TagSelectionEntry {
  std::int32_t state = 0;  // the sync mark: 0 off, 1 on, 3 on and shared
  std::string localid;     // decimal catalog tag id; empty when the album has no local tag
  std::string onlineid;    // empty for an album that is only local
  bool flag = false;       // carried, not used
  std::string parents;     // carried, not used
  std::string label;
  std::string type;  // "collection", or anything else for a group
};

// The entries of the elements open in the parse under way, outermost first. Ancestors made
// for a child get their new ids here, so that later siblings find them.
extern std::deque<TagSelectionEntry> gTagSelectionStack;

// Expat handlers of the tag selection text. Their user data must be the host_xml_parser that
// runs them: a catalog exception stops the parse and comes out of its parse().
// REQUIRES: gCatalogConnection open.
//
// The start handler reads an album from the attribute after the one whose name or value is
// "localid", by position, makes its missing local tags and writes its sync mark, each catalog
// change in a transaction of its own that is committed at once.
void XMLCALL TagSelectionStartElement(void* user_data, const XML_Char* name,
                                      const XML_Char** attributes);
// Removes the last entry of gTagSelectionStack, whatever the element.
void XMLCALL TagSelectionEndElement(void* user_data, const XML_Char* name);

// Brings the catalog in line with the selection `xml`. gTagSelectionStack is emptied before
// and after, so that a text broken off half way leaves nothing for the next one. Whatever Expat
// makes of the text is ignored; changes committed before a fault or an exception stay.
// Throws what the catalog throws. REQUIRES: gCatalogConnection open.
void ApplyTagSelection(const std::string& xml);

}  // namespace vantor_prefs
