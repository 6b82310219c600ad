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

// Copies of a larger dictionary that are then added to share its entries; every change must still stay in the
// copy that made it, in the order a flat dictionary would have.
TEST(ValueModel, CopiesThatGrowKeepOrderAndLeaveTheOriginalAlone) {
  Dictionary common;
  for (int i = 0; i < 10; ++i) common.set("k" + std::to_string(i), i);
  const Dictionary before = common;
  Dictionary a = common;
  a.set("own", "a");
  EXPECT_EQ(a.allKeys().front(), "k0");
  EXPECT_EQ(a.allKeys().back(), "own");
  Dictionary d = a;
  d.set("own", "d");
  d.set("d", 1);
  EXPECT_EQ(*a.find("own"), Value("a"));
  EXPECT_EQ(d.size(), 12u);
  Dictionary b = a;
  b.set("k3", "changed");  // a key of the shared entries
  b.set("more", 1);
  EXPECT_TRUE(a.remove("k0"));
  a.set("own", "a2");
  common.set("k9", "original changed");

  EXPECT_EQ(before.size(), 10u);
  EXPECT_EQ(before.find("k9")->integerValue(), 9);
  EXPECT_EQ(a.allKeys(), (std::vector<std::string>{"k1", "k2", "k3", "k4", "k5", "k6", "k7", "k8", "k9", "own"}));
  EXPECT_EQ(*a.find("own"), Value("a2"));
  EXPECT_EQ(a.find("k9")->integerValue(), 9);
  EXPECT_EQ(b.size(), 12u);
  EXPECT_EQ(*b.find("k3"), Value("changed"));
  EXPECT_EQ(*b.find("own"), Value("a"));
  EXPECT_EQ(b.allKeys().back(), "more");
  EXPECT_EQ(b.allKeys()[3], "k3");
  Dictionary c = b;
  *c.find("k1") = Value("through find");
  EXPECT_EQ(b.find("k1")->integerValue(), 1);
  EXPECT_NE(c, b);
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
