#pragma once

#include <string>

namespace vantor_cli {

inline constexpr int kTinyJpegWidth = 3;
inline constexpr int kTinyJpegHeight = 2;

// The bytes of a complete baseline JPEG of 3x2 grey pixels and no metadata: one quantisation
// table of ones, one-code Huffman tables, and a single block whose DC and AC codes are both 0.
inline std::string TinyJpeg() {
  // clang-format off
  static const unsigned char kBytes[] = {
      0xFF, 0xD8,                                                   // SOI
      0xFF, 0xDB, 0x00, 0x43, 0x00,                                 // DQT, table 0: 64 ones
      1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
      1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
      0xFF, 0xC0, 0x00, 0x0B, 0x08, 0x00, kTinyJpegHeight, 0x00, kTinyJpegWidth,
      0x01, 0x01, 0x11, 0x00,                                       // SOF0, one grey component
      0xFF, 0xC4, 0x00, 0x14, 0x00, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
      0x00,                                                         // DHT DC 0: "0" -> 0
      0xFF, 0xC4, 0x00, 0x14, 0x10, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
      0x00,                                                         // DHT AC 0: "0" -> EOB
      0xFF, 0xDA, 0x00, 0x08, 0x01, 0x01, 0x00, 0x00, 0x3F, 0x00,   // SOS
      0x3F,                                                         // "00", padded with ones
      0xFF, 0xD9};                                                  // EOI
  // clang-format on
  return std::string(reinterpret_cast<const char*>(kBytes), sizeof kBytes);
}

}  // namespace vantor_cli
