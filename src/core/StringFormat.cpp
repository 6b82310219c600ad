#include "core/StringFormat.h"

#include <cstdio>

namespace tavo {

std::string StringFormat::format(std::string_view pattern, const std::vector<Arg>& args) {
  std::string out;
  out.reserve(pattern.size() + 16);
  std::size_t next = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '%') {
      out += pattern[i];
      continue;
    }
    // Collect one conversion: flags, width, precision, length modifiers, then the conversion letter.
    std::size_t j = i + 1;
    while (j < pattern.size() && std::string_view("-+ #0123456789.").find(pattern[j]) != std::string_view::npos) ++j;
    while (j < pattern.size() && (pattern[j] == 'l' || pattern[j] == 'h' || pattern[j] == 'q' || pattern[j] == 'z'))
      ++j;
    if (j >= pattern.size()) {
      out.append(pattern.substr(i));
      break;
    }
    const char conversion = pattern[j];
    const std::string flags(pattern.substr(i + 1, j - i - 1));
    i = j;
    if (conversion == '%') {
      out += '%';
      continue;
    }
    const std::optional<platform::Value> arg = next < args.size() ? args[next].value() : std::nullopt;
    ++next;
    if (!arg) {
      out += "(null)";
      continue;
    }
    // Keep flags, width and precision; the length modifiers are ours to choose for the C call.
    std::string spec = "%";
    for (char c : flags)
      if (c != 'l' && c != 'h' && c != 'q' && c != 'z') spec += c;
    char buf[512];
    switch (conversion) {
      case '@': out += arg->isString() ? *arg->asString() : arg->description(); continue;
      case 's': out += arg->stringValue(); continue;
      case 'd':
      case 'i':
        spec += "lld";
        std::snprintf(buf, sizeof buf, spec.c_str(), static_cast<long long>(arg->integerValue()));
        break;
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        spec += "ll";
        spec += conversion;
        std::snprintf(buf, sizeof buf, spec.c_str(), static_cast<unsigned long long>(arg->integerValue()));
        break;
      case 'c':
        spec += 'c';
        std::snprintf(buf, sizeof buf, spec.c_str(), static_cast<int>(arg->integerValue()));
        break;
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
        spec += conversion;
        std::snprintf(buf, sizeof buf, spec.c_str(), arg->doubleValue());
        break;
      default:
        // Unknown conversion: leave the text as written.
        out += '%';
        out += flags;
        out += conversion;
        continue;
    }
    out += buf;
  }
  return out;
}

}  // namespace tavo
