#include "platform/DateFormatter.h"

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <utility>

namespace tavo::platform {

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
// Some 300,000 years either way: beyond that a double no longer holds milliseconds, so such dates have
// no text and such years do not parse.
constexpr double kLargestSeconds = 1e13;
constexpr std::int64_t kLargestYear = 300000;
// Widest numeric field that still parses into 64 bits without overflow.
constexpr int kWidestNumber = 18;

bool isPatternLetter(char c) {
  return c == 'y' || c == 'M' || c == 'd' || c == 'H' || c == 'm' || c == 's' || c == 'S';
}

std::int64_t floorDivide(std::int64_t a, std::int64_t b) {
  const std::int64_t q = a / b;
  return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

struct CivilDate {
  std::int64_t year;
  int month;  // 1...12
  int day;    // 1...31
};

// Proleptic Gregorian calendar <-> days since 1970-01-01, by 400-year eras (H. Hinnant's algorithms), so no
// C library call and no locale is involved.
CivilDate civilFromDays(std::int64_t days) {
  days += 719468;
  const std::int64_t era = floorDivide(days, 146097);
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;  // March = 0
  const int day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  const int month = static_cast<int>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
  return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

std::int64_t daysFromCivil(std::int64_t year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = floorDivide(year, 400);
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

bool isLeapYear(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int daysInMonth(std::int64_t year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

void appendNumber(std::string& out, std::int64_t value, int width) {
  if (value < 0) {
    out += '-';
    value = -value;
  }
  char digits[24];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value > 0);
  for (int i = count; i < width; ++i) out += '0';
  while (count > 0) out += digits[--count];
}

}  // namespace

DateFormatter::DateFormatter(std::string pattern, TimeZone zone)
    : pattern_(std::move(pattern)), zone_(std::move(zone)) {
  std::string literal;
  auto flushLiteral = [&] {
    if (!literal.empty()) fields_.push_back({0, 0, std::exchange(literal, {})});
  };
  const std::string_view p = pattern_;
  for (std::size_t i = 0; i < p.size();) {
    const char c = p[i];
    if (c == '\'') {
      // '' is a quote character, inside quoted text or out of it.
      if (i + 1 < p.size() && p[i + 1] == '\'') {
        literal += '\'';
        i += 2;
        continue;
      }
      for (++i; i < p.size(); ++i) {
        if (p[i] != '\'') {
          literal += p[i];
        } else if (i + 1 < p.size() && p[i + 1] == '\'') {
          literal += '\'';
          ++i;
        } else {
          ++i;
          break;
        }
      }
    } else if (isPatternLetter(c)) {
      flushLiteral();
      std::size_t end = i;
      while (end < p.size() && p[end] == c) ++end;
      fields_.push_back({c, static_cast<int>(end - i), {}});
      i = end;
    } else {
      literal += c;
      ++i;
    }
  }
  flushLiteral();
}

std::string DateFormatter::stringFromDate(Date date) const {
  const double seconds = date.timeIntervalSince1970();
  if (!(std::fabs(seconds) < kLargestSeconds)) return "";
  // Truncate to milliseconds, but first undo the representation error of the double: 1.001 is stored as
  // 1.000999..., which must still print ".001". The nudge is a few units in the last place, far below 1 ms.
  const double milliseconds = seconds * 1000.0;
  const double nudge = std::fabs(milliseconds) * 16 * DBL_EPSILON;
  const auto totalMilliseconds = static_cast<std::int64_t>(std::floor(milliseconds + nudge));
  const std::int64_t utcSeconds = floorDivide(totalMilliseconds, 1000);
  const std::int64_t millisecond = totalMilliseconds - utcSeconds * 1000;

  const std::int64_t local = utcSeconds + zone_.secondsFromGMTForDate(Date(static_cast<double>(utcSeconds)));
  const std::int64_t days = floorDivide(local, kSecondsPerDay);
  const std::int64_t secondOfDay = local - days * kSecondsPerDay;
  const CivilDate civil = civilFromDays(days);

  std::string text;
  text.reserve(pattern_.size() + 8);
  for (const Field& field : fields_) {
    switch (field.letter) {
      case 0: text += field.literal; break;
      case 'y': appendNumber(text, civil.year, field.width); break;
      case 'M': appendNumber(text, civil.month, field.width); break;
      case 'd': appendNumber(text, civil.day, field.width); break;
      case 'H': appendNumber(text, secondOfDay / 3600, field.width); break;
      case 'm': appendNumber(text, secondOfDay / 60 % 60, field.width); break;
      case 's': appendNumber(text, secondOfDay % 60, field.width); break;
      case 'S': {
        // Fraction digits, most significant first; the clock only holds milliseconds.
        std::string digits;
        appendNumber(digits, millisecond, 3);
        digits.resize(static_cast<std::size_t>(field.width), '0');
        text += digits;
        break;
      }
    }
  }
  return text;
}

std::optional<Date> DateFormatter::dateFromString(const std::string& text) const {
  std::int64_t year = 1970;
  std::int64_t month = 1, day = 1, hour = 0, minute = 0, second = 0;
  double fraction = 0;

  std::size_t position = 0;
  for (const Field& field : fields_) {
    if (field.letter == 0) {
      if (text.compare(position, field.literal.size(), field.literal) != 0) return std::nullopt;
      position += field.literal.size();
      continue;
    }
    const auto width = static_cast<std::size_t>(field.width);
    if (field.width > kWidestNumber || text.size() - position < width) return std::nullopt;
    std::int64_t number = 0;
    std::int64_t scale = 1;
    for (std::size_t i = position; i < position + width; ++i) {
      if (text[i] < '0' || text[i] > '9') return std::nullopt;
      number = number * 10 + (text[i] - '0');
      scale *= 10;
    }
    position += width;
    switch (field.letter) {
      case 'y': year = number; break;
      case 'M': month = number; break;
      case 'd': day = number; break;
      case 'H': hour = number; break;
      case 'm': minute = number; break;
      case 's': second = number; break;
      case 'S': fraction = static_cast<double>(number) / static_cast<double>(scale); break;
    }
  }
  if (position != text.size()) return std::nullopt;
  if (year > kLargestYear || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, static_cast<int>(month)) ||
      hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }

  const std::int64_t local = daysFromCivil(year, static_cast<int>(month), static_cast<int>(day)) * kSecondsPerDay +
                             hour * 3600 + minute * 60 + second;
  // The zone's offset depends on the instant being computed: guess with the offset at the local reading,
  // then correct once with the offset at the guess (settles everywhere but inside a daylight-saving jump).
  auto offsetAt = [this](std::int64_t utc) { return zone_.secondsFromGMTForDate(Date(static_cast<double>(utc))); };
  std::int64_t utc = local - offsetAt(local);
  utc = local - offsetAt(utc);
  return Date(static_cast<double>(utc) + fraction);
}

}  // namespace tavo::platform
