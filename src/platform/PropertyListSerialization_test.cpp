#include "platform/PropertyListSerialization.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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
      {"min", std::numeric_limits<std::int64_t>::min()},
      {"max", std::numeric_limits<std::int64_t>::max()},
      {"minusOne", -1},
      {"real", 0.1},
      {"text", "héllo ✓ 😀 <&>"},
      {"data", Data{0, 1, 0, 255}},
      {"date", Date(when)},
      {"oldDate", Date(before2001)},
      {"list", Array{1, "two", Array{}, Dictionary{}, Array{Array{3.5}}}},
      {"nested", Dictionary{{"b", 2}, {"a", Dictionary{{"deep", Array{-7}}}}}},
  };
}

TEST(PropertyListSerialization, EveryTypeRoundTripsThroughBothFormatsWithKeyOrder) {
  for (const Format format : {Format::Binary, Format::XML}) {
    const Value list = sampleList(format == Format::Binary);  // XML dates carry whole seconds only
    const auto data = PropertyListSerialization::dataWithPropertyList(list, format);
    ASSERT_TRUE(data);
    const std::string text(data->begin(), data->end());
    EXPECT_TRUE(format == Format::Binary ? text.starts_with("bplist00") : text.find("<plist") != std::string::npos);
    const auto back = PropertyListSerialization::propertyListWithData(*data);
    ASSERT_TRUE(back);
    EXPECT_EQ(*back, list);
    EXPECT_EQ(back->asDictionary()->allKeys(), list.asDictionary()->allKeys());
    EXPECT_EQ(back->get("zulu")->type(), Value::Type::Boolean);
  }
}

struct Opaque : Codable {
  std::string className() const override { return "Opaque"; }
  void encodeWithCoder(KeyedArchiver&) const override {}
  void initWithCoder(KeyedUnarchiver&) override {}
};

TEST(PropertyListSerialization, ValuesWithoutPropertyListFormAreRefused) {
  const Value object(std::shared_ptr<Codable>(std::make_shared<Opaque>()));
  for (const Value& v : {Value(), Value(Dictionary{{"a", Dictionary{{"b", object}}}}), Value(std::string("a\0b", 3)),
                         Value(Date(1e12)), Value(Dictionary{{std::string("k\0", 2), 1}})}) {
    EXPECT_FALSE(PropertyListSerialization::dataWithPropertyList(v)) << v.description();
    EXPECT_FALSE(PropertyListSerialization::dataWithPropertyList(v, Format::XML)) << v.description();
  }
}

// Found by fuzzing the push-seen file: a list read with a byte that is not UTF-8 in one id was written back so
// that it no longer read at all, and every id seen was lost with it.
TEST(PropertyListSerialization, TextThatIsNotUtf8IsWrittenWithReplacementCharacters) {
  const Value ids(Array{"push-1",
                        "push-\xBB"
                        "2",
                        Dictionary{{"k\xFF", "v"}}});
  const Value repaired(Array{"push-1",
                             "push-\xEF\xBF\xBD"
                             "2",
                             Dictionary{{"k\xEF\xBF\xBD", "v"}}});
  for (const Format format : {Format::Binary, Format::XML}) {
    const auto data = PropertyListSerialization::dataWithPropertyList(ids, format);
    ASSERT_TRUE(data);
    EXPECT_EQ(PropertyListSerialization::propertyListWithData(*data), repaired);
  }
}

// Found by fuzzing the push-seen file: a binary date past what libplist holds (32-bit seconds) came out of its
// overflowing conversion as a date the writer refuses, so the list, read with it, could not be saved again.
TEST(PropertyListSerialization, ABinaryDateOutsideTheRangeLibplistHoldsIsUnreadable) {
  const auto withDate = [](double sinceReference) {
    Data data = *PropertyListSerialization::dataWithPropertyList(Array{Date(Date::kReferenceDateOffset)});
    const auto marker = std::find(data.begin() + 8, data.end(), 0x33);  // a date: a big-endian double follows
    std::uint64_t bits;
    std::memcpy(&bits, &sinceReference, sizeof bits);
    for (int i = 0; i < 8; ++i) marker[1 + i] = static_cast<std::uint8_t>(bits >> (56 - 8 * i));
    return data;
  };
  const auto inRange = PropertyListSerialization::propertyListWithData(withDate(-2147483000.0));
  ASSERT_TRUE(inRange);
  EXPECT_TRUE(PropertyListSerialization::dataWithPropertyList(*inRange));
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(withDate(-2149631000.0)));
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(withDate(3e9)));
}

TEST(PropertyListSerialization, GarbageTruncationAndArchivesAreNotPlainPropertyLists) {
  for (const std::string& s : {std::string("hello"), std::string("bplist00") + std::string(40, '\xff'),
                               std::string("<array><string>unterminated")})
    EXPECT_FALSE(PropertyListSerialization::propertyListWithData(bytesOf(s))) << s;

  const Data archive = KeyedArchiver::archivedDataWithRootObject(Value("x"));  // a plist, but no plain value
  EXPECT_TRUE(PropertyListSerialization::parseNodeTree(archive));
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(archive));

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

// A binary list written by hand, in a shape libplist's writer never makes (4-byte offsets and references).
// Each object is an array of object indexes, or true where there is none; the root is object 0.
Data binaryList(const std::vector<std::optional<std::vector<std::uint32_t>>>& objects) {
  const auto append = [](Data& out, std::uint64_t v, int width) {
    for (int i = width - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  };
  Data out = bytesOf("bplist00");
  std::vector<std::uint32_t> offsets;
  for (const auto& members : objects) {
    offsets.push_back(static_cast<std::uint32_t>(out.size()));
    if (!members) {
      out.push_back(0x09);
    } else if (members->size() < 15) {
      out.push_back(static_cast<std::uint8_t>(0xA0 | members->size()));
    } else {
      out.insert(out.end(), {0xAF, 0x12});
      append(out, members->size(), 4);
    }
    for (std::uint32_t m : members.value_or(std::vector<std::uint32_t>{})) append(out, m, 4);
  }
  const std::size_t table = out.size();
  for (std::uint32_t offset : offsets) append(out, offset, 4);
  out.insert(out.end(), {0, 0, 0, 0, 0, 0, 4, 4});
  append(out, offsets.size(), 8);
  append(out, 0, 8);
  append(out, table, 8);
  return out;
}

TEST(PropertyListSerialization, HostileBinaryListsAreRefusedQuickly) {
  using Objects = std::vector<std::optional<std::vector<std::uint32_t>>>;
  const auto start = std::chrono::steady_clock::now();
  Objects shared;  // each level holds the next one twice: 2^64 nodes once expanded
  for (std::uint32_t i = 0; i < 64; ++i) shared.push_back(std::vector<std::uint32_t>{i + 1, i + 1});
  shared.push_back(std::nullopt);
  Objects deep;  // 100000 arrays, each inside the previous one
  for (std::uint32_t i = 0; i < 100000; ++i) deep.push_back(std::vector<std::uint32_t>{i + 1});
  deep.push_back(std::vector<std::uint32_t>{});
  const Objects cycle = {std::vector<std::uint32_t>{1}, std::vector<std::uint32_t>{0}};
  const Objects dangling = {std::vector<std::uint32_t>{7}};
  for (const auto& [what, objects] : std::vector<std::pair<const char*, const Objects*>>{
           {"shared", &shared}, {"deep", &deep}, {"cycle", &cycle}, {"dangling", &dangling}})
    EXPECT_FALSE(PropertyListSerialization::propertyListWithData(binaryList(*objects))) << what;

  // Sharing a leaf many times is ordinary.
  const auto fine =
      PropertyListSerialization::propertyListWithData(binaryList({std::vector<std::uint32_t>(20, 1), std::nullopt}));
  ASSERT_TRUE(fine);
  EXPECT_EQ(*fine, Value(Array(20, true)));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

// Found by hand: libplist copies a shared string at every reference, so 1 MB of text referenced 1500 times
// from a 1 MB file is 1.5 GB once parsed. Its bytes count against the budget.
TEST(PropertyListSerialization, TextSharedFromManyPlacesCountsItsBytes) {
  const auto list = [](std::uint16_t references, std::uint32_t length) {
    Data out = bytesOf("bplist00");
    const auto append = [&](std::uint64_t v, int width) {
      for (int i = width - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
    };
    out.insert(out.end(), {0xAF, 0x11});  // an array of 2-byte references, all to object 1
    append(references, 2);
    for (int i = 0; i < references; ++i) append(1, 2);
    const std::size_t text = out.size();
    out.insert(out.end(), {0x5F, 0x12});  // an ASCII string of length bytes
    append(length, 4);
    out.insert(out.end(), length, 's');
    const std::size_t table = out.size();
    append(8, 4);
    append(text, 4);
    out.insert(out.end(), {0, 0, 0, 0, 0, 0, 4, 2});
    append(2, 8);
    append(0, 8);
    append(table, 8);
    return out;
  };
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(list(1500, 1 << 20)));
  const auto once = PropertyListSerialization::propertyListWithData(list(3, 1 << 20));
  ASSERT_TRUE(once);
  EXPECT_EQ(once->asArray()->size(), 3u);
}

TEST(PropertyListSerialization, HostileXmlListsAreRefused) {
  auto repeat = [](const std::string& s, int n) {
    std::string out;
    for (int i = 0; i < n; ++i) out += s;
    return out;
  };
  // Deep nesting, closed or not: libplist would free the half-built tree recursively.
  EXPECT_FALSE(PropertyListSerialization::propertyListWithData(bytesOf(repeat("<array>", 1000000))));
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
