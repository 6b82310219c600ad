#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "SdkTestEnvironment.h"
#include "emulator/Emulator.h"

namespace tavo::platform::ui {
class ViewController;
class Window;
}  // namespace tavo::platform::ui

namespace tavo::testing {

// The SDK with its UI model against the emulator over real sockets: a manual clock for views and timers, a
// store in memory, the URLs the app is asked to open written down.
class InAppTestEnvironment {
 public:
  // The emulator's fixtures as JSON text; its default set when empty.
  explicit InAppTestEnvironment(const std::string& fixturesJSON = "");
  ~InAppTestEnvironment();

  // Starts a session (which installs the screen-event hooks) and waits until the web service has it.
  void startSession();
  // Runs queues, network and the main loop (the clock stands still) until done() or 5 s of real time.
  bool settleUntil(const std::function<bool()>& done);
  void advance(double seconds);
  void show(const std::shared_ptr<platform::ui::ViewController>& controller);

  // The screen events the web service received, by screen name, in order of arrival.
  std::vector<std::string> screenEvents() const;
  emulator::InAppLedger::Entry tally(int campaignType, const std::string& campaignId) const;
  const std::vector<std::string>& openedURLs() const { return openedURLs_; }
  emulator::Emulator& emulator() { return *emulator_; }
  SdkTestEnvironment& sdk() { return sdk_; }

 private:
  void installNetwork();

  std::unique_ptr<emulator::Emulator> emulator_;
  SdkTestEnvironment sdk_;
  std::vector<std::string> openedURLs_;
  std::shared_ptr<platform::ui::Window> window_;
};

}  // namespace tavo::testing
