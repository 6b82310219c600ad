#include "network/TAVORequest.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "network/TAVOResetUser.h"
#include "network/TAVOResponseType.h"
#include "network/TAVOUpdateUser.h"
#include "tavo/TAVOEventRequest.h"
#include "tracking/TAVOEvent.h"

namespace tavo {
namespace {

using platform::Value;

class RequestTest : public ::testing::Test {
 protected:
  void SetUp() override {
    controller().generateApiKeyAndApiUserFrom(std::string("APPUSER0001KEY000009"));
    controller().requestController()->setWebservicesURL("https://api.tavo.example/ws/");
  }
  static TAVOController& controller() { return TAVOController::sharedInstance(); }
  static std::shared_ptr<TAVOOperation> eventOperation(const std::string& token, bool rule = false) {
    auto event = std::make_shared<TAVOEvent>();
    event->initWithRequest(TAVOEventRequest(token));
    if (rule) event->checkForRules();
    return TAVOOperation::operationWithTransmitObject(event);
  }
  testing::SdkTestEnvironment env;
};

TEST_F(RequestTest, MissingCredentialsAddNoHeaderAndAnEmptyFormValue) {
  testing::SdkTestEnvironment fresh;  // a controller that never saw a key
  TAVOController::sharedInstance().requestController()->setWebservicesURL("https://api.tavo.example/ws");
  const auto batch = TAVORequest::requestWithOperations({eventOperation("x")});
  EXPECT_FALSE(batch->valueForHTTPHeaderField("apiUser"));
  EXPECT_FALSE(batch->valueForHTTPHeaderField("apiKey"));
  EXPECT_EQ(batch->URL, "https://api.tavo.example/wstracker");  // nothing repairs a base without "/"

  auto update = std::make_shared<TAVOUpdateUser>();
  update->init();
  const auto single = TAVORequest::requestWithUpdateUser(update);
  EXPECT_EQ(single->HTTPBody->rfind("apiUser=&apiKey=&json=", 0), 0u);
}

TEST_F(RequestTest, AStartSessionRuleCheckIsReadAsTheConfigurationAndAResetGoesAsAUserReset) {
  auto start = std::make_shared<TAVOEvent>();
  start->initWithRequest(TAVOEventRequest("tavo_start_session"));
  start->checkForRules();
  EXPECT_EQ(start->operationResponseType(), TAVOResponseStartSessionConfig);  // the start test comes first
  EXPECT_EQ(start->requestResponseType(), TAVOResponseRule);                  // alone: never kind 2

  auto reset = std::make_shared<TAVOResetUser>();
  reset->init();
  EXPECT_EQ(TAVOOperation::operationWithTransmitObject(reset)->action, "reset");
  EXPECT_FALSE(reset->objectData.contains("tavo_impression_delegate"));
}

// Every answered operation asks whether its batch holds the start-session event; the request finds out once
// per list of operations, and must follow a list that changed.
TEST_F(RequestTest, WhetherABatchHoldsTheStartSessionEventFollowsItsOperationsAsTheyChange) {
  const auto start = eventOperation(TAVOEvent::kStartSessionToken, true);
  const auto plain = eventOperation("product_viewed");
  const auto rule = eventOperation("home_screen", true);
  const auto request = TAVORequest::requestWithOperations({plain, start, rule});
  EXPECT_TRUE(request->containsStartSessionEvent());
  EXPECT_TRUE(request->containsStartSessionEvent());
  request->setOperations({plain});  // a failed batch drops its rule checks, the start-session event among them
  EXPECT_FALSE(request->containsStartSessionEvent());
  request->setOperations({rule, start});
  EXPECT_TRUE(request->containsStartSessionEvent());
  request->setOperations({});
  EXPECT_FALSE(request->containsStartSessionEvent());
}

}  // namespace
}  // namespace tavo
