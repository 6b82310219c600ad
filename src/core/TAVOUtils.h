#pragma once

#include <optional>
#include <string>

#include "platform/Color.h"
#include "platform/TimeZone.h"
#include "tavo/platform/Date.h"

namespace tavo {

// Small shared helpers on colours, dates and addresses; callable from any thread.
class TAVOUtils {
 public:
  static constexpr const char* kDefaultDateFormat = "yyyy-MM-dd HH:mm:ss";

  // "#RGB", "#ARGB", "#RRGGBB" or "#AARRGGBB" (any "#" removed, any case). Any other length raises
  // "Invalid color value".
  static platform::Color hexaStrToColor(const std::string& hex);

  // Now, as "yyyy-MM-dd HH:mm:ss" in UTC.
  static std::string newDateWithDefaultTimezone();
  // Now, in that pattern and the given zone (the device's when none).
  static std::string newDateWithTimezone(const std::optional<platform::TimeZone>& zone);
  static std::string dateToString(platform::Date date, const std::string& format,
                                  const std::optional<platform::TimeZone>& zone);
  static std::string dateToStringLocalTime(platform::Date date, const std::string& format);
  // Parsed in the device's zone; nullopt when the text does not match.
  static std::optional<platform::Date> dateFromStringDefaultFormat(const std::string& text);
  static std::optional<platform::Date> dateFromString(const std::string& text, const std::string& format);
  static platform::Date addHoursWithHours(long hours, platform::Date date);

  // Whether the address's scheme is exactly "http" or "https".
  static bool isWebAddress(const std::string& url);

  template <class T>
  static bool isNil(const std::optional<T>& value) {
    return !value.has_value();
  }
};

}  // namespace tavo
