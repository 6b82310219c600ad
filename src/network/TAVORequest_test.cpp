#include "network/TAVORequest.h"

#include <gtest/gtest.h>

#include <limits>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "network/TAVOResponseType.h"
#include "network/TAVOUpdateUser.h"
#include "tavo/TAVOEventRequest.h"
#include "tracking/TAVOEvent.h"

namespace tavo {
namespace {

using platform::Dictionary;
using platform::Value;
using testing::WireFormat;

constexpr const char* kBase = "https://api.tavo.example/ws/";

// What each builder puts on the wire: URL, header fields and body, read as the web service reads them.
class RequestTest : public ::testing::Test {
 protected:
  void SetUp() override {
    TAVOController::sharedInstance().generateApiKeyAndApiUserFrom(std::string("APPUSER0001KEY000009"));
    TAVOController::sharedInstance().requestController()->setWebservicesURL(kBase);
  }
  static std::shared_ptr<TAVOOperation> eventOperation(const std::string& token, bool rule = false,
                                                       std::optional<Dictionary> attributes = std::nullopt) {
    TAVOEventRequest request(token);
    request.attributes = std::move(attributes);
    auto event = std::make_shared<TAVOEvent>();
    event->initWithRequest(request);
    if (rule) event->checkForRules();
    return TAVOOperation::operationWithTransmitObject(event);
  }
  static std::shared_ptr<TAVORequest> userUpdate(std::int32_t type, std::optional<Dictionary> extras = std::nullopt) {
    auto update = std::make_shared<TAVOUpdateUser>();
    update->initWithExtras(extras, false);
    update->updateUserType = type;
    return TAVORequest::requestWithUpdateUser(update);
  }
  testing::SdkTestEnvironment env;
};

TEST_F(RequestTest, ABatchCarriesItsOperationsInOrderUnderJsonAndCredentialHeaderFields) {
  const auto first = eventOperation("first");
  const auto unwritable = eventOperation("nan", false, Dictionary{{"x", std::numeric_limits<double>::quiet_NaN()}});
  const auto last = eventOperation("last");
  const auto batch = TAVORequest::requestWithOperations({first, unwritable, last});
  EXPECT_EQ(batch->URL, std::string(kBase) + "tracker");
  EXPECT_EQ(batch->HTTPMethod, "POST");
  using Fields = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(batch->headerFields, (Fields{{"Accept", "application/json"},
                                         {"Content-Type", "application/json"},
                                         {"apiUser", "APPUSER0001"},
                                         {"apiKey", "KEY000009"},
                                         {"Content-Length", std::to_string(batch->HTTPBody->size())}}));
  // The operation JSON cannot carry stays out, alone: the answer is read against what was sent.
  const auto sent = WireFormat::batchOperations(*batch->HTTPBody);
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(*sent[0].get("id"), Value(first->operationId));
  EXPECT_EQ(*sent[1].get("params")->get("eventName"), Value("last"));
  EXPECT_EQ(batch->operations(), (std::vector<std::shared_ptr<TAVOOperation>>{first, last}));

  batch->addValue("text/plain", "ACCEPT");  // a repeated field joins its values, whatever its case
  EXPECT_EQ(batch->valueForHTTPHeaderField("accept"), std::optional<std::string>("application/json,text/plain"));
}

TEST_F(RequestTest, AFormBodyIsTheCredentialsThenThePayloadEscapedOnlyWhereAUrlCannotCarryIt) {
  const std::string note = "a&b=c+d?f:g h \xC3\xA9";
  const auto request = userUpdate(TAVOUpdateUser::Update, Dictionary{{"note", note}});
  const std::string& body = *request->HTTPBody;
  EXPECT_EQ(body.rfind("apiUser=APPUSER0001&apiKey=KEY000009&json=", 0), 0u) << body;
  EXPECT_NE(body.find("a&b=c+d?f:g%20h%20%C3%A9"), std::string::npos) << body;
  EXPECT_TRUE(request->headerFields.empty());
  EXPECT_EQ(*WireFormat::formPayload(body)->get("note"), Value(note));
}

TEST_F(RequestTest, EachUserUpdateTypeGoesToItsOwnAction) {
  const std::vector<std::pair<std::int32_t, std::string>> actions{
      {-1, "updateuser"}, {0, "updateuser"}, {1, "firstlogin"}, {2, "newregister"}, {3, "updateuser"}};
  for (const auto& [type, action] : actions) EXPECT_EQ(userUpdate(type)->URL, kBase + action) << type;
}

TEST_F(RequestTest, AResentRequestCarriesTodaysCredentialsOnlyAndMissingOnesGoEmpty) {
  const auto parked = TAVORequest::requestWithOperations({eventOperation("x")});
  const auto resent = TAVORequest::requestWithRequest(*parked);
  EXPECT_EQ(resent->URL, parked->URL);
  EXPECT_EQ(resent->HTTPBody, std::optional<std::string>("apiUser=APPUSER0001&apiKey=KEY000009"));
  EXPECT_TRUE(resent->headerFields.empty());
  EXPECT_EQ(resent->operations(), parked->operations());  // its answer is read against them

  testing::SdkTestEnvironment fresh;  // a controller that never saw a key
  TAVOController::sharedInstance().requestController()->setWebservicesURL("https://api.tavo.example/ws");
  const auto batch = TAVORequest::requestWithOperations({eventOperation("x")});
  EXPECT_FALSE(batch->valueForHTTPHeaderField("apiUser"));
  EXPECT_FALSE(batch->valueForHTTPHeaderField("apiKey"));
  EXPECT_EQ(batch->URL, "https://api.tavo.example/wstracker");  // nothing repairs a base without "/"
  EXPECT_EQ(userUpdate(0)->HTTPBody->rfind("apiUser=&apiKey=&json=", 0), 0u);
}

// Every answered operation asks whether its batch holds the start-session event (then read as the
// configuration); the request finds out once per list of operations, and must follow a list that changed.
TEST_F(RequestTest, WhetherABatchHoldsTheStartSessionEventFollowsItsOperationsAsTheyChange) {
  const auto start = eventOperation(TAVOEvent::kStartSessionToken, true);
  const auto plain = eventOperation("product_viewed");
  const auto rule = eventOperation("home_screen", true);
  EXPECT_EQ(start->operationResponseType(), TAVOResponseStartSessionConfig);  // the start test comes first
  const auto request = TAVORequest::requestWithOperations({plain, start, rule});
  EXPECT_TRUE(request->containsStartSessionEvent());
  EXPECT_TRUE(request->containsStartSessionEvent());
  request->setOperations({plain});  // a failed batch drops its rule checks, the start-session event among them
  EXPECT_FALSE(request->containsStartSessionEvent());
  request->setOperations({rule, start});
  EXPECT_TRUE(request->containsStartSessionEvent());
}

}  // namespace
}  // namespace tavo
