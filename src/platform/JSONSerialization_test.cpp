#include "platform/JSONSerialization.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tavo::platform {
namespace {

TEST(JSONRead, AcceptsFragmentsAndKeepsNumberKinds) {
  EXPECT_EQ(*JSONSerialization::JSONObjectWithData("\"ok\""), Value("ok"));
  EXPECT_EQ(JSONSerialization::JSONObjectWithData("true")->type(), Value::Type::Boolean);
  EXPECT_EQ(JSONSerialization::JSONObjectWithData("18446744073709551615")->type(), Value::Type::Real);
  EXPECT_EQ(JSONSerialization::JSONObjectWithData("-9223372036854775808")->integerValue(),
            std::numeric_limits<std::int64_t>::min());
}

TEST(JSONRead, KeepsObjectOrderAndLastOfARepeatedKey) {
  const auto v = JSONSerialization::JSONObjectWithData(R"({"b":1,"a":{"x":[1,2,{"y":null}]},"b":3})");
  ASSERT_TRUE(v && v->isDictionary());
  EXPECT_EQ(v->asDictionary()->allKeys(), (std::vector<std::string>{"b", "a"}));
  EXPECT_EQ(v->get("b")->integerValue(), 3);
  EXPECT_TRUE(v->get("a")->get("x")->asArray()->at(2).get("y")->isNull());
}

TEST(JSONRead, RefusesWhatIsNotJSON) {
  for (const char* bad : {"", "[1,]", "{'a':1}", "1 2", "\"\xff\""})
    EXPECT_FALSE(JSONSerialization::JSONObjectWithData(bad).has_value()) << bad;
  // A NUL byte must not end the text early: what comes after it is part of the answer too.
  using namespace std::string_view_literals;
  EXPECT_FALSE(JSONSerialization::JSONObjectWithData("{\"status\":200}\0junk"sv).has_value());
}

TEST(JSONRead, RefusesNestingDeepEnoughToHurtAReader) {
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  EXPECT_FALSE(JSONSerialization::JSONObjectWithData(deep).has_value());
  const std::string fine = std::string(100, '[') + std::string(100, ']');
  EXPECT_TRUE(JSONSerialization::JSONObjectWithData(fine).has_value());
}

TEST(JSONWrite, PrettyPrintsAsThePlatformDoes) {
  Dictionary op{{"action", "none"}, {"id", "A-1"}, {"params", Dictionary{{"url", "http://x/y"}, {"n", 1.5}}}};
  Dictionary body{{"operations", Array{op}}, {"empty", Array{}}, {"flag", true}};
  EXPECT_EQ(*JSONSerialization::dataWithJSONObjectPretty(Value(body)),
            "{\n"
            "  \"operations\" : [\n"
            "    {\n"
            "      \"action\" : \"none\",\n"
            "      \"id\" : \"A-1\",\n"
            "      \"params\" : {\n"
            "        \"url\" : \"http:\\/\\/x\\/y\",\n"
            "        \"n\" : 1.5\n"
            "      }\n"
            "    }\n"
            "  ],\n"
            "  \"empty\" : [],\n"
            "  \"flag\" : true\n"
            "}");
  EXPECT_EQ(*JSONSerialization::dataWithJSONObject(Value(Dictionary{{"a", Array{1, "b"}}})), R"({"a":[1,"b"]})");
}

TEST(JSONWrite, EscapesControlCharactersRepairsInvalidUTF8AndReadsBackTheSame) {
  EXPECT_EQ(*JSONSerialization::dataWithJSONObject(Value("a\"b\\c\n\x01")), "\"a\\\"b\\\\c\\n\\u0001\"");
  const auto repaired = JSONSerialization::dataWithJSONObject(Value(std::string("ok\xff\xc3")));
  ASSERT_TRUE(repaired);
  EXPECT_EQ(*repaired, "\"ok\xEF\xBF\xBD\xEF\xBF\xBD\"");
  // What the writer writes, the reader reads back the same.
  const Value v(Dictionary{{"s", "x/y \xe2\x82\xac"}, {"i", -5}, {"r", 0.25}, {"a", Array{Value(), false}}});
  EXPECT_EQ(JSONSerialization::JSONObjectWithData(JSONSerialization::dataWithJSONObjectPretty(v).value_or("")), v);
  EXPECT_EQ(JSONSerialization::JSONObjectWithData(*repaired), Value("ok\xEF\xBF\xBD\xEF\xBF\xBD"));
}

TEST(JSONWrite, RefusesWhatJSONCannotCarry) {
  EXPECT_FALSE(JSONSerialization::dataWithJSONObject(Value(Dictionary{{"d", Date(1)}})));
  EXPECT_FALSE(JSONSerialization::dataWithJSONObject(Value(std::numeric_limits<double>::infinity())));
  EXPECT_FALSE(JSONSerialization::isValidJSONObject(Value(std::nan(""))));
  EXPECT_TRUE(JSONSerialization::isValidJSONObject(Value(Dictionary{{"n", Value()}})));
}

}  // namespace
}  // namespace tavo::platform
