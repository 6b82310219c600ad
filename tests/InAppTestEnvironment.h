#pragma once

#include <functional>
#include <memory>
#include <optional>
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
// store in a file (restart() is a new process on it), every URL the app is asked to open written down.
class InAppTestEnvironment {
 public:
  // fixturesJSON: the emulator's fixtures; the default set when empty.
  explicit InAppTestEnvironment(const std::string& fixturesJSON = "");
  ~InAppTestEnvironment();

  // Starts a session (screen events on) and waits until the web service has it.
  void startSession();
  void restart();
  // Runs queues, network and the main loop (without moving the clock) until done() or 5 s of real time.
  bool settleUntil(const std::function<bool()>& done);
  // Moves the clock on, running timers and animations.
  void advance(double seconds);
  std::shared_ptr<platform::ui::Window> show(const std::shared_ptr<platform::ui::ViewController>& controller);

  // The names of the screen events the web service received, in order.
  std::vector<std::string> screenEvents() const;
  emulator::InAppLedger::Entry tally(int campaignType, const std::string& campaignId) const;
  std::vector<std::string> openedURLs() const { return openedURLs_; }

  emulator::Emulator& emulator() { return *emulator_; }
  SdkTestEnvironment& sdk() { return sdk_; }

 private:
  void installNetwork();

  std::unique_ptr<emulator::Emulator> emulator_;
  SdkTestEnvironment sdk_{SdkTestEnvironment::Store::File};
  std::vector<std::string> openedURLs_;
  std::shared_ptr<platform::ui::Window> window_;
};

}  // namespace tavo::testing
