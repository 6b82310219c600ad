#include "platform/TimeZone.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/DateFormatter.h"

namespace tavo::platform {
namespace {

constexpr const char* kStamp = "yyyy-MM-dd HH:mm:ss";
constexpr double kWinter2024 = 1705320000;             // 2024-01-15 12:00:00 UTC
constexpr double kSummer2024 = 1719835200.0;           // 2024-07-01 12:00:00 UTC
constexpr double kMadridSpringForward = 1711846800.0;  // 2024-03-31 01:00:00 UTC, clocks go from +1 to +2

TEST(FixedTimeZone, NamesOffsetsAndLocalWallClock) {
  EXPECT_EQ(TimeZone::withSecondsFromGMT(-19800).name(), "GMT-0530");
  EXPECT_EQ(TimeZone::withSecondsFromGMT(0).name(), "GMT");
  const DateFormatter india(kStamp, TimeZone::withSecondsFromGMT(-19800));
  EXPECT_EQ(india.stringFromDate(Date(0)), "1969-12-31 18:30:00");
  EXPECT_EQ(india.dateFromString("1969-12-31 18:30:00"), Date(0));
}

// Points TZ somewhere for one test, then puts the process's zone (and the C library's rules) back.
class SystemTimeZone : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const char* tz = std::getenv("TZ")) saved_ = tz;
  }
  void TearDown() override {
    setTZ(saved_ ? saved_->c_str() : nullptr);
    tzset();
    TimeZone::systemTimeZone();
  }
  static TimeZone zoneFor(const char* tz) {
    setTZ(tz);
    return TimeZone::systemTimeZone();
  }
  static void setTZ(const char* value) { value ? setenv("TZ", value, 1) : unsetenv("TZ"); }
  static bool haveZoneDatabase() { return std::filesystem::exists("/usr/share/zoneinfo/Europe/Madrid"); }

 private:
  std::optional<std::string> saved_;
};

TEST_F(SystemTimeZone, PosixRulesInTZGiveDaylightSavingAndTheRepeatedAutumnHour) {
  const TimeZone zone = zoneFor("CET-1CEST,M3.5.0,M10.5.0/3");  // needs no zone database
  EXPECT_EQ(zone.name(), "CET-1CEST,M3.5.0,M10.5.0/3");
  const DateFormatter formatter(kStamp, zone);
  EXPECT_EQ(formatter.stringFromDate(Date(kWinter2024)), "2024-01-15 13:00:00");
  EXPECT_EQ(formatter.dateFromString("2024-07-01 14:00:00"), Date(kSummer2024));
  // Either side of the autumn change (2024-10-27 01:00 UTC): the same wall clock hour occurs twice.
  EXPECT_EQ(formatter.stringFromDate(Date(1729990800 - 1)), "2024-10-27 02:59:59");
  EXPECT_EQ(formatter.stringFromDate(Date(1729990800)), "2024-10-27 02:00:00");
}

TEST_F(SystemTimeZone, TheNameComesFromEveryFormOfTZ) {
  EXPECT_EQ(zoneFor("").name(), "UTC");
  EXPECT_EQ(zoneFor("").secondsFromGMTForDate(Date(kSummer2024)), 0);
  if (!haveZoneDatabase()) GTEST_SKIP() << "no zone database";
  for (const char* tz : {"America/New_York", ":America/New_York", "/usr/share/zoneinfo/America/New_York"}) {
    const TimeZone zone = zoneFor(tz);
    EXPECT_EQ(zone.name(), "America/New_York") << tz;
    EXPECT_EQ(zone.secondsFromGMTForDate(Date(kWinter2024)), -18000) << tz;
    EXPECT_EQ(zone.secondsFromGMTForDate(Date(kSummer2024)), -14400) << tz;
  }
}

TEST_F(SystemTimeZone, OffsetsFollowTheRulesLoadedLastEvenForASecondAskedBefore) {
  if (!haveZoneDatabase()) GTEST_SKIP() << "no zone database";
  EXPECT_EQ(zoneFor("Europe/Madrid").secondsFromGMTForDate(Date(kSummer2024)), 7200);
  EXPECT_EQ(zoneFor("UTC").secondsFromGMTForDate(Date(kSummer2024)), 0) << "an offset of the earlier rules was reused";
  EXPECT_EQ(zoneFor("Asia/Tokyo").secondsFromGMTForDate(Date(kSummer2024)), 9 * 3600);
}

TEST_F(SystemTimeZone, SecondsOnBothSidesOfADaylightSavingChangeKeepTheirOwnOffsets) {
  if (!haveZoneDatabase()) GTEST_SKIP() << "no zone database";
  const TimeZone madrid = zoneFor("Europe/Madrid");
  // In turn, more often than the offsets kept per thread: every answer must still be its own second's.
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kMadridSpringForward - 1)), 3600);
    EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kMadridSpringForward)), 7200);
    EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kMadridSpringForward - 0.5)), 3600);
  }
}

}  // namespace
}  // namespace tavo::platform
