#include "attribution/TAVOShortUrlController.h"

#include <gtest/gtest.h>

#include <mutex>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVORequestController.h"
#include "tracking/TAVOEventController.h"

namespace tavo {
namespace {

using platform::FakeHttpClient;
using platform::Value;
using testing::SdkTestEnvironment;
using testing::WireFormat;

constexpr const char* kKey = "APPUSER0001KEY000009";

void startSession() { SdkTestEnvironment::startSession(kKey); }

// The host's continue-user-activity handler: records each web-page URL.
struct ActivityRecorder {
  std::mutex mutex;
  std::vector<std::string> urls;

  void install(platform::Platform& platform) {
    platform.application->setContinueUserActivityHandler([this](const std::string& url) {
      std::lock_guard lock(mutex);
      urls.push_back(url);
      return true;
    });
  }
  std::vector<std::string> received() {
    std::lock_guard lock(mutex);
    return urls;
  }
};

class ShortUrlTest : public ::testing::Test {
 protected:
  ShortUrlTest() { startSession(); }

  static std::shared_ptr<TAVOShortUrlController> shortUrls() {
    return TAVOController::sharedInstance().shortUrlController();
  }
  // The operations of every batch sent so far.
  std::vector<Value> operationsSent() {
    env.drainQueues();
    std::vector<Value> out;
    for (const auto& request : env.http().requests())
      for (const auto& operation : WireFormat::batchOperations(request.body)) out.push_back(operation);
    return out;
  }

  SdkTestEnvironment env;
  ActivityRecorder activities;
};

TEST_F(ShortUrlTest, TheIdentifierIsTheLastPathComponentWithoutItsTilde) {
  shortUrls()->resolveShortUrl("https://s.tavo.link/a/~xyz");
  shortUrls()->resolveShortUrl("https://s.tavo.link/xyz?utm=1");
  shortUrls()->resolveShortUrl("https://s.tavo.link");  // no path: nothing to resolve
  shortUrls()->resolveShortUrl("https://s.tavo.link/~");
  const auto sent = operationsSent();
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(*sent[0].get("params")->get("stu_id"), Value("xyz"));
  EXPECT_EQ(*sent[1].get("params")->get("stu_id"), Value("xyz"));
  EXPECT_EQ(*sent[2].get("params")->get("stu_id"), Value(""));
}

TEST_F(ShortUrlTest, ShortDomainsMatchAnywhereInTheHostDefaultsFirst) {
  EXPECT_FALSE(shortUrls()->isShortQuorvelDomain(std::nullopt));
  EXPECT_TRUE(shortUrls()->isShortQuorvelDomain(std::string("https://x.tavo.linkage.example/a")));
  EXPECT_FALSE(shortUrls()->isShortQuorvelDomain(std::string("https://tavo.link/a")));  // no leading dot
  EXPECT_FALSE(shortUrls()->isShortQuorvelDomain(std::string("https://brand.example/a")));
  EXPECT_FALSE(shortUrls()->isShortQuorvelDomain(std::string("no url at all")));
  shortUrls()->setCustomShortQuorvelDomains(std::vector<std::string>{"brand.example"});
  EXPECT_TRUE(shortUrls()->isShortQuorvelDomain(std::string("https://go.brand.example/a")));
  shortUrls()->setCustomShortQuorvelDomains(std::nullopt);
  EXPECT_FALSE(shortUrls()->isShortQuorvelDomain(std::string("https://go.brand.example/a")));
}

TEST_F(ShortUrlTest, AFailedResolveIsDroppedNotRetriedAndOpensNothing) {
  activities.install(env.platform());
  env.http().setResponder([](const platform::HttpRequest&) { return FakeHttpClient::Answer::transportError(); });
  TAVOController::sharedInstance().handleLink(std::string("https://s.tavo.link/abc"));
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 1u);
  env.http().setResponder(
      [](const platform::HttpRequest&) { return FakeHttpClient::Answer::status(200, R"({"status":404})"); });
  TAVOController::sharedInstance().handleLink(std::string("https://s.tavo.link/def"));
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 2u);
  const auto requests = TAVOController::sharedInstance().requestController();
  EXPECT_TRUE(requests->pendingRequests().empty());
  env.platform().mainLoop->runFor(11);
  EXPECT_EQ(env.http().requestCount(), 2u);
  EXPECT_TRUE(activities.received().empty());
}

TEST_F(ShortUrlTest, WithoutAHostHandlerTheLongUrlIsOnlyLogged) {
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, R"({"status":200,"data":{"url":"myapp://x"}})"));
  shortUrls()->resolveShortUrl("https://s.tavo.link/abc");
  env.drainQueues();
  env.platform().mainLoop->runPending();
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - continueUserActivity delegate is not implemented"));
  // An answer without a url reports success and opens nothing.
  env.clearLog();
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, R"({"status":200,"data":{}})"));
  shortUrls()->resolveShortUrl("https://s.tavo.link/abc");
  env.drainQueues();
  env.platform().mainLoop->runPending();
  EXPECT_FALSE(env.logged("TAVOLogger: 4 - continueUserActivity delegate is not implemented"));
  EXPECT_TRUE(TAVOController::sharedInstance().requestController()->pendingRequests().empty());
}

}  // namespace
}  // namespace tavo
