#include "platform/ui/AppearanceHookRegistry.h"

#include <optional>

#include "platform/ui/UserInterface.h"

namespace tavo::platform::ui {

namespace {

constexpr const char* kBaseClass = "UIViewController";
constexpr const char* kExchangeFunction = "AppearanceHookRegistry::exchange";

std::optional<AppearanceCallback> callbackNamed(const std::string& selector) {
  if (selector == "viewWillAppear:") return AppearanceCallback::ViewWillAppear;
  if (selector == "viewDidAppear:") return AppearanceCallback::ViewDidAppear;
  if (selector == "viewWillDisappear:") return AppearanceCallback::ViewWillDisappear;
  if (selector == "viewDidDisappear:") return AppearanceCallback::ViewDidDisappear;
  return std::nullopt;
}

void fail(HookError* error, const char* which, const std::string& selector) {
  if (!error) return;
  *error = HookError{};
  error->localizedDescription =
      std::string(kExchangeFunction) + ": " + which + " method " + selector + " not found for class " + kBaseClass;
}

}  // namespace

AppearanceHookRegistry& AppearanceHookRegistry::shared() {
  static AppearanceHookRegistry registry;
  return registry;
}

bool AppearanceHookRegistry::exchange(const std::string& originalSelector, const std::string& alternateSelector,
                                      Hook hook, HookError* error) {
  UserInterface::checkMainThread("AppearanceHookRegistry::exchange");
  const auto callback = callbackNamed(originalSelector);
  if (!callback) {
    fail(error, "original", originalSelector);
    return false;
  }
  if (!hook || alternateSelector.empty()) {
    fail(error, "alternate", alternateSelector);
    return false;
  }
  hooks_[static_cast<std::size_t>(*callback)].push_back(std::move(hook));
  return true;
}

void AppearanceHookRegistry::invoke(AppearanceCallback callback, ViewController& controller, bool animated,
                                    const Original& original) const {
  // A copy: a hook may install another one while it runs.
  const auto hooks = hooks_[static_cast<std::size_t>(callback)];
  std::function<void(std::size_t)> call = [&](std::size_t depth) {
    if (depth == 0) return original();
    hooks[depth - 1](controller, animated, [&, depth] { call(depth - 1); });
  };
  call(hooks.size());
}

}  // namespace tavo::platform::ui
