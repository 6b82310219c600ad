#include "network/TAVOResponseHandler.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "attribution/TAVOInstallAttributionRequest.h"
#include "attribution/TAVOShortTrackingUrl.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "inapp/TAVOCheckBanner.h"
#include "inapp/banner/TAVOBannerPromotion.h"
#include "inapp/strip/TAVOStripCampaign.h"
#include "network/TAVORequest.h"
#include "network/TAVOResetUser.h"
#include "network/TAVOUpdateUser.h"
#include "persistence/TAVODataStoreController.h"
#include "tavo/TAVOEventRequest.h"
#include "tavo/TAVOInAppRequest.h"
#include "tracking/TAVOEvent.h"
#include "tracking/TAVOEventController.h"
#include "tracking/TAVORulesController.h"
#include "tracking/TAVOUser.h"

namespace tavo {
namespace {

using platform::Value;

class ResponseHandlerTest : public ::testing::Test {
 protected:
  std::shared_ptr<TAVOOperation> event(const std::string& token, bool rule = false,
                                       std::shared_ptr<TAVORequestDelegate> delegate = nullptr) {
    TAVOEventRequest request(token);
    request.requestDelegate = delegate;
    auto payload = std::make_shared<TAVOEvent>();
    payload->initWithRequest(request);
    if (rule) payload->checkForRules();
    return TAVOOperation::operationWithTransmitObject(payload);
  }
  // Runs the handler and returns the codes it reported, -1 standing for success.
  std::vector<int> handle(const std::string& body, const std::shared_ptr<TAVORequest>& request) {
    std::vector<int> results;
    handler.processResponse(
        body, request, [&](const std::optional<TAVOError>& error) { results.push_back(error ? error->code() : -1); });
    return results;
  }

  testing::SdkTestEnvironment env;
  TAVOResponseHandler handler;
};

TEST_F(ResponseHandlerTest, StatusRule) {
  for (const char* ok : {"1", "300", "700", "-5"}) {
    const Value status(ok);
    EXPECT_TRUE(TAVOResponseHandler::statusIsOk(&status)) << ok;
  }
  for (const char* refused : {"0", "400", "599", "666", "abc", ""}) {
    const Value status(refused);
    EXPECT_FALSE(TAVOResponseHandler::statusIsOk(&status)) << refused;
  }
  const Value numeric(204);
  EXPECT_TRUE(TAVOResponseHandler::statusIsOk(&numeric));
  EXPECT_FALSE(TAVOResponseHandler::statusIsOk(nullptr));
  const Value wrapped(4294967496LL);  // read as a 32-bit integer: 200
  EXPECT_TRUE(TAVOResponseHandler::statusIsOk(&wrapped));
}

TEST_F(ResponseHandlerTest, EachOperationFindsItsOwnAnswerByIdOrTakesTheWholeAnswer) {
  const auto a = event("a"), b = event("b"), c = event("c");
  const auto request = TAVORequest::requestWithOperations({a, b, c});
  const std::string body = R"({"operations":[{"id":")" + b->operationId + R"(","response":{"status":404}},)" +
                           R"({"id":")" + a->operationId + R"(","response":{"status":200}}],"status":201})";
  // a: its own 200; b: its own 404; c: no entry of its own, so the whole answer with status 201.
  EXPECT_EQ(handle(body, request), (std::vector<int>{-1, 3, -1}));
  EXPECT_EQ(handle(R"({"operations":[],"status":"500"})", request), (std::vector<int>{3, 3, 3}));
  EXPECT_EQ(handle(R"("200")", request), (std::vector<int>{3, 3, 3}));  // a fragment has no "status"
}

TEST_F(ResponseHandlerTest, AnUnreadableBatchAnswerStopsAtTheFirstOperation) {
  const auto request = TAVORequest::requestWithOperations({event("a"), event("b")});
  EXPECT_EQ(handle("<html>oops</html>", request), (std::vector<int>{1}));
  EXPECT_EQ(handle(R"({"status":200)", request), (std::vector<int>{1}));  // truncated
}

TEST_F(ResponseHandlerTest, AnswersNobodyReadsReportNothing) {
  auto reset = std::make_shared<TAVOResetUser>();
  reset->init();
  const auto request = TAVORequest::requestWithOperations({TAVOOperation::operationWithTransmitObject(reset)});
  EXPECT_TRUE(handle(R"({"status":500})", request).empty());
  auto click = std::make_shared<TAVOEvent>();
  TAVOEventRequest clickRequest("tavo_auto_event");
  clickRequest.attributes = platform::Dictionary{{"e_attribution_type", "e_click_engagement"}};
  click->initWithRequest(clickRequest);
  EXPECT_TRUE(handle(R"({"status":200})",
                     TAVORequest::requestWithOperations({TAVOOperation::operationWithTransmitObject(click)}))
                  .empty());
}

TEST_F(ResponseHandlerTest, AShortLinkElementWithoutAResponseIsRefusedWhereAnInstallAttributionOneIsNot) {
  auto resolve = std::make_shared<TAVOShortTrackingUrl>();
  resolve->initWithId("abc", "s.tavo.link");
  auto attribution = std::make_shared<TAVOInstallAttributionRequest>();
  attribution->init();
  const auto link = TAVOOperation::operationWithTransmitObject(resolve);
  const auto install = TAVOOperation::operationWithTransmitObject(attribution);
  const std::string body =
      R"({"operations":[{"id":")" + link->operationId + R"("},{"id":")" + install->operationId + R"("}]})";
  EXPECT_EQ(handle(body, TAVORequest::requestWithOperations({link, install})), (std::vector<int>{3, -1}));
}

TEST_F(ResponseHandlerTest, ARuleAnswerKeepsItsRuleAndTellsTheHostWhetherOneCame) {
  std::vector<bool> heard;
  auto delegate = std::make_shared<TAVORequestDelegate>();
  delegate->onSuccess = [&](const std::string&, bool containsData) { heard.push_back(containsData); };
  const auto request = TAVORequest::requestWithOperations({event("cart", true, delegate)});
  EXPECT_EQ(handle(R"({"status":200,"rule":{"type":"banner","id":"77","canClose":"2","URL":"https://shop.example/x",)"
                   R"("times":9,"tavo_banner_max":3,"tavo_url_banner_sp":null,"tavo_position":1,"params":{"k":"v"}}})",
                   request),
            (std::vector<int>{-1}));
  env.platform().mainLoop->runPending();  // a rule is taken up on the main thread
  const auto rule = TAVOController::sharedInstance().rulesController()->activeRule();
  ASSERT_TRUE(rule);
  const auto banner = std::dynamic_pointer_cast<const TAVOBannerPromotion>(rule->campaign);
  ASSERT_TRUE(banner);  // converted, then read as a banner
  EXPECT_EQ(banner->idPromo, 77);
  EXPECT_FALSE(banner->canClose);  // present and not exactly 1
  EXPECT_EQ(banner->times, 3);     // the banner's own limit wins
  EXPECT_TRUE(banner->position);
  EXPECT_FALSE(banner->urlImageSP);
  EXPECT_EQ(banner->promoURL, std::optional<std::string>("https://shop.example/x"));
  EXPECT_EQ(banner->params, (platform::Dictionary{{"k", "v"}}));

  EXPECT_EQ(handle(R"({"status":200,"rule":{}})", request), (std::vector<int>{-1}));
  // A strip whose colour the server got wrong keeps its rule without that colour, and no crash.
  EXPECT_EQ(handle(R"({"status":200,"rule":{"type":"strip","tavo_text_color":"#12345"}})", request),
            (std::vector<int>{-1}));
  env.platform().mainLoop->runPending();
  const auto stripRule = TAVOController::sharedInstance().rulesController()->activeRule();
  ASSERT_TRUE(stripRule);
  const auto strip = std::dynamic_pointer_cast<const TAVOStripCampaign>(stripRule->campaign);
  ASSERT_TRUE(strip);
  EXPECT_FALSE(strip->textColor);
  EXPECT_EQ(handle(R"({"status":404,"rule":{"type":"strip"}})", request), (std::vector<int>{3}));
  EXPECT_EQ(handle(R"({"rule":{"type":"strip"}})", request), (std::vector<int>{3}));
  EXPECT_EQ(handle(R"([{"status":200}])", request), (std::vector<int>{2}));
  EXPECT_EQ(heard, (std::vector<bool>{true, false, true}));
  EXPECT_EQ(TAVOController::sharedInstance().rulesController()->activeRule(), stripRule);
}

TEST_F(ResponseHandlerTest, AnAcceptedConfigurationReportsSuccessTwiceAndConfiguresScreenEvents) {
  const auto start = event("tavo_start_session", true);
  const auto request = TAVORequest::requestWithOperations({start});
  EXPECT_EQ(handle(R"({"status":200,"config":{"events":[{"id":"7","category":"screen","active":"1","token":"cart"}]}})",
                   request),
            (std::vector<int>{-1, -1}));
  auto events = TAVOController::sharedInstance().eventController();
  EXPECT_TRUE(events->isScreenEvent("cart"));

  EXPECT_EQ(handle(R"({"status":500})", request), (std::vector<int>{3}));
  EXPECT_EQ(handle(R"([1,2])", request), (std::vector<int>{2}));
}

TEST_F(ResponseHandlerTest, SingleObjectAnswersAreABareStatusOrUserData) {
  auto plain = std::make_shared<TAVOUpdateUser>();
  plain->init();
  const auto statusRequest = TAVORequest::requestWithUpdateUser(plain);
  EXPECT_EQ(handle("404", statusRequest), (std::vector<int>{3}));
  EXPECT_EQ(handle(R"({"status":200})", statusRequest), (std::vector<int>{3}));  // the body itself is the status

  auto retrieving = std::make_shared<TAVOUpdateUser>();
  retrieving->initWithExtras(std::nullopt, true);
  const auto dataRequest = TAVORequest::requestWithUpdateUser(retrieving);
  EXPECT_TRUE(handle("not json", dataRequest).empty());  // nothing reported at all
  EXPECT_EQ(handle(R"({"status":400})", dataRequest), (std::vector<int>{3}));
  EXPECT_EQ(handle(R"({"status":200,"response":"none"})", dataRequest), (std::vector<int>{-1}));
  EXPECT_TRUE(TAVOController::sharedInstance().currentUser()->isNew);  // an answer without user data names nobody
  EXPECT_EQ(handle(R"({"status":200,"response":{"idtAVoUser":12.9,"info":"not an object"}})", dataRequest),
            (std::vector<int>{-1}));
  const auto user = TAVOController::sharedInstance().currentUser();
  EXPECT_EQ(user->tAVoUserID, std::optional<Value>(12));
  EXPECT_FALSE(user->userInfo);
}

TEST_F(ResponseHandlerTest, AUserDataOperationInABatchReadsTheWholeAnswerAndEndsTheBatch) {
  auto retrieving = std::make_shared<TAVOUpdateUser>();
  retrieving->initWithExtras(std::nullopt, true);
  const auto request =
      TAVORequest::requestWithOperations({TAVOOperation::operationWithTransmitObject(retrieving), event("after")});
  EXPECT_EQ(handle(R"({"status":200,"response":{"info":{"tier":"gold"}}})", request), (std::vector<int>{-1}));
  EXPECT_EQ(TAVOController::sharedInstance().currentUser()->userInfo, (platform::Dictionary{{"tier", "gold"}}));
}

TEST_F(ResponseHandlerTest, ACampaignAnswerIsShownNoneIsSuccessWithoutDataAndABareNumberIsRefused) {
  std::vector<std::string> heard;
  auto delegate = std::make_shared<TAVORequestDelegate>();
  delegate->onSuccess = [&](const std::string& id, bool data) { heard.push_back(id + (data ? " data" : " none")); };
  TAVOInAppRequest request(TAVOInAppRequest::Banner);
  request.customId = "slot";
  request.requestDelegate = delegate;
  auto check = std::make_shared<TAVOCheckBanner>();
  check->initWithRequest(request);
  const auto batch = TAVORequest::requestWithOperations({TAVOOperation::operationWithTransmitObject(check)});
  const auto counted = [] {
    return TAVOController::sharedInstance().dataStoreController()->campaignTimesShown("TAVO_31_banner");
  };

  EXPECT_EQ(handle(R"({"status":200,"response":"0"})", batch), (std::vector<int>{-1}));
  EXPECT_EQ(handle(R"({"status":200,"response":{"id":31,"tavo_banner_time":5}})", batch), (std::vector<int>{-1}));
  EXPECT_EQ(counted(), 1);
  EXPECT_EQ(handle(R"({"status":"500","response":{"id":31}})", batch), (std::vector<int>{3}));
  EXPECT_EQ(handle(R"({"operations":[{"id":")" + batch->operations()[0]->operationId + R"(","response":2.5}]})", batch),
            (std::vector<int>{3}));
  EXPECT_EQ(counted(), 1);
  EXPECT_EQ(heard, (std::vector<std::string>{"slot none", "slot data"}));
}

}  // namespace
}  // namespace tavo
