#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace tavo::platform::ui {

class ViewController;

// The four appearance callbacks of every view controller.
enum class AppearanceCallback { ViewWillAppear = 0, ViewDidAppear = 1, ViewWillDisappear = 2, ViewDidDisappear = 3 };

// Why a hook could not be installed: an error of the platform's Cocoa domain.
struct HookError {
  std::string domain = "NSCocoaErrorDomain";
  long code = -1;
  std::string localizedDescription;
};

// What exchanging method implementations on the base view-controller class gives, without touching any
// class: a hook installed here wraps one appearance callback of every view controller, the host's too. It is
// handed the controller, the animated flag and the platform's own implementation, which it may call or skip.
// A hook installed later wraps the earlier ones. Hooks stay for the life of the process. Main thread only.
class AppearanceHookRegistry {
 public:
  using Original = std::function<void()>;
  using Hook = std::function<void(ViewController& controller, bool animated, const Original& original)>;

  // The process's registry.
  static AppearanceHookRegistry& shared();

  // Wraps originalSelector ("viewWillAppear:", "viewDidAppear:", "viewWillDisappear:" or "viewDidDisappear:")
  // with hook, installed under alternateSelector (the name the hook goes by). False, with error set, when the
  // original is not one of the four or there is no hook to install: "%s: original method %@ not found for
  // class %@" or "%s: alternate method %@ not found for class %@".
  bool exchange(const std::string& originalSelector, const std::string& alternateSelector, Hook hook, HookError* error);

  // Runs callback on controller through the installed hooks, innermost last, then original.
  void invoke(AppearanceCallback callback, ViewController& controller, bool animated, const Original& original) const;

 private:
  std::array<std::vector<Hook>, 4> hooks_;
};

}  // namespace tavo::platform::ui
