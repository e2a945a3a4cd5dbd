#include "tools/vantor/prefs_fields.h"

#include <boost/lexical_cast.hpp>
#include <limits>

#include "tools/vantor/cli.h"

namespace vantor_cli {
namespace {

std::string bool_text(bool value) {
  return value ? "true" : "false";
}

int int_value(const std::string& text, const char* name) {
  const long long value = parse_integer(text, name);
  if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
    throw usage_error(std::string(name) + " is out of range: " + text);
  }
  return static_cast<int>(value);
}

// One accessor pair per member pointer keeps the table to a line a field.
#define VANTOR_BOOL_FIELD(f)                                                                      \
  prefs_field {                                                                                   \
#f, [](const SyncPrefs& p) { return bool_text(p.f); }, [](SyncPrefs & p,                      \
                                                              const std::string&                  \
                                                                  t) { p.f = parse_bool(t, #f); } \
  }
#define VANTOR_TEXT_FIELD(f)                                                                      \
  prefs_field {                                                                                   \
#f, [](const SyncPrefs& p) { return p.f; },                                                   \
                                             [](SyncPrefs & p, const std::string& t) { p.f = t; } \
  }
#define VANTOR_INT_FIELD(f)                                                                        \
  prefs_field {                                                                                    \
#f, [](const SyncPrefs& p) { return std::to_string(p.f); },                                    \
                                                             [](SyncPrefs & p,                     \
                                                                const std::string&                 \
                                                                    t) { p.f = int_value(t, #f); } \
  }

}  // namespace

const std::vector<prefs_field>& prefs_fields() {
  static const std::vector<prefs_field> fields = {
      VANTOR_BOOL_FIELD(syncon),
      VANTOR_BOOL_FIELD(newalbumssyncauto),
      VANTOR_BOOL_FIELD(askbeforedelete),
      VANTOR_BOOL_FIELD(resolveconflictsauto),
      VANTOR_BOOL_FIELD(restrictfilesizeSelected),
      VANTOR_BOOL_FIELD(syncallselection),
      VANTOR_BOOL_FIELD(syncOnSystemIdle),
      VANTOR_BOOL_FIELD(syncEntireCatalog),
      VANTOR_BOOL_FIELD(syncPhotos),
      VANTOR_BOOL_FIELD(syncVideo),
      VANTOR_BOOL_FIELD(syncAudio),
      VANTOR_BOOL_FIELD(syncPDFs),
      VANTOR_BOOL_FIELD(syncCreations),
      prefs_field{
          "restrictfilesize",
          [](const SyncPrefs& p) { return boost::lexical_cast<std::string>(p.restrictfilesize); },
          [](SyncPrefs& p, const std::string& t) {
            p.restrictfilesize = parse_number(t, "restrictfilesize");
          }},
      VANTOR_TEXT_FIELD(servertime),
      VANTOR_TEXT_FIELD(downloadlocationpath),
      VANTOR_INT_FIELD(version),
      VANTOR_TEXT_FIELD(defaultLibraryNxId),
      VANTOR_INT_FIELD(defaultLibraryVaelId),
      VANTOR_TEXT_FIELD(curCatalogGUID),
      VANTOR_INT_FIELD(deleteMediaPref),
  };
  return fields;
}

void assign_prefs_field(SyncPrefs& prefs, const std::string& assignment) {
  const size_t equals = assignment.find('=');
  if (equals == std::string::npos) throw usage_error("expected NAME=VALUE, got " + assignment);
  const std::string name = assignment.substr(0, equals);
  for (const prefs_field& field : prefs_fields()) {
    if (name == field.name) {
      field.set(prefs, assignment.substr(equals + 1));
      return;
    }
  }
  throw usage_error("no preference field named " + name);
}

}  // namespace vantor_cli
