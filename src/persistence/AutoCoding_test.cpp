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

class DerivedModel : public TestModel {
 public:
  std::optional<Value> child;  // a nested model
  std::string className() const override { return "DerivedModel"; }
  std::vector<std::string> classHierarchy() const override { return {"DerivedModel", "TestModel", "NSObject"}; }
  const std::vector<Property>& codableProperties() const override {
    static const std::vector<Property> properties =
        extend(TestModel::codableProperties(), {property("child", "TestModel", &DerivedModel::child)});
    return properties;
  }
};

const platform::ClassRegistration<TestModel> testModelClass("TestModel");
const platform::ClassRegistration<DerivedModel> derivedModelClass("DerivedModel");

std::shared_ptr<TestModel> decode(const platform::Data& data) {
  auto v = platform::KeyedUnarchiver::unarchiveObjectWithData(data);
  return v ? v->objectAs<TestModel>() : nullptr;
}

TEST(AutoCoding, EveryDeclaredPropertyRoundTripsAndNilsStayOut) {
  auto model = std::make_shared<TestModel>();
  model->name = "Ana";
  model->score = 2.5;
  model->enabled = true;
  model->seen = platform::Date(1700000000.25);
  model->extras = platform::Dictionary{{"color", "red"}, {"n", 3}};

  const auto dict = model->dictionaryRepresentation();
  EXPECT_EQ(dict.allKeys(), (std::vector<std::string>{"name", "score", "enabled", "seen", "extras"}));

  const auto back =
      decode(platform::KeyedArchiver::archivedDataWithRootObject(Value(std::shared_ptr<platform::Codable>(model))));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->name, model->name);
  EXPECT_EQ(back->seen, model->seen);
  EXPECT_EQ(back->extras, model->extras);
  EXPECT_FALSE(back->anything);
}

TEST(AutoCoding, SubclassesCodeTheirBasesPropertiesAndNestedModels) {
  auto child = std::make_shared<TestModel>();
  child->name = "child";
  auto parent = std::make_shared<DerivedModel>();
  parent->name = "parent";
  parent->child = Value(std::shared_ptr<platform::Codable>(child));
  const auto data =
      platform::KeyedArchiver::archivedDataWithRootObject(Value(std::shared_ptr<platform::Codable>(parent)));
  auto back = std::dynamic_pointer_cast<DerivedModel>(decode(data));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->name, std::optional<std::string>("parent"));
  ASSERT_TRUE(back->child);
  auto backChild = back->child->objectAs<TestModel>();
  ASSERT_TRUE(backChild);
  EXPECT_EQ(backChild->name, std::optional<std::string>("child"));
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
