#include "tavo/platform/Value.h"

#include <gtest/gtest.h>

#include <limits>

namespace tavo::platform {
namespace {

TEST(ValueConversions, IntegerValueFollowsThePlatformScannerAndSaturates) {
  EXPECT_EQ(Value("42").integerValue(), 42);
  EXPECT_EQ(Value("  -17abc").integerValue(), -17);
  EXPECT_EQ(Value("+8").integerValue(), 8);
  EXPECT_EQ(Value("abc").integerValue(), 0);
  EXPECT_EQ(Value("").integerValue(), 0);
  EXPECT_EQ(Value("12.9").integerValue(), 12);
  EXPECT_EQ(Value("99999999999999999999").integerValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Value("-99999999999999999999").integerValue(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Value(-12.9).integerValue(), -12);
  EXPECT_EQ(Value(1e300).integerValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Value(true).integerValue(), 1);
  EXPECT_EQ(Value().integerValue(), 0);
  EXPECT_EQ(Value(Array{1, 2}).integerValue(), 0);
}

TEST(ValueConversions, BoolAndStringValues) {
  for (const char* yes : {"YES", "yes", "true", "T", "1", "  7", "-0009", "+y"}) EXPECT_TRUE(Value(yes).boolValue()) << yes;
  for (const char* no : {"NO", "no", "false", "0", "", "  ", "000", "abc"}) EXPECT_FALSE(Value(no).boolValue()) << no;
  EXPECT_EQ(Value(15.0).stringValue(), "15");
  EXPECT_EQ(Value(0.1).stringValue(), "0.1");
  EXPECT_EQ(Value(false).stringValue(), "0");
  EXPECT_EQ(Value(18446744073709551615ULL).type(), Value::Type::Real);  // beyond 64-bit signed
}

TEST(ValueModel, CopiesAreIndependentAfterMutation) {
  Value original(Dictionary{{"k", 1}});
  Value copy = original;
  copy.mutableDictionary().set("k", 2);
  copy.mutableDictionary().set("new", "x");
  EXPECT_EQ(original, Value(Dictionary{{"k", 1}}));
  EXPECT_EQ(copy.get("k")->integerValue(), 2);
  Value list(Array{1});
  Value listCopy = list;
  listCopy.mutableArray().push_back(2);
  EXPECT_EQ(list.asArray()->size(), 1u);
  EXPECT_THROW(Value(1).mutableArray(), std::logic_error);
}

TEST(ValueModel, DictionaryKeepsInsertionOrderReplacesInPlaceAndHoldsTheNullObject) {
  Dictionary d{{"z", 1}, {"a", 2}, {"m", 3}, {"nil", Value::null()}};
  d.set("a", 4);
  EXPECT_EQ(d.allKeys(), (std::vector<std::string>{"z", "a", "m", "nil"}));
  EXPECT_EQ(d.find("a")->integerValue(), 4);
  EXPECT_TRUE(d.find("nil")->isNull());  // present, unlike a key never set
  EXPECT_EQ(d.find("b"), nullptr);
  EXPECT_TRUE(d.remove("z"));
  EXPECT_FALSE(d.remove("z"));
  d.addEntriesFromDictionary(Dictionary{{"m", 9}, {"q", 1}});
  EXPECT_EQ(d.allKeys(), (std::vector<std::string>{"a", "m", "nil", "q"}));
  EXPECT_EQ(d.find("m")->integerValue(), 9);
}

TEST(ValueModel, EqualityComparesNumbersByValueAndDictionariesWithoutOrder) {
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_NE(Value(1), Value("1"));
  EXPECT_NE(Value(true), Value(1));
  EXPECT_EQ(Value(Dictionary{{"a", 1}, {"b", 2}}), Value(Dictionary{{"b", 2}, {"a", 1}}));
  EXPECT_NE(Value(Array{1, 2}), Value(Array{2, 1}));
  EXPECT_EQ(Value(std::shared_ptr<Codable>()), Value::null());
}

TEST(ValueModel, ClassNamesAndTypedAccessRefuseOtherTypes) {
  EXPECT_EQ(Value(true).className(), "NSNumber");
  EXPECT_EQ(Value(Data{1}).className(), "NSData");
  EXPECT_EQ(Value().className(), "NSNull");
  EXPECT_EQ(Value(1).asString(), nullptr);
  EXPECT_EQ(Value("s").asDictionary(), nullptr);
  EXPECT_EQ(Value("s").get("k"), nullptr);
}

TEST(ValueModel, DescriptionReadsLikeThePlatformsLogOutput) {
  const Value v(Dictionary{{"apiUser", "user1"}, {"list", Array{1, "two words"}}, {"none", Value()}});
  EXPECT_EQ(v.description(),
            "{\n    apiUser = user1;\n    list = (\n        1,\n        \"two words\"\n    );\n    none = <null>;\n}");
  EXPECT_EQ(Value("plain").description(), "plain");
}

}  // namespace
}  // namespace tavo::platform
