#include "core/TAVOUtils.h"

#include <algorithm>
#include <cctype>

#include "core/Exception.h"
#include "core/StringFormat.h"
#include "platform/DateFormatter.h"
#include "platform/Platform.h"

namespace tavo {

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// One colour component of one or two hex digits; one digit counts twice ("F" is "FF").
double component(const std::string& s, std::size_t start, std::size_t length) {
  const std::string digits = length == 1 ? std::string(2, s[start]) : s.substr(start, 2);
  const int high = hexDigit(digits[0]);
  const int low = hexDigit(digits[1]);
  // Like the platform's hex scanner, a component that is not hex reads as 0.
  if (high < 0 || low < 0) return 0.0;
  return (high * 16 + low) / 255.0;
}

const platform::TimeZone& deviceZone() { return *platform::Platform::shared().timeZone; }

// Splitting a pattern costs more than formatting with it, and every payload stamps the time with the same
// pattern and zone: each thread keeps the formatter it made last.
const platform::DateFormatter& formatterFor(const std::string& format, const platform::TimeZone& zone) {
  struct Cached {
    std::string format;
    platform::TimeZone zone;
    platform::DateFormatter formatter;
  };
  thread_local std::optional<Cached> cached;
  if (!cached || cached->format != format || !(cached->zone == zone))
    cached.emplace(Cached{format, zone, platform::DateFormatter(format, zone)});
  return cached->formatter;
}

}  // namespace

platform::Color TAVOUtils::hexaStrToColor(const std::string& hex) {
  std::string s;
  for (char c : hex)
    if (c != '#') s += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  double alpha = 1.0, red, green, blue;
  switch (s.size()) {
    case 3:
      red = component(s, 0, 1), green = component(s, 1, 1), blue = component(s, 2, 1);
      break;
    case 4:
      alpha = component(s, 0, 1), red = component(s, 1, 1), green = component(s, 2, 1), blue = component(s, 3, 1);
      break;
    case 6:
      red = component(s, 0, 2), green = component(s, 2, 2), blue = component(s, 4, 2);
      break;
    case 8:
      alpha = component(s, 0, 2), red = component(s, 2, 2), green = component(s, 4, 2), blue = component(s, 6, 2);
      break;
    default:
      throw Exception("Invalid color value",
                      StringFormat::format("Color value %@ is invalid.  It should be a hex value of the form "
                                           "#RBG, #ARGB, #RRGGBB, or #AARRGGBB",
                                           s));
  }
  return platform::Color::colorWithRed(red, green, blue, alpha);
}

std::string TAVOUtils::newDateWithDefaultTimezone() {
  return newDateWithTimezone(platform::TimeZone::utc());
}

std::string TAVOUtils::newDateWithTimezone(const std::optional<platform::TimeZone>& zone) {
  return dateToString(platform::Platform::shared().clock->now(), kDefaultDateFormat, zone);
}

std::string TAVOUtils::dateToString(platform::Date date, const std::string& format,
                                    const std::optional<platform::TimeZone>& zone) {
  return formatterFor(format, zone ? *zone : deviceZone()).stringFromDate(date);
}

std::string TAVOUtils::dateToStringLocalTime(platform::Date date, const std::string& format) {
  return dateToString(date, format, std::nullopt);
}

std::optional<platform::Date> TAVOUtils::dateFromStringDefaultFormat(const std::string& text) {
  return dateFromString(text, kDefaultDateFormat);
}

std::optional<platform::Date> TAVOUtils::dateFromString(const std::string& text, const std::string& format) {
  return formatterFor(format, deviceZone()).dateFromString(text);
}

platform::Date TAVOUtils::addHoursWithHours(long hours, platform::Date date) {
  return date.dateByAddingTimeInterval(static_cast<double>(hours) * 3600.0);
}

bool TAVOUtils::isWebAddress(const std::string& url) {
  const auto colon = url.find(':');
  if (colon == std::string::npos) return false;
  const std::string scheme = url.substr(0, colon);
  return scheme == "http" || scheme == "https";
}

}  // namespace tavo
