#pragma once

#include <string>

namespace vantor_prefs {

// Appends `text` to `out` with the five XML special bytes replaced by entities; every other
// byte, control and multi-byte UTF-8 bytes included, is copied as it is.
void XmlEscape(const std::string& text, std::string& out);

}  // namespace vantor_prefs
