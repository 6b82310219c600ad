#include "platform/TimeZone.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

namespace tavo::platform {
namespace {

constexpr double kSummer2024 = 1719835200.0;           // 2024-07-01 12:00:00 UTC
constexpr double kMadridSpringForward = 1711846800.0;  // 2024-03-31 01:00:00 UTC, clocks go from +1 to +2

// Runs with TZ set to zone, then puts the process's zone back as it was.
class ZoneRules : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists("/usr/share/zoneinfo/Europe/Madrid")) GTEST_SKIP() << "no zone rules installed";
    if (const char* tz = std::getenv("TZ")) saved_ = tz;
  }
  void TearDown() override {
    if (saved_) {
      setenv("TZ", saved_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    TimeZone::systemTimeZone();
  }
  static TimeZone systemZoneNamed(const char* name) {
    setenv("TZ", name, 1);
    return TimeZone::systemTimeZone();
  }

 private:
  std::optional<std::string> saved_;
};

TEST_F(ZoneRules, OffsetsFollowTheRulesLoadedLastEvenForASecondAskedBefore) {
  const TimeZone madrid = systemZoneNamed("Europe/Madrid");
  EXPECT_EQ(madrid.name(), "Europe/Madrid");
  EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kSummer2024)), 7200);
  EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kSummer2024)), 7200);

  const TimeZone utc = systemZoneNamed("UTC");
  EXPECT_EQ(utc.secondsFromGMTForDate(Date(kSummer2024)), 0) << "an offset of the earlier rules was reused";
  const TimeZone tokyo = systemZoneNamed("Asia/Tokyo");
  EXPECT_EQ(tokyo.secondsFromGMTForDate(Date(kSummer2024)), 9 * 3600);
}

TEST_F(ZoneRules, SecondsOnBothSidesOfADaylightSavingChangeKeepTheirOwnOffsets) {
  const TimeZone madrid = systemZoneNamed("Europe/Madrid");
  // In turn, more often than the offsets kept per thread: every answer must still be its own second's.
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kMadridSpringForward - 1)), 3600);
    EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kMadridSpringForward)), 7200);
    EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kMadridSpringForward - 0.5)), 3600);
    EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kSummer2024)), 7200);
    EXPECT_EQ(madrid.secondsFromGMTForDate(Date(kSummer2024 - 183 * 86400.0)), 3600);
  }
}

}  // namespace
}  // namespace tavo::platform
