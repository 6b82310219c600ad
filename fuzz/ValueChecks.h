#pragma once

#include <string>

#include "tavo/platform/Value.h"

namespace tavo::fuzzing {

// Comparisons the fuzz targets check values with after a trip through the store or an archive.
class ValueChecks {
 public:
  static bool isUtf8(const std::string& text);
  // Every string and dictionary key inside value is UTF-8 without a NUL: the text an archive keeps exactly
  // (libplist takes C strings, and bytes that are not UTF-8 are repaired on the way in).
  static bool keepsExactly(const platform::Value& value);
  // Equal contents: NaN matches NaN, and archivable objects match by class (their fields went through the same
  // coder as everything else).
  static bool sameContent(const platform::Value& a, const platform::Value& b);
};

}  // namespace tavo::fuzzing
