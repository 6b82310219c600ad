#include "persistence/TAVOTransmitObject.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "core/TAVOControllerTestAccess.h"
#include "tracking/TAVOUser.h"

namespace tavo {
namespace {

using platform::Value;

struct EventLike : TAVOTransmitObject {
  std::string getType() const override { return "event"; }
};
struct CheckLike : TAVOTransmitObject {
  std::string getType() const override { return "banner"; }
  std::string getAction() const override { return "check"; }
};

class TransmitObjectTest : public ::testing::Test {
 protected:
  template <class T>
  std::shared_ptr<T> make() {
    auto object = std::make_shared<T>();
    object->init();
    return object;
  }
  testing::SdkTestEnvironment env;
};

TEST_F(TransmitObjectTest, StartsFromTheCommonParametersAndTheCurrentUsersIds) {
  env.platform().bundle->setInfoValue("CFBundleShortVersionString", "2.1");
  TAVOControllerTestAccess::replaceSharedInstance();  // re-read the app version
  auto object = make<TAVOTransmitObject>();
  const auto& data = object->objectData;
  for (const char* key : {"udid", "device", "tavo_build", "app_version", "os_version", "tavo_accept_language",
                          "tavo_timestamp", "tavo_timezone_name"})
    EXPECT_TRUE(data.contains(key)) << key;
  EXPECT_EQ(*data.find("app_version"), Value("2.1"));
  EXPECT_FALSE(data.contains("tavo_impression_delegate"));  // only events and checks ask for it
  EXPECT_EQ(*make<EventLike>()->objectData.find("tavo_impression_delegate"), Value(true));
  EXPECT_EQ(*make<CheckLike>()->objectData.find("tavo_impression_delegate"), Value(true));
  EXPECT_FALSE(data.contains("eid"));

  TAVOController::sharedInstance().updateCurrentUser([](TAVOUser& user) {
    user.tAVoUserID = Value(981);
    user.userMail = "ana@example.com";
  });
  auto known = make<TAVOTransmitObject>();
  EXPECT_EQ(*known->objectData.find("eid"), Value(981));
  EXPECT_EQ(*known->objectData.find("email"), Value("ana@example.com"));
}

// Payloads share what they start from while nothing changes: a fact that changes shows in the next payload,
// and what one payload adds or changes shows in no other.
TEST_F(TransmitObjectTest, SharedStartingParametersFollowEveryChangeAndStayApart) {
  auto first = make<EventLike>();
  first->objectData.set("eventName", "first");
  first->objectData.set("udid", "changed by one payload");
  auto second = make<EventLike>();
  EXPECT_FALSE(second->objectData.contains("eventName"));
  EXPECT_NE(*second->objectData.find("udid"), Value("changed by one payload"));

  env.platform().device->setSysctlValue("hw.machine", "iPhone15,2");
  EXPECT_EQ(*make<EventLike>()->objectData.find("device"), Value("iPhone15,2"));
  EXPECT_NE(*second->objectData.find("device"), Value("iPhone15,2"));
  env.platform().device->setTracking(true, platform::Device::Authorized, "6D92078A-8246-4BA4-AE5B-76104861E7DC");
  EXPECT_EQ(*make<CheckLike>()->objectData.find("idfa"), Value("6D92078A-8246-4BA4-AE5B-76104861E7DC"));
  const Value stamp = *second->objectData.find("tavo_timestamp");
  env.clock().advance(1.0);
  EXPECT_NE(*make<EventLike>()->objectData.find("tavo_timestamp"), stamp);
}

TEST_F(TransmitObjectTest, ReservedExtraKeysAreRefusedOneByOne) {
  auto object = make<TAVOTransmitObject>();
  const Value udid = *object->objectData.find("udid");
  object->addExtraData(platform::Dictionary{{"price", 10}, {"color", "red"}, {"udid", "forged"}, {"Price", 1}});
  EXPECT_FALSE(object->objectData.contains("price"));
  EXPECT_EQ(*object->objectData.find("color"), Value("red"));
  EXPECT_EQ(*object->objectData.find("Price"), Value(1));  // the check is case-sensitive
  EXPECT_EQ(*object->objectData.find("udid"), udid);
  EXPECT_EQ(env.countLogged("TAVOLogger: 16 - ReservedKeyUsed"), 2u);
}

}  // namespace
}  // namespace tavo
