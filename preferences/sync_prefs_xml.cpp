// The preference text in both directions. The writer keeps the format's irregular spacing
// byte for byte; the parser reads each start tag as it comes, so text that is not well-formed
// (the default text among it) still gives every value before the fault.
#include "preferences/sync_prefs_xml.h"

#include <expat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "environment/file_helpers.h"
#include "vantor/vantor.h"

static_assert(XML_MAJOR_VERSION > 2 || (XML_MAJOR_VERSION == 2 && XML_MINOR_VERSION >= 4),
              "entity amplification limits need Expat 2.4 or later");

namespace vantor_prefs {
namespace {

// Preference texts are a few hundred bytes and use no entities. Expat's own defaults (8 MiB
// before the factor counts) would let one small text make megabytes of expansion per parse.
constexpr float kMaxEntityAmplification = 100.0f;
constexpr unsigned long long kEntityActivationThreshold = 64 * 1024;

// The result of the parse under way, reset at its start and kept afterwards.
SyncPrefs SyncPrefsParseState;
// An exception caught in the handler, rethrown once Expat has returned.
std::exception_ptr SyncPrefsParseFailure;

// Expat 2.5 expands an entity that refers to another by recursion, so a chain of some ten
// thousand declarations overflows the stack; it has no setting to stop that. The depth
// cannot exceed the number of entities, which preference texts never declare: a text that
// declares more than this many breaks off there, like any other fault.
constexpr int kMaxEntityDeclarations = 64;
int SyncPrefsEntityDeclarations;

struct parser_deleter {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using parser_ptr = std::unique_ptr<XML_ParserStruct, parser_deleter>;

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

// Expat frames must not be unwound by a C++ exception: keep it, stop the parser, and let
// GetSyncPrefsFromString rethrow it after XML_Parse returned.
void XMLCALL SyncPrefsStartElement(void* parser, const XML_Char* name, const XML_Char** atts) {
  try {
    HandleStartElement(name, atts);
  } catch (...) {
    SyncPrefsParseFailure = std::current_exception();
    XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
  }
}

void XMLCALL SyncPrefsEntityDecl(void* parser, const XML_Char*, int, const XML_Char*, int,
                                 const XML_Char*, const XML_Char*, const XML_Char*,
                                 const XML_Char*) {
  if (++SyncPrefsEntityDeclarations > kMaxEntityDeclarations) {
    XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
  }
}

// The whole text with the final flag, in one call unless it is longer than Expat's int.
void ParseAll(XML_Parser parser, const std::string& xml) {
  constexpr size_t kMaxChunk = static_cast<size_t>(std::numeric_limits<int>::max());
  const char* data = xml.data();
  size_t left = xml.size();
  while (left > kMaxChunk) {
    if (XML_Parse(parser, data, static_cast<int>(kMaxChunk), XML_FALSE) != XML_STATUS_OK) return;
    data += kMaxChunk;
    left -= kMaxChunk;
  }
  // What the parse returns is of no interest: whatever was read before a fault stands.
  static_cast<void>(XML_Parse(parser, data, static_cast<int>(left), XML_TRUE));
}

// Fills SyncPrefsParseState from `xml`: the parser's defaults, then every start tag read
// before the end or the first fault.
void ParseIntoState(const std::string& xml) {
  ResetParseState();
  SyncPrefsParseFailure = nullptr;
  SyncPrefsEntityDeclarations = 0;

  parser_ptr parser(XML_ParserCreate(nullptr));
  if (parser == nullptr) throw std::bad_alloc();
  XML_UseParserAsHandlerArg(parser.get());
  XML_SetStartElementHandler(parser.get(), SyncPrefsStartElement);
  // A DOCTYPE may declare entities; it may not make Expat read anything outside the text or
  // expand without bound.
  XML_SetParamEntityParsing(parser.get(), XML_PARAM_ENTITY_PARSING_NEVER);
  XML_SetEntityDeclHandler(parser.get(), SyncPrefsEntityDecl);
  XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser.get(), kMaxEntityAmplification);
  XML_SetBillionLaughsAttackProtectionActivationThreshold(parser.get(), kEntityActivationThreshold);
  ParseAll(parser.get(), xml);
  parser.reset();
  if (SyncPrefsParseFailure) std::rethrow_exception(std::exchange(SyncPrefsParseFailure, {}));
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
  vantor_prefs::ParseIntoState(xml);
  prefs = vantor_prefs::SyncPrefsParseState;
  return true;
}

std::string GetXMLForSyncPrefs(const SyncPrefs& prefs) {
  using vantor_prefs::BoolText;
  char size[512];
  std::snprintf(size, sizeof size, "%f", prefs.restrictfilesize);

  // Strings go in raw: this text has never been escaped, and hosts read it back as it stands.
  std::string xml;
  xml.reserve(1024 + prefs.servertime.size() + prefs.downloadlocationpath.size() +
              prefs.defaultLibraryNxId.size() + prefs.curCatalogGUID.size());
  auto element = [&xml](const char* open, const std::string& value) {
    xml += open;
    xml += value;
    xml += "\"/>";
  };
  auto flag = [&element](const char* open, bool value) { element(open, BoolText(value)); };

  xml += "<syncon value = \"";
  xml += BoolText(prefs.syncon);
  xml += "\">";
  xml += "<newalbumssyncauto value= \"";
  xml += BoolText(prefs.newalbumssyncauto);
  xml += "\" servertime = \"";
  xml += prefs.servertime;
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
