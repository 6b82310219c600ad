#include "SdkTestEnvironment.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "core/TAVOController.h"
#include "core/TAVOControllerTestAccess.h"
#include "core/TAVOLogger.h"
#include "network/TAVORequestController.h"
#include "platform/PlatformForTesting.h"
#include "platform/SqliteUserDefaults.h"
#include "tracking/TAVOEventController.h"

namespace tavo::testing {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = (fs::temp_directory_path() / "tavo-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

SdkTestEnvironment::SdkTestEnvironment(Store store) : store_(store) {
  std::string pattern = (fs::temp_directory_path() / "tavo-sdk-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  directory_ = pattern;
  install();
}

SdkTestEnvironment::~SdkTestEnvironment() {
  // Answers still in flight must not reach the next test's controller.
  if (platform_ && platform_->operationQueue) drainQueues();
  TAVOControllerTestAccess::replaceSharedInstance();
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDefaultMask);
  platform::Platform::install(nullptr);
  std::error_code ignored;
  fs::remove_all(directory_, ignored);
}

void SdkTestEnvironment::startSession(const std::string& key, bool noScreenEvents) {
  auto& controller = TAVOController::sharedInstance();
  controller.generateApiKeyAndApiUserFrom(key);
  controller.setSessionKey(key);
  if (noScreenEvents) controller.eventController()->parseScreenEvents(platform::Value(platform::Array{}));
}

void SdkTestEnvironment::install() {
  auto platform = platform::PlatformForTesting::make(directory_);
  if (store_ == Store::File)
    platform->userDefaults = std::make_shared<platform::SqliteUserDefaults>(directory_ + "/UserDefaults.sqlite");
  // Keep virtual time running across a restart, as wall time would.
  if (clock_) {
    platform->clock = clock_;
    platform->mainLoop = std::make_shared<platform::MainLoop>(clock_);
  } else {
    clock_ = std::dynamic_pointer_cast<platform::ManualClock>(platform->clock);
  }
  platform_ = std::move(platform);
  captureLog();
  platform::Platform::install(platform_);
  TAVOControllerTestAccess::replaceSharedInstance();
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDefaultMask);
}

void SdkTestEnvironment::captureLog() {
  platform_->systemLog->setHandler([this](const std::string& line) {
    std::lock_guard lock(logMutex_);
    log_.push_back(line);
  });
}

void SdkTestEnvironment::restart() {
  drainQueues();
  install();
}

platform::FakeHttpClient& SdkTestEnvironment::http() {
  auto fake = std::dynamic_pointer_cast<platform::FakeHttpClient>(platform_->httpClient);
  if (!fake) throw std::logic_error("this test installed a real HTTP client");
  return *fake;
}

void SdkTestEnvironment::drainQueues() {
  TAVOController* controller = TAVOControllerTestAccess::existingInstance();
  auto requests = controller ? controller->requestController() : nullptr;
  // An answer on the wire becomes work on a queue, and handling it may send again: quiet only when all three
  // are empty at once. Bounded: a server that never answers must not hang the suite.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < deadline) {
    platform_->operationQueue->waitUntilAllOperationsAreFinished();
    if (requests) requests->queue()->waitUntilAllOperationsAreFinished();
    const bool queuesIdle =
        platform_->operationQueue->operationCount() == 0 && (!requests || requests->queue()->operationCount() == 0);
    const std::size_t onTheWire = platform_->httpClient ? platform_->httpClient->requestsInFlight() : 0;
    if (queuesIdle && onTheWire == 0) return;
    if (onTheWire > 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

std::vector<std::string> SdkTestEnvironment::logLines() const {
  std::lock_guard lock(logMutex_);
  return log_;
}

bool SdkTestEnvironment::logged(const std::string& line) const { return countLogged(line) > 0; }

std::size_t SdkTestEnvironment::countLogged(const std::string& line) const {
  std::lock_guard lock(logMutex_);
  return static_cast<std::size_t>(std::count(log_.begin(), log_.end(), line));
}

void SdkTestEnvironment::clearLog() {
  std::lock_guard lock(logMutex_);
  log_.clear();
}

}  // namespace tavo::testing
