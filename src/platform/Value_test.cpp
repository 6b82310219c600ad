#include "tavo/platform/Value.h"

#include <gtest/gtest.h>

#include <limits>

namespace tavo::platform {
namespace {

TEST(ValueConversions, IntegerValueFollowsThePlatformScannerAndSaturates) {
  EXPECT_EQ(Value("  -17abc").integerValue(), -17);
  EXPECT_EQ(Value("abc").integerValue(), 0);
  EXPECT_EQ(Value("99999999999999999999").integerValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Value("-99999999999999999999").integerValue(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Value(-12.9).integerValue(), -12);
  EXPECT_EQ(Value(1e300).integerValue(), std::numeric_limits<std::int64_t>::max());
}

TEST(ValueConversions, BoolAndStringValues) {
  for (const char* yes : {"YES", "true", "  7", "-0009", "+y"}) EXPECT_TRUE(Value(yes).boolValue()) << yes;
  for (const char* no : {"NO", "", "000", "abc"}) EXPECT_FALSE(Value(no).boolValue()) << no;
  EXPECT_EQ(Value(15.0).stringValue(), "15");
  EXPECT_EQ(Value(18446744073709551615ULL).type(), Value::Type::Real);  // beyond 64-bit signed
}

TEST(ValueModel, CopiesAreIndependentAfterMutation) {
  Value original(Dictionary{{"k", 1}});
  Value copy = original;
  copy.mutableDictionary().set("k", 2);
  copy.mutableDictionary().set("new", "x");
  EXPECT_EQ(original, Value(Dictionary{{"k", 1}}));
  EXPECT_EQ(copy.get("k")->integerValue(), 2);
  EXPECT_THROW(Value(1).mutableArray(), std::logic_error);
}

TEST(ValueModel, DictionaryKeepsInsertionOrderReplacesInPlaceAndHoldsTheNullObject) {
  Dictionary d{{"z", 1}, {"a", 2}, {"m", 3}, {"nil", Value::null()}};
  d.set("a", 4);
  EXPECT_EQ(d.allKeys(), (std::vector<std::string>{"z", "a", "m", "nil"}));
  EXPECT_TRUE(d.find("nil")->isNull());  // present, unlike a key never set
  EXPECT_EQ(d.find("b"), nullptr);
  EXPECT_TRUE(d.remove("z"));
  d.addEntriesFromDictionary(Dictionary{{"m", 9}, {"q", 1}});
  EXPECT_EQ(d.allKeys(), (std::vector<std::string>{"a", "m", "nil", "q"}));
}

TEST(ValueModel, EqualityComparesNumbersByValueAndDictionariesWithoutOrder) {
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_NE(Value(1), Value("1"));
  EXPECT_NE(Value(true), Value(1));
  EXPECT_EQ(Value(Dictionary{{"a", 1}, {"b", 2}}), Value(Dictionary{{"b", 2}, {"a", 1}}));
  EXPECT_EQ(Value(std::shared_ptr<Codable>()), Value::null());
}

TEST(ValueModel, DescriptionReadsLikeThePlatformsLogOutput) {
  const Value v(Dictionary{{"apiUser", "user1"}, {"list", Array{1, "two words"}}, {"none", Value()}});
  EXPECT_EQ(v.description(),
            "{\n    apiUser = user1;\n    list = (\n        1,\n        \"two words\"\n    );\n    none = <null>;\n}");
  EXPECT_EQ(Value("plain").description(), "plain");
}

}  // namespace
}  // namespace tavo::platform
