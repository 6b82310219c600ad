// The SDK on a full disk: every write of its store and of its cookie file fails. Tracking goes on (the start,
// a login and an event all reach the web service), every write that was lost says so in one log line, and once
// the disk has room again the next writes land.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "platform/CookieStorage.h"
#include "platform/FaultyFileSystem.h"
#include "platform/FaultyStorage.h"
#include "platform/FaultyUserDefaults.h"
#include "tavo/TAVO.h"
#include "tracking/TAVOUser.h"
#include "tracking/TAVOUserController.h"

namespace tavo {
namespace {

using platform::FakeHttpClient;
using testing::SdkTestEnvironment;
using testing::WireFormat;

constexpr const char* kKey = "APPUSER0001KEY123456";

FakeHttpClient::Answer serviceAnswer(const platform::HttpRequest& request) {
  if (request.url.ends_with("/tracker"))
    return FakeHttpClient::Answer::status(200, R"({"status":200,"config":{"events":[]}})");
  return FakeHttpClient::Answer::status(200, "200");
}

bool tellsOfALostWrite(const std::string& line) {
  return line.find("could not write") != std::string::npos || line.find("could not be written") != std::string::npos;
}

TEST(FullDiskTest, TheSdkGoesOnAndLogsEveryWriteItLost) {
  SdkTestEnvironment env;
  env.http().setResponder(serviceAnswer);
  auto& platform = env.platform();
  const auto disk = std::make_shared<platform::FaultyStorage>();
  platform.userDefaults = std::make_shared<platform::FaultyUserDefaults>(platform.userDefaults, disk);
  platform.fileSystem = std::make_shared<platform::FaultyFileSystem>(platform.fileSystem, disk);
  platform.cookieStorage =
      std::make_shared<platform::CookieStorage>(platform.fileSystem, [clock = platform.clock] { return clock->now(); });
  disk->setFull(true);
  TAVOLegacy::setDebuggerOutput(true);

  TAVOLegacy::startSession(std::string(kKey));
  env.drainQueues();
  TAVOLegacy::loginUser(std::string("ada"), std::string("ada@example.com"));
  TAVOLegacy::trackEvent(TAVOEventRequest("level_up"));
  TAVOLegacy::setWebSDKDomain(std::string("example.com"));
  TAVOLegacy::syncWithWebSDK();
  platform.mainLoop->runFor(TAVOConfiguration().queueTime + 0.5);
  env.drainQueues();

  EXPECT_TRUE(TAVOLegacy::isSessionStarted());
  bool eventSent = false;
  for (const auto& request : env.http().requests())
    for (const auto& operation : WireFormat::batchOperations(request.body))
      if (const auto* params = operation.get("params"); params && params->get("eventName"))
        eventSent = eventSent || *params->get("eventName") == platform::Value("level_up");
  EXPECT_TRUE(eventSent);
  EXPECT_EQ(platform.cookieStorage->cookies().size(), 1u);  // the device cookie, for this launch only

  EXPECT_NE(TAVOUserController::getSavedUser()->userID, "ada");
  const std::size_t lost = disk->failedWrites();
  const auto lines = env.logLines();
  EXPECT_GT(lost, 3u);  // the install date, the session, the user, the cookie policy and its cookie at least
  EXPECT_EQ(static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), tellsOfALostWrite)), lost);
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Data store could not write tAVo-DataStore-UserModel"));

  disk->setFull(false);
  env.clearLog();
  TAVOLegacy::loginUser(std::string("ada"), std::string("ada@example.com"));
  EXPECT_EQ(TAVOUserController::getSavedUser()->userID, "ada");
  EXPECT_EQ(disk->failedWrites(), lost);
  const auto later = env.logLines();
  EXPECT_EQ(std::count_if(later.begin(), later.end(), tellsOfALostWrite), 0);
}

}  // namespace
}  // namespace tavo
