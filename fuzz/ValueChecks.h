#pragma once

#include <functional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo::fuzzing {

// Comparisons the fuzz targets check values with after a trip through the store or an archive. Each enters a
// shared collection (or pair of collections) once, so a value read from an archive that shares its parts is
// checked in its own size.
class ValueChecks {
 public:
  static bool isUtf8(const std::string& text);
  // Whether every string and dictionary key inside value passes test.
  static bool allText(const platform::Value& value, const std::function<bool(const std::string&)>& test);
  // Every string and dictionary key inside value is UTF-8 without a NUL: the text an archive keeps exactly
  // (libplist takes C strings, and bytes that are not UTF-8 are repaired on the way in).
  static bool keepsExactly(const platform::Value& value);
  // The value with each string and key repaired as the writers repair text that is not UTF-8 (each bad byte
  // becomes U+FFFD): what a value holding such text must read back as.
  static platform::Value withRepairedText(const platform::Value& value);
  // Equal contents: NaN matches NaN, and archivable objects match by class (their fields went through the same
  // coder as everything else).
  static bool sameContent(const platform::Value& a, const platform::Value& b);
};

}  // namespace tavo::fuzzing
