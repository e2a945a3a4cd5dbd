// The preference text in both directions. The writer keeps the format's irregular spacing
// byte for byte; the parser reads each start tag as it comes, so text that is not well-formed
// (the default text among it) still gives every value before the fault.
#include "preferences/sync_prefs_xml.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "environment/file_helpers.h"
#include "preferences/host_xml_parser.h"
#include "vantor/vantor.h"

namespace vantor_prefs {
namespace {

// The result of the parse under way, reset at its start and kept afterwards.
SyncPrefs SyncPrefsParseState;

const char* BoolText(bool value) {
  return value ? "true" : "false";
}

void ResetParseState() {
  SyncPrefs& s = SyncPrefsParseState;
  s.syncon = false;
  s.newalbumssyncauto = true;
  s.askbeforedelete = true;
  s.resolveconflictsauto = false;
  s.restrictfilesizeSelected = false;
  s.syncallselection = true;
  s.syncOnSystemIdle = false;
  s.syncEntireCatalog = false;
  s.syncPhotos = true;
  s.syncVideo = true;
  s.syncAudio = true;
  s.syncPDFs = true;
  s.syncCreations = false;
  s.restrictfilesize = 0.0;
  s.servertime.clear();
  s.downloadlocationpath = vantor_env::GetDefaultDownloadPath();
  s.version = 0;
  s.defaultLibraryNxId.clear();
  s.defaultLibraryVaelId = 0;
  s.curCatalogGUID.clear();
  s.deleteMediaPref = 1;
}

bool* BoolField(const char* name) {
  SyncPrefs& s = SyncPrefsParseState;
  static const struct {
    const char* name;
    bool SyncPrefs::*field;
  } kFields[] = {
      {"syncon", &SyncPrefs::syncon},
      {"askbeforedelete", &SyncPrefs::askbeforedelete},
      {"resolveconflictsauto", &SyncPrefs::resolveconflictsauto},
      {"syncallselection", &SyncPrefs::syncallselection},
      {"syncOnSystemIdle", &SyncPrefs::syncOnSystemIdle},
      {"syncEntireCatalog", &SyncPrefs::syncEntireCatalog},
      {"syncPhotos", &SyncPrefs::syncPhotos},
      {"syncVideo", &SyncPrefs::syncVideo},
      {"syncAudio", &SyncPrefs::syncAudio},
      {"syncPDFs", &SyncPrefs::syncPDFs},
      {"syncCreations", &SyncPrefs::syncCreations},
  };
  for (const auto& f : kFields) {
    if (std::strcmp(name, f.name) == 0) return &(s.*f.field);
  }
  return nullptr;
}

// Only the first attribute can carry the value, and only under the name "value"; a second
// attribute, whatever its name, is the extra of newalbumssyncauto and restrictfilesize.
void HandleStartElement(const char* name, const char** attributes) {
  if (attributes[0] == nullptr || std::strcmp(attributes[0], "value") != 0) return;
  const char* value = attributes[1];
  const char* second = attributes[2] != nullptr ? attributes[3] : nullptr;
  SyncPrefs& s = SyncPrefsParseState;

  if (bool* field = BoolField(name)) {
    *field = std::strcmp(value, "true") == 0;
  } else if (std::strcmp(name, "newalbumssyncauto") == 0) {
    s.newalbumssyncauto = std::strcmp(value, "true") == 0;
    s.servertime.clear();
    if (second != nullptr) s.servertime = second;
  } else if (std::strcmp(name, "restrictfilesize") == 0) {
    s.restrictfilesize = std::atof(value);
    s.restrictfilesizeSelected = second != nullptr && std::strcmp(second, "true") == 0;
  } else if (std::strcmp(name, "downloadlocationpath") == 0) {
    s.downloadlocationpath = value;
  } else if (std::strcmp(name, "defaultLibraryNxId") == 0) {
    s.defaultLibraryNxId = value;
  } else if (std::strcmp(name, "curCatalogGUID") == 0) {
    s.curCatalogGUID = value;
  } else if (std::strcmp(name, "defaultLibraryVaelId") == 0) {
    s.defaultLibraryVaelId = std::atoi(value);
  } else if (std::strcmp(name, "version") == 0) {
    s.version = std::atoi(value);
  } else if (std::strcmp(name, "deleteMediaPref") == 0) {
    s.deleteMediaPref = std::atoi(value);
  }
}

void XMLCALL SyncPrefsStartElement(void* user_data, const XML_Char* name, const XML_Char** atts) {
  host_xml_parser::guard(user_data, [&] { HandleStartElement(name, atts); });
}

// Fills SyncPrefsParseState from `xml`: the parser's defaults, then every start tag read
// before the end or the first fault.
void ParseIntoState(const std::string& xml) {
  ResetParseState();
  host_xml_parser parser;
  parser.set_element_handlers(SyncPrefsStartElement, nullptr);
  parser.parse(xml);
}

}  // namespace

void XmlEscape(const std::string& text, std::string& out) {
  for (char c : text) {
    switch (c) {
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      case '&':
        out += "&amp;";
        break;
      default:
        out += c;
    }
  }
}

}  // namespace vantor_prefs

namespace VTL {

bool GetSyncPrefsFromString(SyncPrefs& prefs, const std::string& xml) {
  // A fault stops the parse like bad text does: the fields read before it stand.
  try {
    vantor_prefs::ParseIntoState(xml);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
  }
  prefs = vantor_prefs::SyncPrefsParseState;
  return true;
}

std::string GetXMLForSyncPrefs(const SyncPrefs& prefs) {
  using vantor_prefs::BoolText;
  char size[512];
  std::snprintf(size, sizeof size, "%f", prefs.restrictfilesize);

  // Strings are escaped so that a path such as "Tom & Jerry" reads back; text without the five
  // special characters comes out as it always did.
  std::string xml;
  xml.reserve(1024 + prefs.servertime.size() + prefs.downloadlocationpath.size() +
              prefs.defaultLibraryNxId.size() + prefs.curCatalogGUID.size());
  auto element = [&xml](const char* open, const std::string& value) {
    xml += open;
    vantor_prefs::XmlEscape(value, xml);
    xml += "\"/>";
  };
  auto flag = [&element](const char* open, bool value) { element(open, BoolText(value)); };

  xml += "<syncon value = \"";
  xml += BoolText(prefs.syncon);
  xml += "\">";
  xml += "<newalbumssyncauto value= \"";
  xml += BoolText(prefs.newalbumssyncauto);
  xml += "\" servertime = \"";
  vantor_prefs::XmlEscape(prefs.servertime, xml);
  xml += "\"/>";
  flag("<askbeforedelete value = \"", prefs.askbeforedelete);
  flag("<resolveconflictsauto value = \"", prefs.resolveconflictsauto);
  xml += "<restrictfilesize value= \"";
  xml += size;
  xml += "\" selected =\"";
  xml += BoolText(prefs.restrictfilesizeSelected);
  xml += "\"/>";
  flag("<syncallselection value = \"", prefs.syncallselection);
  element("<downloadlocationpath value = \"", prefs.downloadlocationpath);
  flag("<syncOnSystemIdle value = \"", prefs.syncOnSystemIdle);
  flag("<syncEntireCatalog value = \"", prefs.syncEntireCatalog);
  element("<defaultLibraryNxId value = \"", prefs.defaultLibraryNxId);
  element("<defaultLibraryVaelId value = \"", std::to_string(prefs.defaultLibraryVaelId));
  xml += "<syncFileTypes>";
  flag("<syncPhotos value = \"", prefs.syncPhotos);
  flag("<syncVideo value = \"", prefs.syncVideo);
  flag("<syncAudio value = \"", prefs.syncAudio);
  flag("<syncPDFs value = \"", prefs.syncPDFs);
  flag("<syncCreations value = \"", prefs.syncCreations);
  xml += "</syncFileTypes>";
  element("<version value = \"", std::to_string(prefs.version));
  element("<curCatalogGUID value = \"", prefs.curCatalogGUID);
  element("<deleteMediaPref value = \"", std::to_string(prefs.deleteMediaPref));
  xml += "</syncon>";
  return xml;
}

}  // namespace VTL
