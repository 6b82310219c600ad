#include "core/TAVOUtils.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/Exception.h"

namespace tavo {
namespace {

TEST(TAVOUtilsColor, ShortAndLongFormsWithAndWithoutAlpha) {
  const auto orange = TAVOUtils::hexaStrToColor("#fa0");
  EXPECT_DOUBLE_EQ(orange.red, 1.0);
  EXPECT_DOUBLE_EQ(orange.green, 0xAA / 255.0);
  EXPECT_DOUBLE_EQ(orange.blue, 0.0);
  EXPECT_DOUBLE_EQ(orange.alpha, 1.0);

  const auto halfRed = TAVOUtils::hexaStrToColor("80FF0000");
  EXPECT_DOUBLE_EQ(halfRed.alpha, 0x80 / 255.0);
  EXPECT_DOUBLE_EQ(halfRed.red, 1.0);
  EXPECT_DOUBLE_EQ(halfRed.green, 0.0);

  const auto argb = TAVOUtils::hexaStrToColor("#8f00");
  EXPECT_DOUBLE_EQ(argb.alpha, 0x88 / 255.0);
  EXPECT_DOUBLE_EQ(argb.red, 1.0);

  const auto hashes = TAVOUtils::hexaStrToColor("##00ff00#");
  EXPECT_DOUBLE_EQ(hashes.green, 1.0);
}

TEST(TAVOUtilsColor, OtherLengthsRaiseWithTheCleanedText) {
  try {
    TAVOUtils::hexaStrToColor("#abcde");
    FAIL() << "a five-digit colour must raise";
  } catch (const Exception& e) {
    EXPECT_EQ(e.name(), "Invalid color value");
    EXPECT_EQ(e.reason(), "Color value ABCDE is invalid.  It should be a hex value of the form #RBG, #ARGB, "
                          "#RRGGBB, or #AARRGGBB");
  }
  EXPECT_THROW(TAVOUtils::hexaStrToColor(""), Exception);
  EXPECT_THROW(TAVOUtils::hexaStrToColor("#"), Exception);
  EXPECT_THROW(TAVOUtils::hexaStrToColor("1234567"), Exception);
}

TEST(TAVOUtilsDates, FormatsAndParsesInTheRightZones) {
  testing::SdkTestEnvironment env;
  env.clock().setNow(platform::Date(1700000000.0));  // 2023-11-14 22:13:20 UTC
  EXPECT_EQ(TAVOUtils::newDateWithDefaultTimezone(), "2023-11-14 22:13:20");
  EXPECT_EQ(TAVOUtils::newDateWithTimezone(platform::TimeZone::withSecondsFromGMT(3600)), "2023-11-14 23:13:20");

  env.platform().timeZone = std::make_shared<platform::TimeZone>(platform::TimeZone::withSecondsFromGMT(-7200));
  EXPECT_EQ(TAVOUtils::newDateWithTimezone(std::nullopt), "2023-11-14 20:13:20");
  const auto parsed = TAVOUtils::dateFromStringDefaultFormat("2023-11-14 20:13:20");
  ASSERT_TRUE(parsed);
  EXPECT_DOUBLE_EQ(parsed->timeIntervalSince1970(), 1700000000.0);
  EXPECT_FALSE(TAVOUtils::dateFromStringDefaultFormat("14/11/2023"));
  EXPECT_DOUBLE_EQ(TAVOUtils::addHoursWithHours(72, platform::Date(0)).timeIntervalSince1970(), 72 * 3600.0);
  EXPECT_DOUBLE_EQ(TAVOUtils::addHoursWithHours(-1, platform::Date(0)).timeIntervalSince1970(), -3600.0);
}

TEST(TAVOUtilsAddresses, OnlyHttpAndHttpsAreWebAddresses) {
  EXPECT_TRUE(TAVOUtils::isWebAddress("https://shop.example/a"));
  EXPECT_TRUE(TAVOUtils::isWebAddress("http://shop.example"));
  EXPECT_FALSE(TAVOUtils::isWebAddress("myapp://open"));
  EXPECT_FALSE(TAVOUtils::isWebAddress("ftp://files.example"));
  EXPECT_FALSE(TAVOUtils::isWebAddress("no scheme"));
  EXPECT_TRUE(TAVOUtils::isNil(std::optional<int>()));
  EXPECT_FALSE(TAVOUtils::isNil(std::optional<int>(0)));
}

}  // namespace
}  // namespace tavo
