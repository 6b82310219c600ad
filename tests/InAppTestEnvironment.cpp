#include "InAppTestEnvironment.h"

#include <chrono>
#include <thread>

#include "core/TAVOLogger.h"
#include "platform/ui/ImageLoader.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/Window.h"
#include "tavo/TAVO.h"

namespace tavo::testing {

InAppTestEnvironment::InAppTestEnvironment(const std::string& fixturesJSON) {
  emulator::Emulator::Options options;
  if (!fixturesJSON.empty()) options.fixtures = emulator::EmulatorFixtures::fromJSON(fixturesJSON);
  emulator_ = std::make_unique<emulator::Emulator>(std::move(options));
  installNetwork();
}

InAppTestEnvironment::~InAppTestEnvironment() {
  window_.reset();
  sdk_.drainQueues();
}

void InAppTestEnvironment::installNetwork() {
  auto& platform = sdk_.platform();
  platform.httpClient = std::make_shared<platform::CurlHttpClient>(platform.operationQueue);
  platform.application->setOpenURLHandler([this](const std::string& url) {
    openedURLs_.push_back(url);
    return true;
  });
}

void InAppTestEnvironment::startSession() {
  TAVOConfiguration configuration("APPUSER0001KEY123456");
  configuration.urlBase = emulator_->baseURL();
  TAVOLegacy::startSessionWithConfiguration(configuration);
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  settleUntil([] { return TAVOLegacy::isSessionStarted(); });
}

bool InAppTestEnvironment::settleUntil(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < deadline) {
    sdk_.drainQueues();
    platform::ui::UserInterface::current().imageLoader().waitUntilDecoded();
    sdk_.platform().mainLoop->runPending();
    if (done()) return true;
    // Waiting for the emulator's sockets, not for time to pass.
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return done();
}

void InAppTestEnvironment::advance(double seconds) { sdk_.platform().mainLoop->runFor(seconds); }

void InAppTestEnvironment::show(const std::shared_ptr<platform::ui::ViewController>& controller) {
  if (!window_) window_ = std::make_shared<platform::ui::Window>();
  window_->setRootViewController(controller);
  window_->makeKeyAndVisible();
}

std::vector<std::string> InAppTestEnvironment::screenEvents() const {
  std::vector<std::string> names;
  for (const auto& request : emulator_->requests())
    for (std::size_t i = 0; i < request.operations.size(); ++i) {
      const auto* params = request.params(i);
      if (!params || !params->contains("attributes")) continue;
      const auto& attributes = (*params)["attributes"];
      if (attributes.value("e_event_type", "") == "e_screen_event")
        names.push_back(attributes.value("e_screen_name", ""));
    }
  return names;
}

emulator::InAppLedger::Entry InAppTestEnvironment::tally(int campaignType, const std::string& campaignId) const {
  for (const auto& entry : emulator_->inAppEntries())
    if (entry.campaignType == campaignType && entry.campaignId == campaignId) return entry;
  return {};
}

}  // namespace tavo::testing
