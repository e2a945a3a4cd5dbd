#pragma once

#include <string>
#include <vector>

#include "vantor/vantor.h"

namespace vantor_cli {

// One field of SyncPrefs by the name the record gives it, as text both ways.
struct prefs_field {
  const char* name;
  std::string (*get)(const SyncPrefs&);
  // Throws usage_error when `text` does not fit the field's type.
  void (*set)(SyncPrefs&, const std::string& text);
};

// All 21 fields, in the record's order.
const std::vector<prefs_field>& prefs_fields();

// Sets one field from "NAME=VALUE"; usage_error for an unknown name or a bad value.
void assign_prefs_field(SyncPrefs& prefs, const std::string& assignment);

}  // namespace vantor_cli
