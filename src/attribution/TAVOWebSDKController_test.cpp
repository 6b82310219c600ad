#include "attribution/TAVOWebSDKController.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
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

  env.platform().cookieStorage.reset();  // a platform without cookies: skipped, and said at the plain level
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  controller.setWebSDKDomain(kDomain);
  controller.sync();
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Web SDK sync skipped: the platform has no cookie storage"));
}

// Values, domain and expiry of the cookies are the C interface tests' business; here the push id's hand-over.
TEST_F(TAVOWebSDKControllerTest, ThePushIdIsHandedOverOnceAndKeepsItsFirstExpiry) {
  store()->saveObjectToDataStore(platform::Value(4711), TAVODataStoreController::kLastPushIdKey);
  EXPECT_TRUE(cookies().setCookieAcceptPolicy(CookieStorage::Never));
  TAVOWebSDKController controller;
  controller.setWebSDKDomain(kDomain);
  controller.sync();
  EXPECT_EQ(cookies().cookieAcceptPolicy(), CookieStorage::Always);
  const platform::Date firstExpiry = monthFromNow();
  EXPECT_FALSE(store()->getObjectFromDataStore(TAVODataStoreController::kLastPushIdKey));

  env.clock().advance(3600);
  controller.sync();
  auto second = cookiesByName();
  ASSERT_EQ(second.size(), 2u);  // replaced, not added: device id and push id
  EXPECT_EQ(second["tavo_udid"].expiresDate, monthFromNow());
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
  EXPECT_EQ(cookiesByName()["push_id"].value, "99");
  EXPECT_EQ(cookiesByName().size(), 2u);  // no token stored: device id and push id
}

}  // namespace
}  // namespace tavo
