#include "persistence/AutoCoding.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/Exception.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/ClassRegistry.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"

namespace tavo {
namespace {

using platform::Value;

class TestModel : public AutoCoding {
 public:
  std::optional<std::string> name;
  std::optional<double> score;
  bool enabled = false;
  std::optional<platform::Date> seen;
  std::optional<platform::Dictionary> extras;
  std::optional<Value> anything;

  std::string className() const override { return "TestModel"; }
  const std::vector<Property>& codableProperties() const override {
    static const std::vector<Property> properties = {
        property("name", &TestModel::name),       property("score", &TestModel::score),
        property("enabled", &TestModel::enabled), property("seen", &TestModel::seen),
        property("extras", &TestModel::extras),   property("anything", "NSObject", &TestModel::anything),
    };
    return properties;
  }
};

const platform::ClassRegistration<TestModel> testModelClass("TestModel");

std::shared_ptr<TestModel> decode(const platform::Data& data) {
  auto v = platform::KeyedUnarchiver::unarchiveObjectWithData(data);
  return v ? v->objectAs<TestModel>() : nullptr;
}

// A stand-in written by another version: same class name, but "score" holds a string.
class MismatchedModel : public platform::Codable {
 public:
  std::string className() const override { return "TestModel"; }
  void encodeWithCoder(platform::KeyedArchiver& coder) const override {
    coder.encodeObject(Value("not a number"), "score");
  }
  void initWithCoder(platform::KeyedUnarchiver&) override {}
};

TEST(AutoCoding, AValueOfTheWrongClassRaisesAutocodingException) {
  const auto data = platform::KeyedArchiver::archivedDataWithRootObject(
      Value(std::shared_ptr<platform::Codable>(std::make_shared<MismatchedModel>())));
  try {
    decode(data);
    FAIL() << "a class mismatch must raise";
  } catch (const Exception& e) {
    EXPECT_EQ(e.name(), "AutocodingException");
    EXPECT_EQ(e.reason(), "Expected 'score' to be a NSNumber, but was actually a NSString");
  }
}

TEST(AutoCoding, TheDataStoreTurnsAMismatchIntoNothingWithoutDroppingTheBytes) {
  testing::SdkTestEnvironment env;
  EXPECT_TRUE(env.platform().userDefaults->setObject(
      Value(platform::KeyedArchiver::archivedDataWithRootObject(
          Value(std::shared_ptr<platform::Codable>(std::make_shared<MismatchedModel>())))),
      TAVODataStoreController::kUserModelKey));
  TAVODataStoreController store;
  EXPECT_FALSE(store.getObjectFromDataStore(TAVODataStoreController::kUserModelKey));
  // Not an invalid archive: kept for a version that can read it.
  EXPECT_TRUE(env.platform().userDefaults->objectForKey(TAVODataStoreController::kUserModelKey));
}

TEST(AutoCoding, AModelWrittenToAFileIsReadBackAndAMissingFileIsNothing) {
  testing::SdkTestEnvironment env;
  auto model = std::make_shared<TestModel>();
  model->name = "on disk";
  const std::string archivePath = env.dataDirectory() + "/model.archive";
  ASSERT_TRUE(model->writeToFile(archivePath, true));
  const auto fromArchive = AutoCoding::objectWithContentsOfFile(archivePath);
  ASSERT_TRUE(fromArchive);
  ASSERT_TRUE(fromArchive->objectAs<TestModel>());
  EXPECT_EQ(fromArchive->objectAs<TestModel>()->name, std::optional<std::string>("on disk"));
  EXPECT_FALSE(AutoCoding::objectWithContentsOfFile(env.dataDirectory() + "/missing"));
}

}  // namespace
}  // namespace tavo
