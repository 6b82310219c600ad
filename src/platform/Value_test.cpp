#include "tavo/platform/Value.h"

#include <gtest/gtest.h>

#include <limits>

namespace tavo::platform {
namespace {

TEST(ValueConversions, IntegerValueOfStringsFollowsThePlatformScanner) {
  EXPECT_EQ(Value("42").integerValue(), 42);
  EXPECT_EQ(Value("  -17abc").integerValue(), -17);
  EXPECT_EQ(Value("+8").integerValue(), 8);
  EXPECT_EQ(Value("abc").integerValue(), 0);
  EXPECT_EQ(Value("").integerValue(), 0);
  EXPECT_EQ(Value("12.9").integerValue(), 12);
  EXPECT_EQ(Value("99999999999999999999").integerValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Value("-99999999999999999999").integerValue(), std::numeric_limits<std::int64_t>::min());
}

TEST(ValueConversions, IntegerValueOfNumbersAndOthers) {
  EXPECT_EQ(Value(12.9).integerValue(), 12);
  EXPECT_EQ(Value(-12.9).integerValue(), -12);
  EXPECT_EQ(Value(1e300).integerValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Value(true).integerValue(), 1);
  EXPECT_EQ(Value().integerValue(), 0);
  EXPECT_EQ(Value(Array{1, 2}).integerValue(), 0);
}

TEST(ValueConversions, BoolValueOfStrings) {
  for (const char* yes : {"YES", "yes", "true", "T", "1", "  7", "-0009", "+y"}) EXPECT_TRUE(Value(yes).boolValue()) << yes;
  for (const char* no : {"NO", "no", "false", "0", "", "  ", "000", "abc"}) EXPECT_FALSE(Value(no).boolValue()) << no;
}

TEST(ValueConversions, StringValueOfNumbers) {
  EXPECT_EQ(Value(15.0).stringValue(), "15");
  EXPECT_EQ(Value(0.1).stringValue(), "0.1");
  EXPECT_EQ(Value(108).stringValue(), "108");
  EXPECT_EQ(Value(false).stringValue(), "0");
  EXPECT_EQ(Value(18446744073709551615ULL).type(), Value::Type::Real);  // beyond 64-bit signed
}

TEST(ValueModel, NullObjectIsNotAbsence) {
  Dictionary d{{"a", Value::null()}};
  ASSERT_NE(d.find("a"), nullptr);
  EXPECT_TRUE(d.find("a")->isNull());
  EXPECT_EQ(d.find("b"), nullptr);
  EXPECT_EQ(Value(std::shared_ptr<Codable>()).type(), Value::Type::Null);
}

TEST(ValueModel, CopiesAreIndependentAfterMutation) {
  Value original(Dictionary{{"k", 1}});
  Value copy = original;
  copy.mutableDictionary().set("k", 2);
  copy.mutableDictionary().set("new", "x");
  EXPECT_EQ(original.get("k")->integerValue(), 1);
  EXPECT_EQ(original.get("new"), nullptr);
  EXPECT_EQ(copy.get("k")->integerValue(), 2);

  Value list(Array{1});
  Value listCopy = list;
  listCopy.mutableArray().push_back(2);
  EXPECT_EQ(list.asArray()->size(), 1u);
  EXPECT_EQ(listCopy.asArray()->size(), 2u);
  EXPECT_THROW(Value(1).mutableArray(), std::logic_error);
}

TEST(ValueModel, DictionaryKeepsInsertionOrderAndReplacesInPlace) {
  Dictionary d;
  d.set("z", 1);
  d.set("a", 2);
  d.set("m", 3);
  d.set("a", 4);
  EXPECT_EQ(d.allKeys(), (std::vector<std::string>{"z", "a", "m"}));
  EXPECT_EQ(d.find("a")->integerValue(), 4);
  EXPECT_TRUE(d.remove("z"));
  EXPECT_FALSE(d.remove("z"));
  Dictionary other{{"m", 9}, {"q", 1}};
  d.addEntriesFromDictionary(other);
  EXPECT_EQ(d.allKeys(), (std::vector<std::string>{"a", "m", "q"}));
  EXPECT_EQ(d.find("m")->integerValue(), 9);
}

TEST(ValueModel, EqualityComparesNumbersByValueAndDictionariesWithoutOrder) {
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_NE(Value(1), Value("1"));
  EXPECT_NE(Value(true), Value(1));
  EXPECT_EQ(Value(Dictionary{{"a", 1}, {"b", 2}}), Value(Dictionary{{"b", 2}, {"a", 1}}));
  EXPECT_NE(Value(Array{1, 2}), Value(Array{2, 1}));
  EXPECT_EQ(Value(), Value::null());
}

TEST(ValueModel, ClassNamesAndTypedAccessRefuseOtherTypes) {
  EXPECT_EQ(Value(1).className(), "NSNumber");
  EXPECT_EQ(Value(true).className(), "NSNumber");
  EXPECT_EQ(Value("s").className(), "NSString");
  EXPECT_EQ(Value(Data{1}).className(), "NSData");
  EXPECT_EQ(Value(Date(0)).className(), "NSDate");
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
