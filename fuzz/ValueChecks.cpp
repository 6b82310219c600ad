#include "ValueChecks.h"

#include <cmath>
#include <cstdint>

namespace tavo::fuzzing {

using platform::Value;

bool ValueChecks::isUtf8(const std::string& s) {
  for (std::size_t i = 0; i < s.size();) {
    const auto c = static_cast<unsigned char>(s[i]);
    const std::size_t n = c < 0x80 ? 1 : (c & 0xE0) == 0xC0 ? 2 : (c & 0xF0) == 0xE0 ? 3 : (c & 0xF8) == 0xF0 ? 4 : 0;
    if (n == 0 || i + n > s.size()) return false;
    std::uint32_t cp = n == 1 ? c : c & (0x7Fu >> n);
    for (std::size_t k = 1; k < n; ++k) {
      const auto next = static_cast<unsigned char>(s[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (next & 0x3Fu);
    }
    if ((n == 2 && cp < 0x80) || (n == 3 && cp < 0x800) || (n == 4 && cp < 0x10000) || cp > 0x10FFFF ||
        (cp >= 0xD800 && cp <= 0xDFFF))
      return false;
    i += n;
  }
  return true;
}

bool ValueChecks::keepsExactly(const Value& value) {
  const auto exact = [](const std::string& s) { return s.find('\0') == std::string::npos && isUtf8(s); };
  if (const std::string* s = value.asString()) return exact(*s);
  if (const auto* array = value.asArray()) {
    for (const Value& item : *array)
      if (!keepsExactly(item)) return false;
  }
  if (const auto* dictionary = value.asDictionary()) {
    for (const auto& [key, item] : *dictionary)
      if (!exact(key) || !keepsExactly(item)) return false;
  }
  return true;
}

bool ValueChecks::sameContent(const Value& a, const Value& b) {
  if (a.type() != b.type()) return false;
  switch (a.type()) {
    case Value::Type::Real:
      return (std::isnan(a.doubleValue()) && std::isnan(b.doubleValue())) || a.doubleValue() == b.doubleValue();
    case Value::Type::Array: {
      const auto& x = *a.asArray();
      const auto& y = *b.asArray();
      if (x.size() != y.size()) return false;
      for (std::size_t i = 0; i < x.size(); ++i)
        if (!sameContent(x[i], y[i])) return false;
      return true;
    }
    case Value::Type::Dictionary: {
      const auto& x = *a.asDictionary();
      const auto& y = *b.asDictionary();
      if (x.size() != y.size()) return false;
      for (const auto& [key, item] : x) {
        const Value* other = y.find(key);
        if (!other || !sameContent(item, *other)) return false;
      }
      return true;
    }
    case Value::Type::Object: return a.className() == b.className();
    default: return a == b;
  }
}

}  // namespace tavo::fuzzing
