// The C interface of in-app communications: listeners told apart by their members, campaigns as JSON, the
// white list read back.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "inapp/banner/TAVOBannerPromotion.h"
#include "platform/JSONSerialization.h"
#include "tavo/tavo.h"

namespace tavo {
namespace {

using platform::Value;

void record(const char* json, void* heard) {
  static_cast<std::vector<Value>*>(heard)->push_back(*platform::JSONSerialization::JSONObjectWithData(json));
}

Value whitelistRead() {
  char* json = tavo_whitelist_json();
  const Value list = *platform::JSONSerialization::JSONObjectWithData(json);
  tavo_free(json);
  return list;
}

TEST(CInAppInterface, ListenersAreOneWhenAllTheirMembersAreEqualAndHearCampaignsAsJson) {
  testing::SdkTestEnvironment env;
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  auto& controller = TAVOController::sharedInstance();
  std::vector<Value> first, second;
  const tavo_in_app_delegate listener{&record, nullptr, nullptr, nullptr, nullptr, &first};
  const tavo_in_app_delegate sameMembers = listener;
  tavo_in_app_delegate otherData = listener;
  otherData.user_data = &second;
  tavo_add_in_app_delegate(&listener);
  tavo_add_in_app_delegate(&sameMembers);
  tavo_add_in_app_delegate(&otherData);
  EXPECT_EQ(controller.inAppDelegates().size(), 2u);

  auto banner = std::make_shared<TAVOBannerPromotion>();
  banner->idPromo = 502;
  banner->position = true;
  banner->urlImageSP = "https://shop.example/b.png";
  controller.invokeShownDelegates(banner);
  ASSERT_EQ(first.size(), 1u);
  EXPECT_EQ(second.size(), 1u);
  const Value& shown = first[0];
  EXPECT_EQ(*shown.get("type"), Value(5));
  EXPECT_EQ(*shown.get("id"), Value(502));
  EXPECT_TRUE(shown.get("url")->isNull());
  EXPECT_EQ(*shown.get("position"), Value("bottom"));
  EXPECT_EQ(*shown.get("url_image_sp"), Value("https://shop.example/b.png"));
  EXPECT_TRUE(shown.get("params")->isDictionary());

  tavo_remove_in_app_delegate(&sameMembers);  // removes the listener equal to it
  tavo_remove_in_app_delegate(&listener);     // gone already: nothing
  controller.invokeShownDelegates(banner);
  EXPECT_EQ(first.size(), 1u);
  EXPECT_EQ(second.size(), 2u);

  // A native-ad request refused for its listener keeps no listener.
  tavo_in_app_request* nativeAd = tavo_in_app_request_new(9);
  tavo_in_app_message_with_delegate(nativeAd, &listener);
  tavo_in_app_request_free(nativeAd);
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Inapp message native ad must be implement onReceive:"));
  EXPECT_EQ(controller.inAppDelegates().size(), 1u);

  const char* prefixes[] = {"https://a.example/", nullptr, "https://b.example/"};
  tavo_set_whitelist(prefixes, 3);
  EXPECT_EQ(whitelistRead(), Value(platform::Array{"https://a.example/", "https://b.example/"}));
  tavo_set_whitelist(nullptr, 0);
  EXPECT_TRUE(whitelistRead().isNull());
}

}  // namespace
}  // namespace tavo
