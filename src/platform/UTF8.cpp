#include "platform/UTF8.h"

namespace tavo::platform {

std::size_t UTF8::validPrefix(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t n = sequenceLength(text, i);
    if (n == 0) break;
    i += n;
  }
  return i;
}

std::string UTF8::repaired(std::string_view text) {
  std::size_t i = validPrefix(text);
  std::string out(text.substr(0, i));
  while (i < text.size()) {
    const std::size_t n = sequenceLength(text, i);
    out += n == 0 ? kReplacement : text.substr(i, n);
    i += n == 0 ? 1 : n;
  }
  return out;
}

}  // namespace tavo::platform
