#include "network/TAVORequest.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "tavo/TAVOEventRequest.h"
#include "network/TAVORequestController.h"
#include "network/TAVOResetUser.h"
#include "network/TAVOResponseType.h"
#include "network/TAVOUpdateUser.h"
#include "platform/JSONSerialization.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"
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
  static std::shared_ptr<TAVOOperation> eventOperation(const std::string& token) {
    auto event = std::make_shared<TAVOEvent>();
    event->initWithRequest(TAVOEventRequest(token));
    return TAVOOperation::operationWithTransmitObject(event);
  }
  testing::SdkTestEnvironment env;
};

TEST_F(RequestTest, BatchCarriesTheOperationsInOrderWithJSONAndCredentialHeaders) {
  const auto ops = std::vector{eventOperation("a"), eventOperation("b"), eventOperation("c")};
  const auto request = TAVORequest::requestWithOperations(ops);
  EXPECT_EQ(request->URL, "https://api.tavo.example/ws/tracker");
  EXPECT_EQ(request->HTTPMethod, "POST");
  EXPECT_EQ(request->retriedTimes(), 0u);
  ASSERT_EQ(request->headerFields.size(), 5u);
  EXPECT_EQ(request->headerFields[0], (std::pair<std::string, std::string>("Accept", "application/json")));
  EXPECT_EQ(request->headerFields[1], (std::pair<std::string, std::string>("Content-Type", "application/json")));
  EXPECT_EQ(request->headerFields[2], (std::pair<std::string, std::string>("apiUser", "APPUSER0001")));
  EXPECT_EQ(request->headerFields[3], (std::pair<std::string, std::string>("apiKey", "KEY000009")));
  EXPECT_EQ(request->headerFields[4].first, "Content-Length");
  EXPECT_EQ(request->headerFields[4].second, std::to_string(request->HTTPBody->size()));

  const auto body = platform::JSONSerialization::JSONObjectWithData(*request->HTTPBody);
  ASSERT_TRUE(body);
  const auto& list = *body->get("operations")->asArray();
  ASSERT_EQ(list.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(*list[i].get("id"), Value(ops[i]->operationId));
    EXPECT_EQ(*list[i].get("action"), Value("none"));
    EXPECT_EQ(*list[i].get("type"), Value("event"));
  }
  EXPECT_EQ(*list[1].get("params")->get("eventName"), Value("b"));
  EXPECT_NE(ops[0]->operationId, ops[1]->operationId);
  // Pretty-printed, as the platform writes it.
  EXPECT_EQ(request->HTTPBody->rfind("{\n  \"operations\" : [\n    {\n", 0), 0u);
}

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

TEST_F(RequestTest, UserUpdatesGoToTheActionOfTheirType) {
  for (auto [type, action] : std::vector<std::pair<int, std::string>>{
           {0, "updateuser"}, {1, "firstlogin"}, {2, "newregister"}, {7, "updateuser"}, {-1, "updateuser"}}) {
    auto update = std::make_shared<TAVOUpdateUser>();
    update->init();
    update->updateUserType = type;
    const auto request = TAVORequest::requestWithUpdateUser(update);
    EXPECT_EQ(request->URL, "https://api.tavo.example/ws/" + action) << type;
    EXPECT_TRUE(request->headerFields.empty());  // the form request sets no header field
  }
}

TEST_F(RequestTest, FormBodyKeepsReservedCharactersAndEscapesTheRest) {
  EXPECT_EQ(TAVORequest::legacyPercentEscape("a b\n\"c\"&d=e+f/g?h:i#j%k"), "a%20b%0A%22c%22&d=e+f/g?h:i#j%25k");
  EXPECT_EQ(TAVORequest::legacyPercentEscape("caf\xc3\xa9<>{}|\\^`[]"), "caf%C3%A9%3C%3E%7B%7D%7C%5C%5E%60%5B%5D");
  EXPECT_EQ(TAVORequest::encodeParameters(platform::Dictionary{{"z", "1"}, {"a", "x y"}}), "z=1&a=x%20y");

  auto update = std::make_shared<TAVOUpdateUser>();
  update->initWithExtras(platform::Dictionary{{"color", "red&blue=x"}}, false);
  const auto request = TAVORequest::requestWithUpdateUser(update);
  const std::string& body = *request->HTTPBody;
  const std::string prefix = "apiUser=APPUSER0001&apiKey=KEY000009&json=";
  ASSERT_EQ(body.rfind(prefix, 0), 0u);
  EXPECT_EQ(body.substr(prefix.size()), TAVORequest::legacyPercentEscape(*update->serializeToJSONString()));
  EXPECT_NE(body.find("red&blue=x"), std::string::npos);  // reaches the body unescaped
}

TEST_F(RequestTest, AResentRequestCarriesTodaysCredentialsOnly) {
  const auto original = TAVORequest::requestWithOperations({eventOperation("a")});
  original->setRetriedTimes(3);
  const auto resent = TAVORequest::requestWithRequest(*original);
  EXPECT_EQ(resent->URL, original->URL);
  EXPECT_EQ(resent->retriedTimes(), 0u);
  EXPECT_EQ(resent->HTTPBody, std::optional<std::string>("apiUser=APPUSER0001&apiKey=KEY000009"));
  EXPECT_TRUE(resent->headerFields.empty());
  EXPECT_EQ(resent->operations().size(), 1u);  // kept to read the answer by
  EXPECT_EQ(resent->operations()[0], original->operations()[0]);
}

TEST_F(RequestTest, HeaderFieldsAddJoinAndSetReplace) {
  TAVORequest request;
  request.addValue("a", "X-Test");
  request.addValue("b", "x-test");
  request.setValue("1", "Content-Length");
  request.setValue("2", "content-length");
  EXPECT_EQ(request.valueForHTTPHeaderField("X-TEST"), std::optional<std::string>("a,b"));
  EXPECT_EQ(request.valueForHTTPHeaderField("Content-Length"), std::optional<std::string>("2"));
  EXPECT_EQ(request.headerFields.size(), 2u);
}

TEST_F(RequestTest, ResponseKindsFollowThePayload) {
  auto retrieving = std::make_shared<TAVOUpdateUser>();
  retrieving->initWithExtras(std::nullopt, true);
  EXPECT_EQ(TAVOOperation::operationWithTransmitObject(retrieving)->operationResponseType(), TAVOResponseUserData);
  EXPECT_EQ(TAVORequest::requestWithUpdateUser(retrieving)->getRequestResponseType(), TAVOResponseUserData);
  auto plain = std::make_shared<TAVOUpdateUser>();
  plain->init();
  EXPECT_EQ(TAVORequest::requestWithUpdateUser(plain)->getRequestResponseType(), TAVOResponseStatus);

  auto start = std::make_shared<TAVOEvent>();
  start->initWithRequest(TAVOEventRequest("tavo_start_session"));
  start->checkForRules();
  EXPECT_EQ(start->operationResponseType(), TAVOResponseStartSessionConfig);  // the start test comes first
  EXPECT_EQ(start->requestResponseType(), TAVOResponseRule);                  // alone: never kind 2

  auto reset = std::make_shared<TAVOResetUser>();
  reset->init();
  const auto resetOperation = TAVOOperation::operationWithTransmitObject(reset);
  EXPECT_EQ(resetOperation->operationResponseType(), TAVOResponseResetUser);
  EXPECT_EQ(resetOperation->action, "reset");
  EXPECT_EQ(resetOperation->type, "user");
  EXPECT_FALSE(reset->objectData.contains("tavo_impression_delegate"));
}

TEST_F(RequestTest, ParkedRequestsArchiveAndComeBackWithTheirProtocolIdentity) {
  auto start = std::make_shared<TAVOEvent>();
  start->initWithRequest(TAVOEventRequest("tavo_start_session"));
  const auto operation = TAVOOperation::operationWithTransmitObject(start);
  const auto request = TAVORequest::requestWithOperations({operation});
  request->setRetriedTimes(3);

  const auto data = platform::KeyedArchiver::archivedDataWithRootObject(
      Value(std::shared_ptr<platform::Codable>(request)));
  const auto back = platform::KeyedUnarchiver::unarchiveObjectWithData(data)->objectAs<TAVORequest>();
  ASSERT_TRUE(back);
  EXPECT_EQ(back->URL, request->URL);
  EXPECT_EQ(back->retriedTimes(), 3u);
  ASSERT_EQ(back->operations().size(), 1u);
  const auto restored = back->operations()[0];
  EXPECT_EQ(restored->operationId, operation->operationId);
  EXPECT_EQ(Value(restored->objectData), Value(operation->objectData));
  ASSERT_TRUE(restored->transmitObject);
  EXPECT_EQ(restored->operationResponseType(), TAVOResponseStartSessionConfig);
  EXPECT_TRUE(restored->transmitObject->isInmediate());
  EXPECT_EQ(restored->transmitObject->getType(), "event");
}

}  // namespace
}  // namespace tavo
