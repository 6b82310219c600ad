// Every answered operation of a batch asks whether the batch holds the start-session event; the request
// finds out once per list of operations, and must follow a list that changed.
#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequest.h"
#include "tavo/TAVOEventRequest.h"
#include "tracking/TAVOEvent.h"

namespace tavo {
namespace {

std::shared_ptr<TAVOOperation> eventOperation(const std::string& token, bool rule) {
  auto event = std::make_shared<TAVOEvent>();
  event->initWithRequest(TAVOEventRequest(token));
  if (rule) event->checkForRules();
  return TAVOOperation::operationWithTransmitObject(event);
}

TEST(TAVORequestStartSession, TheAnswerFollowsTheBatchsOperationsAsTheyChange) {
  testing::SdkTestEnvironment env;
  const auto start = eventOperation(TAVOEvent::kStartSessionToken, true);
  const auto plain = eventOperation("product_viewed", false);
  const auto rule = eventOperation("home_screen", true);

  const auto request = TAVORequest::requestWithOperations({plain, start, rule});
  EXPECT_TRUE(request->containsStartSessionEvent());
  EXPECT_TRUE(request->containsStartSessionEvent());
  // A failed batch drops its rule checks, the start-session event among them.
  request->setOperations({plain});
  EXPECT_FALSE(request->containsStartSessionEvent());
  request->setOperations({rule, start});
  EXPECT_TRUE(request->containsStartSessionEvent());
  request->setOperations({});
  EXPECT_FALSE(request->containsStartSessionEvent());

  EXPECT_FALSE(TAVORequest::requestWithOperations({plain, rule})->containsStartSessionEvent());
}

}  // namespace
}  // namespace tavo
