#include "core/TAVOUtils.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SdkTestEnvironment.h"
#include "core/Exception.h"
#include "platform/DateFormatter.h"

namespace tavo {
namespace {

using platform::Date;
using platform::TimeZone;

constexpr double kNoon = 1700000000.0;  // 2023-11-14 22:13:20 UTC

TEST(TAVOUtilsColor, ShortAndLongFormsWithAndWithoutAlpha) {
  struct Case {
    const char* text;
    double alpha, red, green, blue;
  };
  for (const Case& c : {Case{"#8f00", 0x88 / 255.0, 1.0, 0.0, 0.0}, Case{"##00ff00#", 1.0, 0.0, 1.0, 0.0}}) {
    const auto color = TAVOUtils::hexaStrToColor(c.text);
    EXPECT_DOUBLE_EQ(color.alpha, c.alpha) << c.text;
    EXPECT_DOUBLE_EQ(color.red, c.red) << c.text;
    EXPECT_DOUBLE_EQ(color.green, c.green) << c.text;
    EXPECT_DOUBLE_EQ(color.blue, c.blue) << c.text;
  }
}

TEST(TAVOUtilsColor, OtherLengthsRaiseWithTheCleanedText) {
  try {
    TAVOUtils::hexaStrToColor("#abcde");
    FAIL() << "a five-digit colour must raise";
  } catch (const Exception& e) {
    EXPECT_EQ(e.name(), "Invalid color value");
    EXPECT_EQ(e.reason(),
              "Color value ABCDE is invalid.  It should be a hex value of the form #RBG, #ARGB, "
              "#RRGGBB, or #AARRGGBB");
  }
  EXPECT_THROW(TAVOUtils::hexaStrToColor("1234567"), Exception);
}

// Dates are formatted and parsed for every payload and every open campaign, so TAVOUtils keeps what it made
// last; what it keeps must never stand in for a different answer.
TEST(TAVOUtilsRepeatedDates, EverySecondIsWrittenAsItselfNearItsEdgesAndWhenTheClockGoesBack) {
  testing::SdkTestEnvironment env;
  const std::vector<std::pair<double, const char*>> moments = {
      {kNoon + 0.5, "2023-11-14 22:13:20"},
      {kNoon + 0.9995, "2023-11-14 22:13:20"},
      // A hair under the next second: the formatter's rounding to the millisecond makes it the next one.
      {kNoon + 0.5, "2023-11-14 22:13:20"},
      {kNoon + 1.0 - 1e-6, "2023-11-14 22:13:21"},
      {kNoon + 1.0, "2023-11-14 22:13:21"},
      {kNoon + 1.0009, "2023-11-14 22:13:21"},
      {kNoon + 0.25, "2023-11-14 22:13:20"},
      {kNoon + 0.001, "2023-11-14 22:13:20"},
      {kNoon - 0.0005, "2023-11-14 22:13:19"},
      {kNoon + 86400.5, "2023-11-15 22:13:20"},
  };
  for (const auto& [seconds, text] : moments) {
    env.clock().setNow(Date(seconds));
    EXPECT_EQ(TAVOUtils::newDateWithDefaultTimezone(), text) << "at " << std::to_string(seconds);
  }
  // A pattern with milliseconds is written afresh for every date.
  EXPECT_EQ(TAVOUtils::dateToString(Date(kNoon + 0.25), "HH:mm:ss.SSS", TimeZone::utc()), "22:13:20.250");
  EXPECT_EQ(TAVOUtils::dateToString(Date(kNoon + 0.75), "HH:mm:ss.SSS", TimeZone::utc()), "22:13:20.750");
}

TEST(TAVOUtilsRepeatedDates, TheDevicesZoneIsReadAgainForEveryDate) {
  testing::SdkTestEnvironment env;
  env.clock().setNow(Date(kNoon + 0.5));
  env.platform().timeZone = std::make_shared<TimeZone>(TimeZone::withSecondsFromGMT(3600));
  EXPECT_EQ(TAVOUtils::newDateWithTimezone(std::nullopt), "2023-11-14 23:13:20");
  const auto east = TAVOUtils::dateFromStringDefaultFormat("2023-11-14 23:13:20");

  // The user moves zone within the same second.
  env.platform().timeZone = std::make_shared<TimeZone>(TimeZone::withSecondsFromGMT(-7200));
  EXPECT_EQ(TAVOUtils::newDateWithTimezone(std::nullopt), "2023-11-14 20:13:20");
  const auto west = TAVOUtils::dateFromStringDefaultFormat("2023-11-14 23:13:20");
  ASSERT_TRUE(east && west);
  EXPECT_DOUBLE_EQ(east->timeIntervalSince1970(), kNoon);
  EXPECT_DOUBLE_EQ(west->timeIntervalSince1970(), kNoon + 3 * 3600.0);
}

TEST(TAVOUtilsRepeatedDates, ManyPatternsAndTextsInTurnAnswerAsAFreshFormatterWould) {
  testing::SdkTestEnvironment env;
  env.platform().timeZone = std::make_shared<TimeZone>(TimeZone::withSecondsFromGMT(19800));
  const std::vector<std::string> patterns = {"yyyy-MM-dd HH:mm:ss",       "dd/MM/yyyy", "HH:mm",   "yyyyMMdd",
                                             "yyyy-MM-dd'T'HH:mm:ss.SSS", "ss",         "MM-dd HH"};
  for (int round = 0; round < 2; ++round) {
    for (const auto& pattern : patterns) {
      const platform::DateFormatter fresh(pattern, *env.platform().timeZone);
      for (int day = 0; day < 12; ++day) {
        const Date date(kNoon + day * 86400.0 + day * 61.25);
        const std::string text = fresh.stringFromDate(date);
        EXPECT_EQ(TAVOUtils::dateToStringLocalTime(date, pattern), text) << pattern;
        EXPECT_EQ(TAVOUtils::dateFromString(text, pattern), fresh.dateFromString(text)) << pattern << " " << text;
      }
      EXPECT_FALSE(TAVOUtils::dateFromString("not a date", pattern));
    }
  }
}

}  // namespace
}  // namespace tavo
