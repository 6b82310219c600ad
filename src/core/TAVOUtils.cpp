#include "core/TAVOUtils.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <vector>

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

// Splitting a pattern costs more than formatting with it, and the hot paths use few pairs of pattern and
// zone (every payload stamps the time in the device's zone; an attribution window is checked by formatting
// in UTC and parsing in the device's zone): each thread keeps the formatters it made last. Each also keeps
// the texts it parsed last, since the stored campaign dates are parsed again for every event, and the text
// of the last second it formatted, when its pattern has no field finer than a second.
struct CachedFormatter {
  struct Parsed {
    std::string text;
    std::optional<platform::Date> date;
  };
  static constexpr std::size_t kParsedKept = 8;

  CachedFormatter(const std::string& f, const platform::TimeZone& z)
      : format(f), zone(z), formatter(f, z), wholeSeconds(f.find('S') == std::string::npos) {}

  std::string format;
  platform::TimeZone zone;
  platform::DateFormatter formatter;
  std::vector<Parsed> parsed;
  std::size_t nextParsed = 0;
  bool wholeSeconds;
  std::optional<double> lastSecond;
  std::string lastText;

  std::string stringFromDate(platform::Date date) {
    if (!wholeSeconds) return formatter.stringFromDate(date);
    const double seconds = date.timeIntervalSince1970();
    const double second = std::floor(seconds);
    // Near a second's edges the formatter's own rounding decides which second it is: ask it.
    const bool clearlyInside = seconds - second > 0.002 && seconds - second < 0.998;
    if (clearlyInside && lastSecond == second) return lastText;
    std::string text = formatter.stringFromDate(date);
    if (clearlyInside) {
      lastSecond = second;
      lastText = text;
    }
    return text;
  }

  std::optional<platform::Date> dateFromString(const std::string& text) {
    for (const Parsed& p : parsed)
      if (p.text == text) return p.date;
    Parsed latest{text, formatter.dateFromString(text)};
    const auto date = latest.date;
    if (parsed.size() < kParsedKept) {
      parsed.push_back(std::move(latest));
    } else {
      parsed[nextParsed] = std::move(latest);
      nextParsed = (nextParsed + 1) % kParsedKept;
    }
    return date;
  }
};

CachedFormatter& formatterFor(const std::string& format, const platform::TimeZone& zone) {
  constexpr std::size_t kKept = 4;
  thread_local std::vector<CachedFormatter> cached;
  thread_local std::size_t nextReplaced = 0;
  for (CachedFormatter& formatter : cached)
    if (formatter.format == format && formatter.zone == zone) return formatter;
  if (cached.size() < kKept) return cached.emplace_back(format, zone);
  CachedFormatter& replaced = cached[nextReplaced];
  nextReplaced = (nextReplaced + 1) % kKept;
  replaced = CachedFormatter(format, zone);
  return replaced;
}

}  // namespace

platform::Color TAVOUtils::hexaStrToColor(const std::string& hex) {
  std::string s;
  for (char c : hex)
    if (c != '#') s += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  double alpha = 1.0, red, green, blue;
  switch (s.size()) {
    case 3: red = component(s, 0, 1), green = component(s, 1, 1), blue = component(s, 2, 1); break;
    case 4:
      alpha = component(s, 0, 1), red = component(s, 1, 1), green = component(s, 2, 1), blue = component(s, 3, 1);
      break;
    case 6: red = component(s, 0, 2), green = component(s, 2, 2), blue = component(s, 4, 2); break;
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

std::string TAVOUtils::newDateWithDefaultTimezone() { return newDateWithTimezone(platform::TimeZone::utc()); }

std::string TAVOUtils::newDateWithTimezone(const std::optional<platform::TimeZone>& zone) {
  static const std::string format(kDefaultDateFormat);  // every payload's time stamp: not a new string each time
  return dateToString(platform::Platform::shared().clock->now(), format, zone);
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
