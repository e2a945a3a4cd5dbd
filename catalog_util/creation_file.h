#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vael_util {

// A creation file lists the media a creation uses. Binary, integers big-endian:
//   title       32-bit byte length, then UTF-16 code units, high byte first
//   media count 32-bit, then one 64-bit value per media id
//   blob        32-bit byte length, then the bytes
// Ids are written sign-extended; a reader keeps the low 32 bits of each value. Strings are
// UTF-8 on this side.

// Writes a creation file at `path` through a temporary file beside it that replaces the file
// only once complete, so a failure leaves the old file or none. Returns false when it cannot
// be created or written. Throws std::length_error for a field too long for its 32-bit length.
bool write_creation_file(const std::string& path, const std::string& title,
                         const std::vector<int>& ids, const std::string& blob);

// Reads the creation file at `path`. Returns with the outputs unchanged when it cannot be
// opened. Throws std::runtime_error naming the file when it cannot be read or is malformed,
// as parse_creation_file(); the outputs are then unchanged too.
void read_creation_file(const std::string& path, std::string& title, std::vector<int>& ids,
                        std::string& blob);

// Parses the bytes of a creation file. Throws std::runtime_error, leaving the outputs
// unchanged, when a length or count asks for more than the bytes left, the title length is
// odd, or the bytes end inside a field. Bytes after the blob are ignored.
void parse_creation_file(std::string_view bytes, std::string& title, std::vector<int>& ids,
                         std::string& blob);

}  // namespace vael_util
