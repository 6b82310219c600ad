#include "FuzzEnvironment.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVORequestController.h"
#include "platform/InMemoryUserDefaults.h"
#include "platform/KeyedArchiver.h"

namespace tavo::fuzzing {

namespace {

FuzzEnvironment* instance = nullptr;

std::vector<platform::Data> archivedParkedRequests() {
  std::vector<platform::Data> archives;
  for (const auto& request : TAVOController::sharedInstance().requestController()->pendingRequests())
    archives.push_back(platform::KeyedArchiver::archivedDataWithRootObject(
        platform::Value(std::shared_ptr<platform::Codable>(request))));
  return archives;
}

platform::FakeHttpClient::Answer acceptEverything(const platform::HttpRequest&) {
  return platform::FakeHttpClient::Answer::status(200, R"({"status":200})");
}

}  // namespace

FuzzEnvironment& FuzzEnvironment::shared() {
  if (!instance) {
    // Never destroyed: libFuzzer leaves through exit() at any moment, and tearing the SDK down then would only
    // add noise. The directory holds nothing the next run needs.
    instance = new FuzzEnvironment();
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(instance->dataDirectory(), ignored);
    });
  }
  return *instance;
}

FuzzEnvironment::FuzzEnvironment() {
  auto& controller = TAVOController::sharedInstance();
  controller.setSessionKey(kSessionKey);
  controller.generateApiKeyAndApiUserFrom(kSessionKey);
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
}

void FuzzEnvironment::beginInput() {
  platform().userDefaults = std::make_shared<platform::InMemoryUserDefaults>();
  std::error_code ignored;
  std::filesystem::remove(platform().cookieStorage->path(), ignored);
  platform().cookieStorage = std::make_shared<platform::CookieStorage>(
      platform().fileSystem, [clock = platform().clock] { return clock->now(); });
  http().clear();
  http().setResponder(acceptEverything);
  environment_.clearLog();
  TAVOController::sharedInstance().initTAVO();
}

void FuzzEnvironment::finishInput() {
  // An answer may post to the main loop, and a main-loop task may send a request: go round until both rest.
  for (int round = 0; round < 16; ++round) {
    const std::size_t ran = platform().mainLoop->runPending();
    environment_.drainQueues();
    if (ran == 0) return;
  }
}

void FuzzEnvironment::expectCookieFileIsJSON() {
  const auto file = platform().fileSystem->contentsAtPath(platform().cookieStorage->path());
  if (!file) return;
  if (nlohmann::json::accept(file->begin(), file->end())) return;
  std::fprintf(stderr, "the cookie file is not JSON:\n%s\n", std::string(file->begin(), file->end()).c_str());
  std::abort();
}

void FuzzEnvironment::restartController() {
  environment_.drainQueues();
  TAVOController::sharedInstance().initTAVO();
}

void FuzzEnvironment::restartKeepingParkedRequests() {
  environment_.drainQueues();
  const auto parked = archivedParkedRequests();
  restartController();
  const auto restored = archivedParkedRequests();
  if (restored == parked) return;
  std::fprintf(stderr, "%zu requests parked, %zu read back after a restart%s\n", parked.size(), restored.size(),
               parked.size() == restored.size() ? ", not all the same" : "");
  std::abort();
}

}  // namespace tavo::fuzzing
