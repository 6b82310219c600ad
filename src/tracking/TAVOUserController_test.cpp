#include "tracking/TAVOUserController.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "persistence/TAVODataStoreController.h"

namespace tavo {
namespace {

using platform::Value;

class UserControllerTest : public ::testing::Test {
 protected:
  testing::SdkTestEnvironment env{testing::SdkTestEnvironment::Store::File};
};

TEST_F(UserControllerTest, AStoredUserWithoutServerIdComesBackNew) {
  auto user = std::make_shared<TAVOUser>();
  user->userID = "c-1";
  user->isNew = false;
  TAVOUserController::saveUser(user);
  auto loaded = TAVOUserController::getSavedUser();
  EXPECT_EQ(loaded->userID, std::optional<std::string>("c-1"));
  EXPECT_TRUE(loaded->isNew);

  user->tAVoUserID = Value(77);
  TAVOUserController::saveUser(user);
  EXPECT_FALSE(TAVOUserController::getSavedUser()->isNew);
}

TEST_F(UserControllerTest, ADamagedStoredUserGivesANewOne) {
  env.platform().userDefaults->setObject(Value(platform::Data{1, 2, 3}), TAVODataStoreController::kUserModelKey);
  auto user = TAVOUserController::getSavedUser();
  EXPECT_TRUE(user->isNew);
  EXPECT_FALSE(user->userID);
}

TEST_F(UserControllerTest, SetCustomerIdIsPersisted) {
  TAVOController::sharedInstance().userController()->setCustomerId("cust-9");
  env.restart();
  EXPECT_EQ(TAVOController::sharedInstance().currentUser()->getCustomerID(), std::optional<std::string>("cust-9"));
}

TEST_F(UserControllerTest, TheProfileLayersServerDataCommonParametersIdsAndToken) {
  auto& controller = TAVOController::sharedInstance();
  controller.updateCurrentUser([](TAVOUser& user) {
    user.userInfo = platform::Dictionary{{"points", 10}, {"email", "old@example.com"}, {"udid", "server-side"}};
    user.userMail = "ana@example.com";
    user.userID = "c-2";
    user.tAVoUserID = Value(5);
  });
  controller.dataStoreController()->saveObjectToDataStore(Value("abcd"), TAVODataStoreController::kPushTokenRegisteredKey);
  const auto profile = controller.userController()->prepareUserInfo();
  EXPECT_EQ(*profile.find("points"), Value(10));
  EXPECT_EQ(*profile.find("email"), Value("ana@example.com"));    // later entries win
  EXPECT_NE(*profile.find("udid"), Value("server-side"));
  EXPECT_EQ(*profile.find("customerid"), Value("c-2"));
  EXPECT_EQ(*profile.find("id"), Value(5));
  EXPECT_EQ(*profile.find("token"), Value("abcd"));
}

TEST_F(UserControllerTest, TrackingSwitchIsStored) {
  EXPECT_FALSE(TAVOUserController::isUserTrackingDisabled());
  TAVOController::sharedInstance().dataStoreController()->saveUserTracking(true);
  env.restart();
  EXPECT_TRUE(TAVOUserController::isUserTrackingDisabled());
  TAVOUserController::enableUserTracking();
  EXPECT_FALSE(TAVOUserController::isUserTrackingDisabled());
}

}  // namespace
}  // namespace tavo
