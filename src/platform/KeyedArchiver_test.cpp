#include "platform/KeyedArchiver.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "platform/ClassRegistry.h"
#include "platform/Codable.h"
#include "platform/Exception.h"
#include "platform/JSONSerialization.h"
#include "platform/KeyedUnarchiver.h"
#include "platform/PropertyListSerialization.h"

namespace tavo::platform {
namespace {

// A campaign-like model: scalars, a collection, a nested object of its own class and a '$' key.
class TestCard : public Codable {
 public:
  std::optional<Value> title;
  std::optional<Value> tags;
  std::shared_ptr<TestCard> next;
  std::optional<Value> dollar;
  std::optional<Value> missing;
  bool hadNoSuchKey = true;

  std::string className() const override { return "TAVOTestCard"; }
  std::vector<std::string> classHierarchy() const override { return {"TAVOTestCard", "TAVOTestBase", "NSObject"}; }
  void encodeWithCoder(KeyedArchiver& coder) const override {
    if (title) coder.encodeObject(*title, "title");
    if (tags) coder.encodeObject(*tags, "tags");
    if (next) coder.encodeObject(Value(std::shared_ptr<Codable>(next)), "next");
    if (dollar) coder.encodeObject(*dollar, "$class");
  }
  void initWithCoder(KeyedUnarchiver& coder) override {
    title = coder.decodeObjectOfClass("NSString", "title");
    tags = coder.decodeObjectOfClass("NSArray", "tags");
    const auto n = coder.decodeObjectOfClass("TAVOTestCard", "next");
    next = n ? n->objectAs<TestCard>() : nullptr;
    dollar = coder.decodeObjectForKey("$class");
    missing = coder.decodeObjectForKey("neverWritten");
    hadNoSuchKey = !coder.containsValueForKey("neverWritten") && coder.containsValueForKey("title");
  }
};
const ClassRegistration<TestCard> registerTestCard("TAVOTestCard");

class UnregisteredThing : public Codable {
 public:
  std::string className() const override { return "TAVOUnregisteredThing"; }
  void encodeWithCoder(KeyedArchiver& coder) const override { coder.encodeObject(1, "one"); }
  void initWithCoder(KeyedUnarchiver&) override {}
};

Value object(std::shared_ptr<Codable> o) { return Value(std::move(o)); }

std::optional<Value> roundTrip(const std::optional<Value>& v) {
  return KeyedUnarchiver::unarchiveObjectWithData(KeyedArchiver::archivedDataWithRootObject(v));
}

// Whether reading data raised the invalid-archive exception (and nothing else).
bool rejects(const Data& data) {
  try {
    KeyedUnarchiver::unarchiveObjectWithData(data);
  } catch (const Exception& e) {
    return e.name() == kInvalidUnarchiveOperationException;
  }
  return false;
}

Data bytesOf(const std::string& s) { return Data(s.begin(), s.end()); }

// Archives as the platform writes them in XML: references are {"CF$UID": n} dictionaries.
std::string uid(int n) { return "<dict><key>CF$UID</key><integer>" + std::to_string(n) + "</integer></dict>"; }
std::string xmlArchive(const std::string& objects, int root = 1, const std::string& archiver = "NSKeyedArchiver") {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\"><dict><key>$archiver</key><string>" +
         archiver +
         "</string>"
         "<key>$objects</key><array><string>$null</string>" +
         objects +
         "</array>"
         "<key>$top</key><dict><key>root</key>" +
         uid(root) +
         "</dict>"
         "<key>$version</key><integer>100000</integer></dict></plist>";
}
std::string classDescriptor(const std::string& name) {
  return "<dict><key>$classes</key><array><string>" + name +
         "</string><string>NSObject</string></array>"
         "<key>$classname</key><string>" +
         name + "</string></dict>";
}
// An NSArray at index first holding the given references, its class at index classAt.
std::string arrayObject(const std::vector<int>& members, int classAt) {
  std::string refs;
  for (int m : members) refs += uid(m);
  return "<dict><key>NS.objects</key><array>" + refs + "</array><key>$class</key>" + uid(classAt) + "</dict>";
}

TEST(KeyedArchiver, EveryValueTypeRoundTrips) {
  const Value everything = Dictionary{
      {"zulu", true},
      {"int", std::numeric_limits<std::int64_t>::min()},
      {"big", std::numeric_limits<std::int64_t>::max()},
      {"text", "naïve ☕ 😀"},
      {"same", "naïve ☕ 😀"},
      {"date", Date(1700000000.123456)},
      {"oldDate", Date(-1234.75)},
      {"null", Value()},
      {"list", Array{Array{}, Dictionary{}, Array{1, Array{"x"}}, Value()}},
      {"$dollar", Dictionary{{"b", 1}, {"a", 2}}},
  };
  const auto back = roundTrip(everything);
  ASSERT_TRUE(back);
  EXPECT_EQ(*back, everything);
  EXPECT_EQ(back->get("$dollar")->asDictionary()->allKeys(), (std::vector<std::string>{"b", "a"}));
  // Nothing at all and the null object are different roots.
  EXPECT_EQ(roundTrip(std::nullopt), std::nullopt);
  EXPECT_TRUE(roundTrip(Value()).value_or(Value(1)).isNull());
}

TEST(KeyedArchiver, CodableObjectsRoundTripNestedSharedAndWithMissingKeysButCyclesAreRefused) {
  auto inner = std::make_shared<TestCard>();
  inner->title = "inner";
  auto outer = std::make_shared<TestCard>();
  outer->title = "outer";
  outer->tags = Array{"a", Date(1600000000.5)};
  outer->next = inner;
  outer->dollar = "not the class";

  const auto back = roundTrip(Value(Array{object(outer), object(outer)}));
  ASSERT_TRUE(back);
  ASSERT_EQ(back->asArray()->size(), 2u);
  const auto card = back->asArray()->at(0).objectAs<TestCard>();
  ASSERT_TRUE(card);
  EXPECT_EQ(card, back->asArray()->at(1).objectAs<TestCard>()) << "one object archived twice came back as two";
  EXPECT_EQ(card->title, Value("outer"));
  EXPECT_EQ(card->tags, outer->tags);
  EXPECT_EQ(card->dollar, Value("not the class"));
  EXPECT_EQ(card->missing, std::nullopt);
  EXPECT_TRUE(card->hadNoSuchKey);
  ASSERT_TRUE(card->next);
  EXPECT_EQ(card->next->title, Value("inner"));

  inner->next = outer;
  try {
    KeyedArchiver::archivedDataWithRootObject(object(outer));
    ADD_FAILURE() << "a cycle was archived";
  } catch (const Exception& e) {
    EXPECT_EQ(e.name(), "NSInvalidArchiveOperationException");
  }
  inner->next = nullptr;  // break the cycle so the test does not leak it
}

TEST(KeyedUnarchiver, BrokenArchivesRaiseInvalidArchive) {
  const std::vector<std::pair<const char*, Data>> broken = {
      {"plain plist", *PropertyListSerialization::dataWithPropertyList(Dictionary{{"plain", 1}})},
      {"other archiver", bytesOf(xmlArchive("<string>x</string>", 1, "NSSomethingElse"))},
      {"root beyond $objects", bytesOf(xmlArchive("<string>x</string>", 9))},
      {"contains itself", bytesOf(xmlArchive(arrayObject({1}, 2) + classDescriptor("NSArray")))},
      {"no $class", bytesOf(xmlArchive("<dict><key>NS.objects</key><array/></dict>"))},
      {"$class is $null", bytesOf(xmlArchive(arrayObject({}, 0)))},
      {"unknown class", bytesOf(xmlArchive(arrayObject({}, 2) + classDescriptor("TAVONoSuchClass")))},
      {"unregistered class", KeyedArchiver::archivedDataWithRootObject(object(std::make_shared<UnregisteredThing>()))}};
  for (const auto& [what, data] : broken) EXPECT_TRUE(rejects(data)) << what;

  const Data good = KeyedArchiver::archivedDataWithRootObject(Value(Array{"a", 1, Dictionary{{"k", 2.5}}}));
  for (std::size_t n = 0; n < good.size(); ++n)
    EXPECT_TRUE(rejects(Data(good.begin(), good.begin() + n))) << "truncated to " << n;
}

TEST(KeyedUnarchiver, NestingIsBounded) {
  auto chain = [](int depth) {  // object i holds object i+1; the class descriptor comes last
    std::string objects;
    for (int i = 1; i <= depth; ++i)
      objects += arrayObject(i < depth ? std::vector<int>{i + 1} : std::vector<int>{}, depth + 1);
    return bytesOf(xmlArchive(objects + classDescriptor("NSArray")));
  };
  // 512 levels are read, one more is refused.
  EXPECT_TRUE(KeyedUnarchiver::unarchiveObjectWithData(chain(512)));
  EXPECT_TRUE(rejects(chain(513)));
}

// Each level refers to the next one twice: walked as a tree that is 2^60 arrays. Reading, archiving again,
// comparing and copying stay in the archive's size; the walks that must write every reference out refuse.
TEST(KeyedArchiver, APartReachedTwiceIsArchivedOnceAndNoWalkUnfoldsTheGraph) {
  const auto hostile = [](const std::string& leaf) {
    std::string objects;
    for (int i = 1; i <= 60; ++i)
      objects += arrayObject(i < 60 ? std::vector<int>{i + 1, i + 1} : std::vector<int>{62}, 61);
    return bytesOf(xmlArchive(objects + classDescriptor("NSArray") + "<string>" + leaf + "</string>"));
  };
  const auto value = KeyedUnarchiver::unarchiveObjectWithData(hostile("leaf"));
  ASSERT_TRUE(value);

  const Data again = KeyedArchiver::archivedDataWithRootObject(*value);
  EXPECT_LT(again.size(), 4096u);
  const auto reread = KeyedUnarchiver::unarchiveObjectWithData(again);
  ASSERT_TRUE(reread);
  const Value* level = &*reread;
  for (int i = 1; i < 60; ++i) {
    ASSERT_EQ(level->asArray()->size(), 2u);
    ASSERT_EQ(level->asArray()->at(0).asArray(), level->asArray()->at(1).asArray()) << "level " << i;
    level = &level->asArray()->at(0);
  }
  EXPECT_EQ(*level, Value(Array{"leaf"}));

  EXPECT_EQ(*reread, *value);
  EXPECT_NE(*KeyedUnarchiver::unarchiveObjectWithData(hostile("leaf2")), *value);
  EXPECT_FALSE(JSONSerialization::dataWithJSONObject(*value));
  EXPECT_FALSE(PropertyListSerialization::dataWithPropertyList(*value));
  const std::string description = value->description();
  EXPECT_NE(description.find("..."), std::string::npos);
  EXPECT_LT(description.size(), 1u << 20);  // refused early, not after megabytes
}

// The same with dictionaries, which share their entries between copies rather than by address.
TEST(KeyedArchiver, ADictionaryReachedTwiceIsWalkedOnce) {
  Value level = Dictionary{{"leaf", 1}};
  for (int i = 0; i < 60; ++i) level = Dictionary{{"a", level}, {"b", level}};
  const Data archive = KeyedArchiver::archivedDataWithRootObject(level);
  EXPECT_LT(archive.size(), 8192u);
  const auto reread = KeyedUnarchiver::unarchiveObjectWithData(archive);
  ASSERT_TRUE(reread);
  EXPECT_EQ(*reread, level);
  EXPECT_FALSE(JSONSerialization::dataWithJSONObject(level));
}

// Text is copied at each reference: one long string referenced from everywhere is a hostile archive too.
TEST(KeyedUnarchiver, TextRepeatedFarBeyondTheArchivesSizeIsRefused) {
  const Value text(std::string(8 << 10, 't'));
  const Data fine = KeyedArchiver::archivedDataWithRootObject(Value(Array(100, text)));
  EXPECT_EQ(KeyedUnarchiver::unarchiveObjectWithData(fine), Value(Array(100, text)));
  EXPECT_TRUE(rejects(KeyedArchiver::archivedDataWithRootObject(Value(Array(3000, text)))));
}

TEST(KeyedUnarchiver, DamagedBytesNeverCrash) {
  auto card = std::make_shared<TestCard>();
  card->title = "t";
  card->tags = Array{1, "x", Date(5.5), Value()};
  card->next = std::make_shared<TestCard>();
  const Data good = KeyedArchiver::archivedDataWithRootObject(object(card));
  int rejected = 0;
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (std::uint8_t flip : {0x01, 0xff}) {
      Data bad = good;
      bad[i] ^= flip;
      try {
        KeyedUnarchiver::unarchiveObjectWithData(bad);
      } catch (const Exception& e) {
        ASSERT_EQ(e.name(), kInvalidUnarchiveOperationException) << e.what();
        ++rejected;
      }
    }
  }
  EXPECT_GT(rejected, 0);
}

}  // namespace
}  // namespace tavo::platform
