#include "attribution/TAVOWebSDKController.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "core/TAVODeviceController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/CookieStorage.h"

namespace tavo {
namespace {

using platform::CookieStorage;
using testing::SdkTestEnvironment;

constexpr const char* kDomain = ".shop.example.com";

class TAVOWebSDKControllerTest : public ::testing::Test {
 protected:
  explicit TAVOWebSDKControllerTest(SdkTestEnvironment::Store store = SdkTestEnvironment::Store::InMemory)
      : env(store) {}

  std::shared_ptr<TAVODataStoreController> store() { return TAVOController::sharedInstance().dataStoreController(); }
  CookieStorage& cookies() { return *env.platform().cookieStorage; }
  std::map<std::string, CookieStorage::Cookie> cookiesByName() {
    std::map<std::string, CookieStorage::Cookie> out;
    for (const auto& cookie : cookies().cookies()) out[cookie.name] = cookie;
    return out;
  }
  platform::Date monthFromNow() { return env.clock().now().dateByAddingTimeInterval(2629743); }

  SdkTestEnvironment env;
};

TEST_F(TAVOWebSDKControllerTest, WithoutADomainNothingIsWrittenNotEvenThePolicy) {
  store()->saveObjectToDataStore(platform::Value("abcd"), TAVODataStoreController::kPushTokenRegisteredKey);
  store()->saveObjectToDataStore(platform::Value(42), TAVODataStoreController::kLastPushIdKey);
  TAVOWebSDKController controller;
  controller.sync();
  EXPECT_TRUE(cookies().cookies().empty());
  EXPECT_EQ(cookies().cookieAcceptPolicy(), CookieStorage::OnlyFromMainDocumentDomain);
  // The push id waits for a sync that can hand it over.
  EXPECT_TRUE(store()->getObjectFromDataStore(TAVODataStoreController::kLastPushIdKey));

  controller.setWebSDKDomain(kDomain);
  controller.setWebSDKDomain(std::nullopt);
  controller.sync();
  EXPECT_TRUE(cookies().cookies().empty());
}

TEST_F(TAVOWebSDKControllerTest, TheCookiesOfTwoSyncsAfterOnePushId) {
  const std::string deviceId = TAVOController::sharedInstance().deviceController()->deviceUUID();
  store()->saveObjectToDataStore(platform::Value("0a1b2c"), TAVODataStoreController::kPushTokenRegisteredKey);
  store()->saveObjectToDataStore(platform::Value(4711), TAVODataStoreController::kLastPushIdKey);
  cookies().setCookieAcceptPolicy(CookieStorage::Never);

  TAVOWebSDKController controller;
  controller.setWebSDKDomain(kDomain);
  controller.sync();
  EXPECT_EQ(cookies().cookieAcceptPolicy(), CookieStorage::Always);
  const platform::Date firstExpiry = monthFromNow();
  auto first = cookiesByName();
  ASSERT_EQ(first.size(), 3u);
  EXPECT_EQ(first["tavo_udid"].value, deviceId);
  EXPECT_EQ(first["tavo_token"].value, "0a1b2c");
  EXPECT_EQ(first["push_id"].value, "4711");
  for (const auto& [name, cookie] : first) {
    EXPECT_EQ(cookie.domain, kDomain) << name;
    EXPECT_EQ(cookie.originURL, kDomain) << name;
    EXPECT_EQ(cookie.path, "/") << name;
    EXPECT_EQ(cookie.version, "0") << name;
    EXPECT_EQ(cookie.expiresDate, firstExpiry) << name;
  }
  EXPECT_FALSE(store()->getObjectFromDataStore(TAVODataStoreController::kLastPushIdKey));

  env.clock().advance(3600);
  controller.sync();
  auto second = cookiesByName();
  ASSERT_EQ(second.size(), 3u);  // replaced, not added
  EXPECT_EQ(second["tavo_udid"].expiresDate, monthFromNow());
  EXPECT_EQ(second["tavo_token"].expiresDate, monthFromNow());
  // Not written again: the first hand-over's cookie, with its first expiry.
  EXPECT_EQ(second["push_id"].value, "4711");
  EXPECT_EQ(second["push_id"].expiresDate, firstExpiry);
}

TEST_F(TAVOWebSDKControllerTest, EmptyOrNullTokensAndNullPushIdsWriteNothing) {
  TAVOWebSDKController controller;
  controller.setWebSDKDomain(kDomain);
  store()->saveObjectToDataStore(platform::Value(""), TAVODataStoreController::kPushTokenRegisteredKey);
  store()->saveObjectToDataStore(platform::Value::null(), TAVODataStoreController::kLastPushIdKey);
  controller.sync();
  EXPECT_EQ(cookiesByName().count("tavo_token"), 0u);
  EXPECT_EQ(cookiesByName().count("push_id"), 0u);
  EXPECT_EQ(cookiesByName().count("tavo_udid"), 1u);

  store()->saveObjectToDataStore(platform::Value::null(), TAVODataStoreController::kPushTokenRegisteredKey);
  // A push id kept as text is read as its number.
  store()->saveObjectToDataStore(platform::Value("17"), TAVODataStoreController::kLastPushIdKey);
  controller.sync();
  EXPECT_EQ(cookiesByName().count("tavo_token"), 0u);
  EXPECT_EQ(cookiesByName()["push_id"].value, "17");
}

class TAVOWebSDKControllerRestartTest : public TAVOWebSDKControllerTest {
 protected:
  TAVOWebSDKControllerRestartTest() : TAVOWebSDKControllerTest(SdkTestEnvironment::Store::File) {}
};

TEST_F(TAVOWebSDKControllerRestartTest, HandedOverCookiesAndTheConsumedPushIdSurviveARestart) {
  store()->saveObjectToDataStore(platform::Value(99), TAVODataStoreController::kLastPushIdKey);
  {
    TAVOWebSDKController controller;
    controller.setWebSDKDomain(kDomain);
    controller.sync();
  }
  env.restart();
  EXPECT_FALSE(store()->getObjectFromDataStore(TAVODataStoreController::kLastPushIdKey));
  TAVOWebSDKController controller;
  controller.setWebSDKDomain(kDomain);
  controller.sync();
  EXPECT_EQ(cookies().cookieAcceptPolicy(), CookieStorage::Always);
  EXPECT_EQ(cookiesByName()["push_id"].value, "99");
  EXPECT_EQ(cookiesByName().size(), 2u);  // no token stored: device id and push id
}

}  // namespace
}  // namespace tavo
