#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "SdkTestEnvironment.h"
#include "platform/Platform.h"

namespace tavo::platform::ui {
class ViewController;
class Window;
}  // namespace tavo::platform::ui

namespace tavo::testing {

// A fresh platform for one test of the UI toolkit: manual clock, system-log lines captured, and every
// appearance callback of every view controller written down ("Name.willAppear", ...) through a hook.
class UiTestEnvironment {
 public:
  UiTestEnvironment();
  ~UiTestEnvironment();

  platform::Platform& platform() { return *platform_; }
  platform::ManualClock& clock() { return *clock_; }
  // Runs what is due, then moves the clock on by seconds (running timers and animations on the way).
  void advance(double seconds);
  // Runs what is posted, and what that posts, without moving the clock.
  void drain();

  // A visible key window with controller as its root.
  std::shared_ptr<platform::ui::Window> show(const std::shared_ptr<platform::ui::ViewController>& controller);

  // The appearance callbacks heard since the last call, then forgotten.
  std::vector<std::string> takeAppearances();
  bool logged(const std::string& fragment) const;

 private:
  TemporaryDirectory directory_;
  std::shared_ptr<platform::Platform> platform_;
  std::shared_ptr<platform::ManualClock> clock_;
  mutable std::mutex logMutex_;
  std::vector<std::string> log_;
};

}  // namespace tavo::testing
