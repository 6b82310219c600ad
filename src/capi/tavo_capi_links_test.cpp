// Links, the host's platform handlers and the web-code cookies, driven through the C interface.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/FakeHttpClient.h"
#include "platform/JSONSerialization.h"
#include "tavo/tavo.h"

namespace tavo {
namespace {

using platform::FakeHttpClient;
using platform::Value;
using testing::SdkTestEnvironment;

constexpr const char* kKey = "APPUSER0001KEY123456";

void collect(const char* url, void* user_data) { static_cast<std::vector<std::string>*>(user_data)->push_back(url); }

Value takeCookies() {
  char* json = tavo_platform_copy_cookies_json();
  const auto value = platform::JSONSerialization::JSONObjectWithData(json);
  tavo_free(json);
  return value.value_or(Value());
}

const Value* cookieNamed(const Value& cookies, const std::string& name) {
  for (const auto& cookie : *cookies.asArray())
    if (*cookie.get("name") == Value(name)) return &cookie;
  return nullptr;
}

class CLinksTest : public ::testing::Test {
 protected:
  CLinksTest() {
    tavo_configuration* cfg = tavo_configuration_new(kKey);
    tavo_start_session_with_configuration(cfg);
    tavo_configuration_free(cfg);
    env.drainQueues();
  }
  ~CLinksTest() override {
    tavo_platform_set_continue_user_activity_handler(nullptr, nullptr);
    tavo_platform_set_open_url_handler(nullptr, nullptr);
  }

  SdkTestEnvironment env;
};

TEST_F(CLinksTest, AResolvedShortLinkReachesTheHostsHandlerUntilTheHostTakesItAway) {
  std::vector<std::string> handed;
  tavo_platform_set_continue_user_activity_handler(collect, &handed);
  const auto resolveTo = [this](const std::string& url) {
    env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, R"({"status":200,"data":{"url":")" + url + "\"}}"));
  };
  resolveTo("https://shop.example/a");
  tavo_handle_link("https://go.tavo.link/~a");
  env.drainQueues();
  tavo_main_loop_run_pending();
  EXPECT_EQ(handed, std::vector<std::string>{"https://shop.example/a"});

  tavo_platform_set_continue_user_activity_handler(nullptr, nullptr);
  resolveTo("https://shop.example/b");
  tavo_handle_link("https://go.tavo.link/b");
  env.drainQueues();
  tavo_main_loop_run_pending();
  EXPECT_EQ(handed.size(), 1u);
}

TEST_F(CLinksTest, TheCookiesOfTwoSyncsAfterOnePushIdAsTheHostReadsThem) {
  tavo_sync_with_web_sdk();  // no domain yet: nothing
  EXPECT_EQ(takeCookies(), Value(platform::Array{}));

  auto store = TAVOController::sharedInstance().dataStoreController();
  store->saveObjectToDataStore(Value("0a1b"), TAVODataStoreController::kPushTokenRegisteredKey);
  store->saveObjectToDataStore(Value(42), TAVODataStoreController::kLastPushIdKey);
  tavo_set_web_sdk_domain(".shop.example");
  tavo_sync_with_web_sdk();
  env.clock().advance(60);
  tavo_sync_with_web_sdk();

  const Value cookies = takeCookies();
  ASSERT_TRUE(cookies.asArray());
  ASSERT_EQ(cookies.asArray()->size(), 3u);
  const double now = env.clock().now().timeIntervalSince1970();
  for (const char* name : {"tavo_udid", "tavo_token", "push_id"}) {
    const Value* cookie = cookieNamed(cookies, name);
    ASSERT_TRUE(cookie) << name;
    EXPECT_EQ(*cookie->get("domain"), Value(".shop.example"));
    EXPECT_EQ(*cookie->get("path"), Value("/"));
    EXPECT_EQ(*cookie->get("version"), Value("0"));
  }
  EXPECT_EQ(*cookieNamed(cookies, "tavo_token")->get("value"), Value("0a1b"));
  EXPECT_EQ(*cookieNamed(cookies, "push_id")->get("value"), Value("42"));
  // The device id and token were written again; the push id only by the first sync.
  EXPECT_DOUBLE_EQ(cookieNamed(cookies, "tavo_udid")->get("expiry")->doubleValue(), now + 2629743);
  EXPECT_DOUBLE_EQ(cookieNamed(cookies, "push_id")->get("expiry")->doubleValue(), now - 60 + 2629743);

  tavo_set_web_sdk_domain(nullptr);
  env.clock().advance(60);
  tavo_sync_with_web_sdk();
  EXPECT_DOUBLE_EQ(cookieNamed(takeCookies(), "tavo_udid")->get("expiry")->doubleValue(), now + 2629743);
}

}  // namespace
}  // namespace tavo
