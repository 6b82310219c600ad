#include "platform/DateFormatter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <thread>
#include <vector>

namespace tavo::platform {
namespace {

constexpr const char* kStamp = "yyyy-MM-dd HH:mm:ss";
constexpr const char* kIso = "yyyy-MM-dd'T'HH:mm:ss.SSS";
// Central European rules as a POSIX TZ string, so the tests need no zone database.
constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr double kWinter2024 = 1705320000;  // 2024-01-15 12:00:00 UTC
constexpr double kSummer2024 = 1721044800;  // 2024-07-15 12:00:00 UTC

std::string utcText(double seconds, const char* pattern = kStamp) {
  return DateFormatter(pattern, TimeZone::utc()).stringFromDate(Date(seconds));
}

std::optional<double> utcSeconds(const std::string& text, const char* pattern = kStamp) {
  const auto date = DateFormatter(pattern, TimeZone::utc()).dateFromString(text);
  return date ? std::optional<double>(date->timeIntervalSince1970()) : std::nullopt;
}

TEST(DateFormatting, EpochAndWellKnownInstants) {
  EXPECT_EQ(utcText(0), "1970-01-01 00:00:00");
  EXPECT_EQ(utcText(1700000000.123, kIso), "2023-11-14T22:13:20.123");
  EXPECT_EQ(utcText(1709208000), "2024-02-29 12:00:00");
  EXPECT_EQ(utcText(951868799), "2000-02-29 23:59:59");
  EXPECT_EQ(utcText(253402300799), "9999-12-31 23:59:59");
}

TEST(DateFormatting, BeforeNineteenSeventy) {
  EXPECT_EQ(utcText(-1), "1969-12-31 23:59:59");
  EXPECT_EQ(utcText(-14182940), "1969-07-20 20:17:40");
  EXPECT_EQ(utcText(-2208988800), "1900-01-01 00:00:00");
  EXPECT_EQ(utcText(-11670912000), "1600-03-01 00:00:00");
  EXPECT_EQ(utcText(-11670912001), "1600-02-29 23:59:59");  // 1600 is a leap year
  EXPECT_EQ(utcText(-62135596800), "0001-01-01 00:00:00");
}

TEST(DateFormatting, FractionsAreTruncatedTowardsThePast) {
  EXPECT_EQ(utcText(59.9999, kIso), "1970-01-01T00:00:59.999");
  EXPECT_EQ(utcText(1.001, kIso), "1970-01-01T00:00:01.001");
  EXPECT_EQ(utcText(1700000000.007, kIso), "2023-11-14T22:13:20.007");
  EXPECT_EQ(utcText(-0.5, kIso), "1969-12-31T23:59:59.500");
  EXPECT_EQ(utcText(-0.0001, kIso), "1969-12-31T23:59:59.999");
  EXPECT_EQ(utcText(0.9999), "1970-01-01 00:00:00");
  EXPECT_EQ(utcText(1.25, "ss.S"), "01.2");
  EXPECT_EQ(utcText(1.25, "ss.SSSSS"), "01.25000");
}

TEST(DateFormatting, QuotedAndPlainLiterals) {
  EXPECT_EQ(utcText(3600, "'Date:' dd/MM/yyyy 'at' HH'h'"), "Date: 01/01/1970 at 01h");
  EXPECT_EQ(utcText(0, "'o''clock' HH''mm"), "o'clock 00'00");
  EXPECT_EQ(utcText(0, "yyyyMMdd"), "19700101");
  EXPECT_EQ(utcText(0, ""), "");
}

TEST(DateFormatting, UnrepresentableDatesGiveEmptyText) {
  EXPECT_EQ(utcText(std::numeric_limits<double>::infinity()), "");
  EXPECT_EQ(utcText(std::numeric_limits<double>::quiet_NaN()), "");
  EXPECT_EQ(utcText(-1e300), "");
}

TEST(DateParsing, ReadsWhatFormattingWrites) {
  EXPECT_EQ(utcSeconds("1970-01-01 00:00:00"), 0.0);
  EXPECT_EQ(utcSeconds("2024-02-29 12:00:00"), 1709208000.0);
  EXPECT_EQ(utcSeconds("1600-02-29 23:59:59"), -11670912001.0);
  EXPECT_EQ(utcSeconds("1969-12-31T23:59:59.500", kIso), -0.5);
  EXPECT_EQ(utcSeconds("0001-01-01 00:00:00"), -62135596800.0);
  EXPECT_EQ(utcSeconds("12:30", "HH:mm"), 45000.0);  // missing fields are 1970-01-01 00:00:00
}

TEST(DateParsing, RejectsTextThatDoesNotMatchExactly) {
  for (const char* text :
       {"", "1970-01-01 00:00:0", "1970-01-01 00:00:000", "1970-01-01 00:00", "1970/01/01 00:00:00",
        "197a-01-01 00:00:00", "+970-01-01 00:00:00", "1970-01-01 00:00:00Z", " 1970-01-01 00:00:00",
        "1970-01-01T00:00:00", "1970-1-01 00:00:00"}) {
    EXPECT_FALSE(utcSeconds(text).has_value()) << '"' << text << '"';
  }
  EXPECT_FALSE(utcSeconds("2023-11-14 22:13:20.123", kIso).has_value());  // literal T missing
}

TEST(DateParsing, RejectsImpossibleDates) {
  for (const char* text :
       {"1970-13-01 00:00:00", "1970-00-01 00:00:00", "1970-04-31 00:00:00", "1970-01-00 00:00:00",
        "1970-01-32 00:00:00", "2023-02-29 00:00:00", "1900-02-29 00:00:00", "1970-01-01 25:00:00",
        "1970-01-01 24:00:00", "1970-01-01 00:60:00", "1970-01-01 00:00:60"}) {
    EXPECT_FALSE(utcSeconds(text).has_value()) << text;
  }
  EXPECT_TRUE(utcSeconds("2000-02-29 00:00:00").has_value());
  EXPECT_TRUE(utcSeconds("1970-04-30 23:59:59").has_value());
}

TEST(DateRoundTrip, RandomInstantsInSeveralZones) {
  std::mt19937_64 random(20240229);
  std::uniform_int_distribution<std::int64_t> milliseconds(-11670912000000, 13569465600000);  // 1600...2400
  const std::vector<TimeZone> zones = {TimeZone::utc(), TimeZone::withSecondsFromGMT(-34200),
                                       TimeZone::withSecondsFromGMT(45900)};
  for (const TimeZone& zone : zones) {
    const DateFormatter formatter(kIso, zone);
    for (int i = 0; i < 2000; ++i) {
      const Date date(static_cast<double>(milliseconds(random)) / 1000.0);
      const std::string text = formatter.stringFromDate(date);
      const auto parsed = formatter.dateFromString(text);
      ASSERT_TRUE(parsed.has_value()) << text;
      ASSERT_EQ(formatter.stringFromDate(*parsed), text);
      ASSERT_NEAR(parsed->timeIntervalSince1970(), date.timeIntervalSince1970(), 1e-6) << text;
    }
  }
}

TEST(DateFormatterThreads, OneFormatterSharedByManyThreads) {
  const DateFormatter formatter(kIso, TimeZone::withSecondsFromGMT(3600));
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        const Date date((t * 100000 + i) * 12343.0 + 0.25);
        const auto back = formatter.dateFromString(formatter.stringFromDate(date));
        if (!back || *back != date) ++failures[t];
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

TEST(FixedTimeZone, NamesAndOffsets) {
  EXPECT_EQ(TimeZone::utc().name(), "GMT");
  EXPECT_EQ(TimeZone::utc().secondsFromGMTForDate(Date(kSummer2024)), 0);
  EXPECT_EQ(TimeZone::withSecondsFromGMT(3600).name(), "GMT+0100");
  EXPECT_EQ(TimeZone::withSecondsFromGMT(-19800).name(), "GMT-0530");
  EXPECT_EQ(TimeZone::withSecondsFromGMT(0).name(), "GMT");
  EXPECT_EQ(TimeZone::withSecondsFromGMT(7200, "Madrid summer").name(), "Madrid summer");
  EXPECT_EQ(TimeZone::withSecondsFromGMT(-19800).secondsFromGMTForDate(Date(kWinter2024)), -19800);
}

TEST(FixedTimeZone, FormatsLocalWallClock) {
  EXPECT_EQ(DateFormatter(kStamp, TimeZone::withSecondsFromGMT(3600)).stringFromDate(Date(0)),
            "1970-01-01 01:00:00");
  EXPECT_EQ(DateFormatter(kStamp, TimeZone::withSecondsFromGMT(-19800)).stringFromDate(Date(0)),
            "1969-12-31 18:30:00");
  EXPECT_EQ(DateFormatter(kStamp, TimeZone::withSecondsFromGMT(-19800)).dateFromString("1969-12-31 18:30:00"),
            Date(0));
}

// Points TZ somewhere for one test, then restores it (and the C library's loaded rules).
class SystemTimeZone : public testing::Test {
 protected:
  void SetUp() override {
    const char* tz = std::getenv("TZ");
    saved_ = tz ? std::optional<std::string>(tz) : std::nullopt;
  }
  void TearDown() override {
    if (saved_) {
      setenv("TZ", saved_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  static void setTZ(const char* value) {
    if (value) {
      setenv("TZ", value, 1);
    } else {
      unsetenv("TZ");
    }
  }

 private:
  std::optional<std::string> saved_;
};

TEST_F(SystemTimeZone, FollowsTZWithDaylightSaving) {
  setTZ(kCentralEurope);
  const TimeZone zone = TimeZone::systemTimeZone();
  EXPECT_EQ(zone.name(), kCentralEurope);
  EXPECT_EQ(zone.secondsFromGMTForDate(Date(kWinter2024)), 3600);
  EXPECT_EQ(zone.secondsFromGMTForDate(Date(kSummer2024)), 7200);

  const DateFormatter formatter(kStamp, zone);
  EXPECT_EQ(formatter.stringFromDate(Date(kWinter2024)), "2024-01-15 13:00:00");
  EXPECT_EQ(formatter.stringFromDate(Date(kSummer2024)), "2024-07-15 14:00:00");
  EXPECT_EQ(formatter.dateFromString("2024-07-15 14:00:00"), Date(kSummer2024));
  // Either side of the autumn change (2024-10-27 01:00 UTC): the same wall clock hour occurs twice.
  EXPECT_EQ(formatter.stringFromDate(Date(1729990800 - 1)), "2024-10-27 02:59:59");
  EXPECT_EQ(formatter.stringFromDate(Date(1729990800)), "2024-10-27 02:00:00");
}

TEST_F(SystemTimeZone, NamedZoneFromTheDatabase) {
  if (!std::ifstream("/usr/share/zoneinfo/America/New_York")) GTEST_SKIP() << "no zone database";
  setTZ(":America/New_York");
  const TimeZone zone = TimeZone::systemTimeZone();
  EXPECT_EQ(zone.name(), "America/New_York");
  EXPECT_EQ(zone.secondsFromGMTForDate(Date(kWinter2024)), -18000);
  EXPECT_EQ(zone.secondsFromGMTForDate(Date(kSummer2024)), -14400);
  setTZ("/usr/share/zoneinfo/America/New_York");
  EXPECT_EQ(TimeZone::systemTimeZone().name(), "America/New_York");
}

TEST_F(SystemTimeZone, EmptyTZIsUTC) {
  setTZ("");
  const TimeZone zone = TimeZone::systemTimeZone();
  EXPECT_EQ(zone.name(), "UTC");
  EXPECT_EQ(zone.secondsFromGMTForDate(Date(kSummer2024)), 0);
}

TEST_F(SystemTimeZone, MachineZoneDiffersFromUTCByItsOffset) {
  setTZ(nullptr);
  const TimeZone zone = TimeZone::systemTimeZone();
  EXPECT_FALSE(zone.name().empty());
  EXPECT_EQ(zone.name().find("zoneinfo/"), std::string::npos);
  const DateFormatter local(kStamp, zone);
  for (double when : {kWinter2024, kSummer2024, -2208988800.0}) {
    // Reading the local wall clock as if it were UTC is off by exactly the zone's offset.
    const auto asUtc =
        DateFormatter(kStamp, TimeZone::utc()).dateFromString(local.stringFromDate(Date(when)));
    ASSERT_TRUE(asUtc.has_value());
    EXPECT_EQ(asUtc->timeIntervalSince1970() - when, zone.secondsFromGMTForDate(Date(when)));
    EXPECT_EQ(local.dateFromString(local.stringFromDate(Date(when))), Date(when));
  }
}

}  // namespace
}  // namespace tavo::platform
