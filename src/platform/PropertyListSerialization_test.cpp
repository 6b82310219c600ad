#include "platform/PropertyListSerialization.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>

#include "platform/Codable.h"
#include "platform/KeyedArchiver.h"

namespace tavo::platform {
namespace {

using Format = PropertyListSerialization::Format;

Data bytesOf(const std::string& s) { return Data(s.begin(), s.end()); }

// One of everything a property list can hold, nested, with the edge values that break naive code.
Value sampleList(bool fractionalDates) {
  const double when = fractionalDates ? 1700000000.25 : 1700000000.0;
  const double before2001 = fractionalDates ? 900000000.5 : 900000000.0;
  return Dictionary{
      {"zulu", true},
      {"alpha", false},
      {"min", std::numeric_limits<std::int64_t>::min()},
      {"max", std::numeric_limits<std::int64_t>::max()},
      {"minusOne", -1},
      {"real", 0.1},
      {"text", "héllo ✓ 😀 <&>"},
      {"empty", ""},
      {"data", Data{0, 1, 0, 255}},
      {"noData", Data{}},
      {"date", Date(when)},
      {"oldDate", Date(before2001)},
      {"list", Array{1, "two", Array{}, Dictionary{}, Array{Array{3.5}}}},
      {"nested", Dictionary{{"b", 2}, {"a", Dictionary{{"deep", Array{-7}}}}}},
  };
}

TEST(PropertyListSerialization, EveryTypeRoundTripsThroughBinaryWithKeyOrder) {
  const Value list = sampleList(true);
  const auto data = PropertyListSerialization::dataWithPropertyList(list);
  ASSERT_TRUE(data);
  EXPECT_EQ(std::string(data->begin(), data->begin() + 8), "bplist00");
  const auto back = PropertyListSerialization::propertyListWithData(*data);
  ASSERT_TRUE(back);
  EXPECT_EQ(*back, list);
  EXPECT_EQ(back->asDictionary()->allKeys(), list.asDictionary()->allKeys());
  EXPECT_EQ(back->get("minusOne")->type(), Value::Type::Integer);
  EXPECT_EQ(back->get("zulu")->type(), Value::Type::Boolean);
}

TEST(PropertyListSerialization, EveryTypeRoundTripsThroughXml) {
  const Value list = sampleList(false);  // XML dates carry whole seconds only
  const auto data = PropertyListSerialization::dataWithPropertyList(list, Format::XML);
  ASSERT_TRUE(data);
  EXPECT_NE(std::string(data->begin(), data->end()).find("<plist"), std::string::npos);
  const auto back = PropertyListSerialization::propertyListWithData(*data);
  ASSERT_TRUE(back);
  EXPECT_EQ(*back, list);
  EXPECT_EQ(back->asDictionary()->allKeys(), list.asDictionary()->allKeys());
}

struct Opaque : Codable {
  std::string className() const override { return "Opaque"; }
  void encodeWithCoder(KeyedArchiver&) const override {}
  void initWithCoder(KeyedUnarchiver&) override {}
};

TEST(PropertyListSerialization, ValuesWithoutPropertyListFormAreRefused) {
  const Value object(std::shared_ptr<Codable>(std::make_shared<Opaque>()));
  for (const Value& v : {Value(), Value(Array{1, Value()}), Value(Dictionary{{"a", Dictionary{{"b", object}}}}),
                         Value(std::string("a\0b", 3)), Value(Date(1e12)), Value(Dictionary{{std::string("k\0", 2), 1}})}) {
    EXPECT_FALSE(PropertyListSerialization::dataWithPropertyList(v)) << v.description();
    EXPECT_FALSE(PropertyListSerialization::dataWithPropertyList(v, Format::XML)) << v.description();
  }
}

TEST(PropertyListSerialization, GarbageAndTruncationAreNotPropertyLists) {
  for (const std::string& s : {std::string(), std::string("hello"), std::string("bplist00"),
                               std::string("bplist00") + std::string(40, '\xff'), std::string("<plist><array>"),
                               std::string("<array><string>unterminated")})
    EXPECT_FALSE(PropertyListSerialization::propertyListWithData(bytesOf(s))) << s;

  const Data full = *PropertyListSerialization::dataWithPropertyList(sampleList(true));
  for (std::size_t n = 0; n < full.size(); ++n)
    EXPECT_FALSE(PropertyListSerialization::propertyListWithData(Data(full.begin(), full.begin() + n))) << n;
}

TEST(PropertyListSerialization, ANulInsideABinaryKeyIsRefusedNotAborted) {
  Data data = *PropertyListSerialization::dataWithPropertyList(Dictionary{{"é", 1}});
  const Data key{0x61, 0x00, 0xE9};  // a one-unit UTF-16 string object
  const auto at = std::search(data.begin(), data.end(), key.begin(), key.end());
  ASSERT_NE(at, data.end());
  at[2] = 0;  // libplist asserts on such a key when handing it out
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(data));
}

TEST(PropertyListSerialization, KeyedArchivesAreNotPlainValues) {
  const Data archive = KeyedArchiver::archivedDataWithRootObject(Value("x"));
  EXPECT_TRUE(PropertyListSerialization::parseNodeTree(archive));
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(archive));
}

TEST(PropertyListSerialization, NestingDepthIsBoundedBothWays) {
  auto nested = [](int depth) {
    Value v = Array{};
    for (int i = 1; i < depth; ++i) v = Array{v};
    return v;
  };
  const auto shallow = PropertyListSerialization::dataWithPropertyList(nested(400));
  ASSERT_TRUE(shallow);
  EXPECT_EQ(PropertyListSerialization::propertyListWithData(*shallow), nested(400));
  EXPECT_FALSE(PropertyListSerialization::dataWithPropertyList(nested(600)));
}

// Binary lists written by hand, in shapes libplist's writer never makes: 4-byte offsets and references.
class BinaryList {
 public:
  std::uint32_t array(const std::vector<std::uint32_t>& members) {
    const std::uint32_t index = begin();
    if (members.size() < 15) {
      bytes_.push_back(static_cast<std::uint8_t>(0xA0 | members.size()));
    } else {
      bytes_.push_back(0xAF);
      bytes_.push_back(0x12);
      put(static_cast<std::uint32_t>(members.size()));
    }
    for (std::uint32_t m : members) put(m);
    return index;
  }
  std::uint32_t truth() {
    const std::uint32_t index = begin();
    bytes_.push_back(0x09);
    return index;
  }
  Data build(std::uint32_t root) const {
    Data out = bytes_;
    const std::uint32_t table = static_cast<std::uint32_t>(out.size());
    for (std::uint32_t offset : offsets_) append(out, offset, 4);
    out.insert(out.end(), 6, 0);
    out.push_back(4);
    out.push_back(4);
    append(out, offsets_.size(), 8);
    append(out, root, 8);
    append(out, table, 8);
    return out;
  }

 private:
  std::uint32_t begin() {
    offsets_.push_back(static_cast<std::uint32_t>(bytes_.size()));
    return static_cast<std::uint32_t>(offsets_.size() - 1);
  }
  void put(std::uint32_t v) { append(bytes_, v, 4); }
  static void append(Data& out, std::uint64_t v, int width) {
    for (int i = width - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  }
  Data bytes_ = bytesOf("bplist00");
  std::vector<std::uint32_t> offsets_;
};

TEST(PropertyListSerialization, HostileBinaryListsAreRefusedQuickly) {
  const auto start = std::chrono::steady_clock::now();

  BinaryList shared;  // each level holds the next one twice: 2^64 nodes once expanded
  for (std::uint32_t i = 0; i < 64; ++i) shared.array({i + 1, i + 1});
  shared.truth();
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(shared.build(0)));

  BinaryList deep;  // 100000 arrays, each inside the previous one
  for (std::uint32_t i = 0; i < 100000; ++i) deep.array({i + 1});
  deep.array({});
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(deep.build(0)));

  BinaryList cycle;
  cycle.array({1});
  cycle.array({0});
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(cycle.build(0)));

  BinaryList dangling;
  dangling.array({7});
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(dangling.build(0)));

  BinaryList fine;  // sharing a leaf many times is ordinary
  fine.truth();
  fine.array(std::vector<std::uint32_t>(20, 0));
  const auto value = PropertyListSerialization::propertyListWithData(fine.build(1));
  ASSERT_TRUE(value);
  EXPECT_EQ(value->asArray()->size(), 20u);

  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(PropertyListSerialization, HostileXmlListsAreRefused) {
  auto repeat = [](const std::string& s, int n) {
    std::string out;
    for (int i = 0; i < n; ++i) out += s;
    return out;
  };
  // Deep nesting, closed or not: libplist would free the half-built tree recursively.
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(bytesOf(repeat("<array>", 1000000))));
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(
      bytesOf(repeat("<array>", 100000) + repeat("</array>", 100000))));
  // libplist skips quoted text when looking for the end of a tag: this is an open array, not an empty one.
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(bytesOf(repeat("<array x=\"/>\">", 1000000))));
  // Closing tags hidden in comments and text do not close anything.
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(bytesOf(repeat("<array><!--</array>-->", 1000000))));

  const auto ok = PropertyListSerialization::propertyListWithData(bytesOf(
      "<?xml version=\"1.0\"?><!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"x\"><plist version=\"1.0\">"
      "<array><!-- note --><string>a<![CDATA[</array>]]></string><array/><dict></dict><true/></array></plist>"));
  ASSERT_TRUE(ok);
  EXPECT_EQ(*ok, Value(Array{"a</array>", Array{}, Dictionary{}, true}));
}

}  // namespace
}  // namespace tavo::platform
