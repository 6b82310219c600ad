#include "core/StringFormat.h"

#include <gtest/gtest.h>

namespace tavo {
namespace {

TEST(StringFormat, ObjectPlaceholdersAndCNumbers) {
  EXPECT_EQ(StringFormat::format("TAVO_%ld_%@", 42, "banner"), "TAVO_42_banner");
  EXPECT_EQ(StringFormat::format("%.02f", 10.5), "10.50");
  EXPECT_EQ(StringFormat::format("%02x%02x", 0, 255), "00ff");
  EXPECT_EQ(StringFormat::format("100%% %d", -3), "100% -3");
}

TEST(StringFormat, AbsentAndMissingArgumentsPrintNull) {
  EXPECT_EQ(StringFormat::format("V-%@", std::optional<std::string>()), "V-(null)");
  EXPECT_EQ(StringFormat::format("%@ and %@", "one"), "one and (null)");
  EXPECT_EQ(StringFormat::format("%@", static_cast<const char*>(nullptr)), "(null)");
}

TEST(StringFormat, ValuesPrintTheirDescriptionAndOddPatternsSurvive) {
  EXPECT_EQ(StringFormat::format("%@", platform::Value(platform::Array{1, 2})), "(\n    1,\n    2\n)");
  EXPECT_EQ(StringFormat::format("%d", "12abc"), "12");
  EXPECT_EQ(StringFormat::format("trailing %"), "trailing %");
  EXPECT_EQ(StringFormat::format("%k", 1), "%k");
}

}  // namespace
}  // namespace tavo
