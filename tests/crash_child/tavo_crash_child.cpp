// A host that works the SDK hard on a data directory until it is killed: it tracks events, logs users in, opens
// attribution links, ends and starts sessions, and sends everything to the web service at BASE_URL. Every step
// is printed on stdout once the SDK call has returned, so the test that kills this process knows what was done
// before the kill; a parked request is printed once it is in the store.
//
//   tavo_crash_child work   DATA_DIR BASE_URL RUN   runs until killed
//   tavo_crash_child finish DATA_DIR BASE_URL RUN   a short run that ends cleanly: background, answers, exit 0

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "platform/Platform.h"
#include "tavo/TAVO.h"

namespace {

using tavo::TAVOLegacy;

constexpr const char* kSessionKey = "CRASHAPP001KEY123456";
constexpr int kFinishIterations = 40;
constexpr int kCampaigns = 6;

// One line, written at once: a kill never leaves half of it in the pipe.
void say(const std::string& what) {
  const std::string line = what + "\n";
  if (write(STDOUT_FILENO, line.data(), line.size()) < 0) _exit(4);
}

void pump(double seconds) { tavo::platform::Platform::shared().mainLoop->runFor(seconds); }

// Prints the operations of every request that was parked since the last look. A request is in the store by
// the time the controller lists it: it is parked and stored under the same lock.
void reportParked(std::set<const void*>& known) {
  const auto requests = tavo::TAVOController::sharedInstance().requestController();
  for (const auto& request : requests->pendingRequests()) {
    if (!known.insert(request.get()).second) continue;
    for (const auto& operation : request->operations()) say("parked " + operation->operationId);
  }
}

void step(int run, int i, std::set<const void*>& parked) {
  const std::string tag = std::to_string(run) + "-" + std::to_string(i);
  tavo::TAVOEventRequest event("crash-" + tag);
  event.attributes = tavo::Dictionary{{"run", run}, {"seq", i}};
  TAVOLegacy::trackEvent(event);
  say("tracked crash-" + tag);

  if (i % 5 == 0) {
    const std::string user = "user-" + tag;
    say("login-begin " + user);
    TAVOLegacy::loginUser(user, user + "@example.com");
    say("login-done " + user);
  }
  if (i % 7 == 3) {
    // A few campaigns clicked again and again: each click rewrites the stored list of all of them, and every
    // login carries the open ones, so the list stays short.
    const std::string campaign = "camp-" + std::to_string(i % kCampaigns);
    say("campaign-begin " + campaign);
    TAVOLegacy::handleLink("tavocrash://open?ecid=" + campaign + "&rt=true&aw=48&color=blue");
    say("campaign-done " + campaign);
  }
  if (i % 11 == 10) {
    auto& application = *tavo::platform::Platform::shared().application;
    say("session-end-begin");
    application.setApplicationState(tavo::platform::Application::Background);
    say("session-end-done");
    application.setApplicationState(tavo::platform::Application::Active);
  }
  pump(0.004);
  reportParked(parked);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5 || (std::strcmp(argv[1], "work") != 0 && std::strcmp(argv[1], "finish") != 0)) {
    std::fprintf(stderr, "usage: tavo_crash_child work|finish DATA_DIR BASE_URL RUN\n");
    return 2;
  }
  const bool finish = std::strcmp(argv[1], "finish") == 0;
  const int run = std::atoi(argv[4]);
  tavo::platform::Platform::install(tavo::platform::Platform::makeDefault(argv[2]));

  tavo::TAVOConfiguration configuration(std::string{kSessionKey});
  configuration.urlBase = std::string(argv[3]);
  configuration.queueTime = 1;
  TAVOLegacy::startSessionWithConfiguration(configuration);
  say("started " + std::to_string(run));

  std::set<const void*> parked;
  for (int i = 0; !finish || i < kFinishIterations; ++i) step(run, i, parked);

  // A clean end: the background flushes what is gathered; then every answer is waited for.
  say("session-end-begin");
  tavo::platform::Platform::shared().application->setApplicationState(tavo::platform::Application::Background);
  say("session-end-done");
  pump(2.0);
  reportParked(parked);
  say("finished " + std::to_string(TAVOLegacy::isSessionStarted() ? 1 : 0));
  return 0;
}
