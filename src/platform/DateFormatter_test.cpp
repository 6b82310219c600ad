#include "platform/DateFormatter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <thread>
#include <vector>

namespace tavo::platform {
namespace {

constexpr const char* kStamp = "yyyy-MM-dd HH:mm:ss";
constexpr const char* kIso = "yyyy-MM-dd'T'HH:mm:ss.SSS";

std::string utcText(double seconds, const char* pattern = kStamp) {
  return DateFormatter(pattern, TimeZone::utc()).stringFromDate(Date(seconds));
}

std::optional<double> utcSeconds(const std::string& text, const char* pattern = kStamp) {
  const auto date = DateFormatter(pattern, TimeZone::utc()).dateFromString(text);
  return date ? std::optional<double>(date->timeIntervalSince1970()) : std::nullopt;
}

TEST(DateFormatting, CalendarFractionsAndLiteralsAcrossTheWholeRange) {
  const struct {
    double seconds;
    const char* pattern;
    const char* text;
  } cases[] = {
      {1709208000, kStamp, "2024-02-29 12:00:00"},
      {-1, kStamp, "1969-12-31 23:59:59"},
      {-11670912001, kStamp, "1600-02-29 23:59:59"},  // 1600 is a leap year
      {-62135596800, kStamp, "0001-01-01 00:00:00"},
      // Fractions are truncated towards the past.
      {59.9999, kIso, "1970-01-01T00:00:59.999"},
      {-0.5, kIso, "1969-12-31T23:59:59.500"},
      {-0.0001, kIso, "1969-12-31T23:59:59.999"},
      {1.25, "ss.SSSSS", "01.25000"},
      {3600, "'Date:' dd/MM/yyyy 'at' HH'h'", "Date: 01/01/1970 at 01h"},
      {0, "'o''clock' HH''mm", "o'clock 00'00"},
      // Unrepresentable dates give empty text.
      {std::numeric_limits<double>::infinity(), kStamp, ""},
      {-1e300, kStamp, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(utcText(c.seconds, c.pattern), c.text) << c.seconds << " as " << c.pattern;
}

TEST(DateParsing, RejectsTextThatDoesNotMatchExactlyOrNamesAnImpossibleDateAndFillsMissingFields) {
  for (const char* text : {"", "1970-01-01 00:00:000", "+970-01-01 00:00:00", "1970-01-01 00:00:00Z",
                           " 1970-01-01 00:00:00", "1970-1-01 00:00:00", "1970-00-01 00:00:00", "1970-04-31 00:00:00",
                           "1900-02-29 00:00:00", "1970-01-01 24:00:00", "1970-01-01 00:00:60"}) {
    EXPECT_FALSE(utcSeconds(text).has_value()) << '"' << text << '"';
  }
  EXPECT_FALSE(utcSeconds("2023-11-14 22:13:20.123", kIso).has_value());  // literal T missing
  EXPECT_EQ(utcSeconds("1600-02-29 23:59:59"), -11670912001.0);
  EXPECT_EQ(utcSeconds("12:30", "HH:mm"), 45000.0);  // missing fields are 1970-01-01 00:00:00
}

TEST(DateRoundTrip, RandomInstantsInSeveralZonesThroughOneFormatterSharedByThreads) {
  for (const TimeZone& zone :
       {TimeZone::utc(), TimeZone::withSecondsFromGMT(-34200), TimeZone::withSecondsFromGMT(45900)}) {
    const DateFormatter formatter(kIso, zone);
    std::vector<int> failures(3, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
      threads.emplace_back([&, t] {
        std::mt19937_64 random(20240229 + t);
        std::uniform_int_distribution<std::int64_t> milliseconds(-11670912000000, 13569465600000);  // 1600...2400
        for (int i = 0; i < 1000; ++i) {
          const Date date(static_cast<double>(milliseconds(random)) / 1000.0);
          const std::string text = formatter.stringFromDate(date);
          const auto parsed = formatter.dateFromString(text);
          if (!parsed || formatter.stringFromDate(*parsed) != text ||
              std::abs(parsed->timeIntervalSince1970() - date.timeIntervalSince1970()) > 1e-6)
            ++failures[t];
        }
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures, std::vector<int>(3, 0)) << zone.name();
  }
}

}  // namespace
}  // namespace tavo::platform
