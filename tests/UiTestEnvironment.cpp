#include "UiTestEnvironment.h"

#include <algorithm>

#include "core/TAVOLogger.h"
#include "platform/PlatformForTesting.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"

namespace tavo::testing {

namespace {

std::vector<std::string>* appearances = nullptr;

// Hooks stay for the process, as on the platform: install them once, recording into the current test.
void installRecordingHooks() {
  static bool installed = false;
  if (installed) return;
  installed = true;
  const std::pair<const char*, const char*> callbacks[] = {{"viewWillAppear:", "willAppear"},
                                                           {"viewDidAppear:", "didAppear"},
                                                           {"viewWillDisappear:", "willDisappear"},
                                                           {"viewDidDisappear:", "didDisappear"}};
  for (const auto& [selector, name] : callbacks) {
    platform::ui::ViewController::appearanceHooks().exchange(
        selector, std::string("record_") + selector,
        [name = std::string(name)](platform::ui::ViewController& controller, bool, const auto& original) {
          if (appearances) appearances->push_back(controller.className() + "." + name);
          original();
        },
        nullptr);
  }
}

std::vector<std::string> recorded;

}  // namespace

UiTestEnvironment::UiTestEnvironment() {
  platform_ = platform::PlatformForTesting::make(directory_.path());
  clock_ = std::static_pointer_cast<platform::ManualClock>(platform_->clock);
  platform_->systemLog->setHandler([this](const std::string& line) {
    std::lock_guard lock(logMutex_);
    log_.push_back(line);
  });
  platform::Platform::install(platform_);
  // Refusals are logged at the plain level, which the default mask hides.
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  installRecordingHooks();
  recorded.clear();
  appearances = &recorded;
}

UiTestEnvironment::~UiTestEnvironment() {
  appearances = nullptr;
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDefaultMask);
  platform::Platform::install(nullptr);
}

void UiTestEnvironment::advance(double seconds) { platform_->mainLoop->runFor(seconds); }

void UiTestEnvironment::drain() {
  for (int i = 0; i < 20 && platform_->mainLoop->runPending() > 0; ++i) {
  }
}

std::shared_ptr<platform::ui::Window> UiTestEnvironment::show(
    const std::shared_ptr<platform::ui::ViewController>& controller) {
  auto window = std::make_shared<platform::ui::Window>();
  window->setRootViewController(controller);
  window->makeKeyAndVisible();
  return window;
}

std::vector<std::string> UiTestEnvironment::takeAppearances() { return std::exchange(recorded, {}); }

bool UiTestEnvironment::logged(const std::string& fragment) const {
  std::lock_guard lock(logMutex_);
  return std::any_of(log_.begin(), log_.end(),
                     [&](const auto& line) { return line.find(fragment) != std::string::npos; });
}

}  // namespace tavo::testing
