#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tavo/platform/Value.h"

namespace tavo::platform {

// JSON in and out of the Value model, with the platform's JSON serialiser's rules.
class JSONSerialization {
 public:
  // Parses JSON text; fragments (a bare string, number, true/false/null) are allowed. Integers that fit in
  // 64 bits stay integers; other numbers become reals. nullopt for text that is not JSON.
  static std::optional<Value> JSONObjectWithData(std::string_view text);

  // Pretty-printed text as the platform writes it: two-space indent, "key" : value, "/" escaped as "\/".
  // nullopt when the value holds something JSON cannot carry (data, date, object, non-finite number).
  static std::optional<std::string> dataWithJSONObjectPretty(const Value& value);
  // Same; replacedInvalidText tells whether some text was not UTF-8 (each bad byte is written as U+FFFD).
  static std::optional<std::string> dataWithJSONObjectPretty(const Value& value, bool& replacedInvalidText);
  // Compact text (no white space), same rules otherwise.
  static std::optional<std::string> dataWithJSONObject(const Value& value);

  // Whether the value can be written as JSON.
  static bool isValidJSONObject(const Value& value);
};

}  // namespace tavo::platform
