#include "core/TAVOLogger.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/TAVOError.h"

namespace tavo {
namespace {

class TAVOLoggerTest : public ::testing::Test {
 protected:
  testing::SdkTestEnvironment env;
};

TEST_F(TAVOLoggerTest, TheDefaultMaskPrintsOnlyErrorsAndTheDebugMaskEveryLevelWithItsNumber) {
  const auto logEveryLevel = [] {
    TAVOLogger::log("Starting TAVO session:%@", "k");
    TAVOLogger::logAndType("QueueCompleted", TAVOLogger::Verbose);
    TAVOLogger::logAndType("UITabBarController has not items loads", TAVOLogger::Warning);
    TAVOLogger::logAndType("Request failed with message: boom", TAVOLogger::Error);
  };
  logEveryLevel();
  EXPECT_EQ(env.logLines(), std::vector<std::string>{"TAVOLogger: 16 - Request failed with message: boom"});
  env.clearLog();
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  logEveryLevel();
  EXPECT_EQ(env.logLines(),
            (std::vector<std::string>{"TAVOLogger: 4 - Starting TAVO session:k", "TAVOLogger: 2 - QueueCompleted",
                                      "TAVOLogger: 8 - UITabBarController has not items loads",
                                      "TAVOLogger: 16 - Request failed with message: boom"}));
}

TEST_F(TAVOLoggerTest, ErrorsCarryTheFixedKeysTheHostLocalises) {
  env.platform().bundle->setLocalizedStrings("", platform::Dictionary{{"ServerError", "Server failed"}});
  const TAVOError server = TAVOError::errorWithCode(0);
  EXPECT_EQ(server.localizedDescription(), "Server failed");
  EXPECT_EQ(*server.userInfo().find(TAVOError::kLocalizedFailureReasonErrorKey),
            platform::Value("ServerErrorDescription"));
  EXPECT_EQ(server.userInfo().find(TAVOError::kLocalizedRecoverySuggestionErrorKey), nullptr);

  EXPECT_EQ(TAVOError::errorWithCode(1).localizedDescription(), "ResponseParseError");
  for (int code : {2, 7}) {
    const TAVOError other = TAVOError::errorWithCode(code);
    EXPECT_EQ(other.localizedDescription(), "UnexpectedError");
    EXPECT_EQ(*other.userInfo().find(TAVOError::kLocalizedFailureReasonErrorKey),
              platform::Value("UnexpectedErrorDescription"));
    EXPECT_EQ(*other.userInfo().find(TAVOError::kLocalizedRecoverySuggestionErrorKey),
              platform::Value("UnexpedtedErrorRecovery"));
  }
}

}  // namespace
}  // namespace tavo
