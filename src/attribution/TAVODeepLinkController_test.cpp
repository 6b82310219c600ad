#include "attribution/TAVODeepLinkController.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "attribution/TAVOAttributionController.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "tracking/TAVOEventController.h"

namespace tavo {
namespace {

using platform::Value;
using testing::SdkTestEnvironment;
using testing::WireFormat;

class DeepLinkTest : public ::testing::Test {
 protected:
  DeepLinkTest() { SdkTestEnvironment::startSession(); }

  // What each request carried, by its action: "tracker" batches as their first operation's attributes,
  // user updates as their payload.
  std::vector<std::pair<std::string, Value>> sent() {
    env.drainQueues();
    std::vector<std::pair<std::string, Value>> out;
    for (const auto& request : env.http().requests()) {
      const std::string action = request.url.substr(request.url.rfind('/') + 1);
      if (action == "tracker") {
        const auto operations = WireFormat::batchOperations(request.body);
        out.emplace_back(action, operations.empty() ? Value() : *operations[0].get("params"));
      } else {
        out.emplace_back(action, WireFormat::formPayload(request.body).value_or(Value()));
      }
    }
    return out;
  }

  SdkTestEnvironment env;
};

TEST_F(DeepLinkTest, ListsOfDifferentLengthsRunNothingAtAll) {
  TAVODeepLinkController().handleURL(std::string("myapp://home?qrvact=tag%5Blevel%5D,tag%5Bcity%5D&qrvval=5"));
  TAVODeepLinkController().handleURL(std::string("myapp://home?qrvval=5"));
  TAVODeepLinkController().handleURL(std::string("myapp://home?qrvact&qrvval"));  // items without values
  TAVODeepLinkController().handleURL(std::nullopt);
  EXPECT_TRUE(sent().empty());
}

TEST_F(DeepLinkTest, ALaterListReplacesAnEarlierOneAndUnknownActionsAreIgnored) {
  TAVODeepLinkController().handleURL(std::string(
      "myapp://home?qrvact=tag%5Ba%5D,tag%5Bb%5D&qrvval=1&qrvact=open%5Bx%5D,tag%5Bc%5D%5Bz%5D&qrvval=2,3"));
  const auto requests = sent();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(*requests[0].second.get("c"), Value("3"));  // the key ends at the first "]"
  EXPECT_FALSE(requests[0].second.get("a"));
}

TEST_F(DeepLinkTest, ALinkIsAttributedBeforeEachTagActionTracksItsValueAsExtraUserInformation) {
  TAVOController::sharedInstance().handleLink(
      std::string("myapp://home?rt=true&aw=24&ecid=abc&qrvact=tag%5Blevel%5D,tag%5Bcity%5D&qrvval=7,Madrid"));
  const auto requests = sent();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].first, "tracker");  // the engagement click goes out at once, first
  EXPECT_EQ(requests[1].first, "updateuser");
  EXPECT_EQ(*requests[1].second.get("level"), Value("7"));
  EXPECT_FALSE(requests[1].second.get("city"));  // one update per action
  EXPECT_EQ(requests[2].first, "updateuser");
  EXPECT_EQ(*requests[2].second.get("city"), Value("Madrid"));
}

TEST_F(DeepLinkTest, OpeningADeepLinkIsLoggedAndHappensOnTheMainThread) {
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  std::vector<std::string> opened;
  bool onMain = false;
  env.platform().application->setOpenURLHandler([&](const std::string& url) {
    opened.push_back(url);
    onMain = env.platform().mainLoop->isMainThread();
    return true;
  });
  TAVOController::sharedInstance().attributionController()->executeDeeplink("myapp://product/42");
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Open deeplink myapp://product/42 instead of webview"));
  EXPECT_TRUE(opened.empty());
  env.platform().mainLoop->runPending();
  EXPECT_EQ(opened, std::vector<std::string>{"myapp://product/42"});
  EXPECT_TRUE(onMain);
}

}  // namespace
}  // namespace tavo
