#pragma once

#include <array>
#include <string>

namespace vantor_env {

using uuid_bytes = std::array<unsigned char, 16>;

// A new random UUID in its usual text form: 36 lower-case characters with hyphens, no braces.
std::string NewUuid();
// The text form of `id`.
std::string UuidToText(const uuid_bytes& id);
// Parses the text form (braces optional, either case). False, and `id` untouched, if `text`
// is not a UUID.
bool UuidFromText(const std::string& text, uuid_bytes& id);

// The UUID stored under `section`/`key` of UUID.ini; a new one is made and stored when it is
// missing or not a UUID. "" if a new one cannot be stored.
std::string GetStoredUuid(const std::string& section, const std::string& key);

}  // namespace vantor_env
