#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tavo::platform {

// UTF-8 as the platform's strings hold it: text from outside (a host's C string, a server's bytes) may be
// anything, while the writers of JSON, property lists and cookie files need valid text.
class UTF8 {
 public:
  // U+FFFD, written in place of each byte that starts no valid sequence.
  static constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

  // Length of the valid sequence starting at text[i], or 0 when the bytes there are not one (overlong forms,
  // surrogates and code points past U+10FFFF included).
  static std::size_t sequenceLength(std::string_view text, std::size_t i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char c = byte(i);
    if (c < 0x80) return 1;
    const std::size_t n = (c & 0xE0) == 0xC0 ? 2 : (c & 0xF0) == 0xE0 ? 3 : (c & 0xF8) == 0xF0 ? 4 : 0;
    if (n == 0 || i + n > text.size()) return 0;
    std::uint32_t cp = c & (0x7Fu >> n);
    for (std::size_t k = 1; k < n; ++k) {
      if ((byte(i + k) & 0xC0) != 0x80) return 0;
      cp = (cp << 6) | (byte(i + k) & 0x3Fu);
    }
    const bool overlong = (n == 2 && cp < 0x80) || (n == 3 && cp < 0x800) || (n == 4 && cp < 0x10000);
    return overlong || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF) ? 0 : n;
  }

  // Where the first byte that is not valid UTF-8 is, or text.size() when there is none.
  static std::size_t validPrefix(std::string_view text);
  static bool isValid(std::string_view text) { return validPrefix(text) == text.size(); }
  // The text with each invalid byte replaced by U+FFFD; valid text comes back unchanged.
  static std::string repaired(std::string_view text);
};

}  // namespace tavo::platform
