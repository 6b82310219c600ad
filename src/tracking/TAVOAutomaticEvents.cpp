#include "tracking/TAVOAutomaticEvents.h"

#include <array>
#include <cstdlib>
#include <set>

#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "inapp/TAVOPromotionViewController.h"
#include "platform/ClassRegistry.h"
#include "platform/Platform.h"
#include "platform/ui/AlertView.h"
#include "platform/ui/Screen.h"
#include "platform/ui/View.h"
#include "platform/ui/ViewController.h"
#include "tavo/TAVOCampaign.h"
#include "tracking/TAVOEventController.h"
#include "tracking/TAVORulesController.h"

namespace tavo {

namespace ui = platform::ui;

namespace {

// Room for the status and navigation bars.
constexpr float kMaximumBarsHeight = 64.0f;

// System screens that are never app screens, and the SDK's own (the second entry is listed twice, as it
// always was).
const std::set<std::string>& blackList() {
  static const std::set<std::string> names = {
      "UIEditingOverlayViewController",
      "UICompatibilityInputViewController",
      "UIKeyboardCandidateGridCollectionViewController",
      "UIInputWindowController",
      "UISystemInputAssistantViewController",
      "UISystemKeyboardDockController",
      "UICompatibilityInputViewController",
      "UIPredictionViewController",
      "UITabBarController",
      "UIAlertController",
      "UIApplicationRotationFollowingController",
      "UINavigationController",
      "TAVOStartViewPromotionViewController",
      "TAVOTabBarViewController",
      "TAVOAdBallViewController",
  };
  return names;
}

const std::set<std::string>& promotionClasses() {
  static const std::set<std::string> names = {"TAVOStartViewPromotionViewController"};
  return names;
}

bool currentIsPromotion() {
  const auto current = TAVOController::sharedInstance().currentViewController();
  return current && TAVOAutomaticEvents::isPromotionClass(current->className());
}

bool isCurrent(const ui::ViewController& controller) {
  return TAVOController::sharedInstance().currentViewController().get() == &controller;
}

void closeRules(bool keepAdBall) {
  if (const auto rules = TAVOController::sharedInstance().rulesController()) rules->closeRules(keepAdBall);
}

// The campaign type of the promotion a promotion screen shows (0 for none).
unsigned long promotionType(ui::ViewController& controller) {
  const auto* promotion = dynamic_cast<const TAVOPromotionViewController*>(&controller);
  const auto campaign = promotion ? promotion->promotion() : nullptr;
  return campaign ? campaign->type : 0;
}

}  // namespace

void TAVOAutomaticEvents::addSwizzles() {
  static bool installed = false;
  if (installed) return;
  installed = true;
  struct Exchange {
    const char* original;
    const char* alternate;
    ui::AppearanceHookRegistry::Hook hook;
  };
  const std::array<Exchange, 4> exchanges = {{
      {"viewDidAppear:", "tavo_viewDidAppear:", &TAVOAutomaticEvents::tavo_viewDidAppear},
      {"viewDidDisappear:", "tavo_viewDidDisappear:", &TAVOAutomaticEvents::tavo_viewDidDisappear},
      {"viewWillDisappear:", "tavo_viewWillDisappear:", &TAVOAutomaticEvents::tavo_viewWillDisappear},
      {"viewWillAppear:", "tavo_viewWillAppear:", &TAVOAutomaticEvents::tavo_viewWillAppear},
  }};
  for (const auto& exchange : exchanges) {
    ui::HookError error;
    // One text for every hook, as it always was.
    if (!ui::ViewController::appearanceHooks().exchange(exchange.original, exchange.alternate, exchange.hook, &error))
      TAVOLogger::logAndType("Failed to swizzle viewDidAppear: on UIViewController", TAVOLogger::Error);
  }
}

bool TAVOAutomaticEvents::isBlackListedClass(const std::string& className) { return blackList().contains(className); }

bool TAVOAutomaticEvents::isPromotionClass(const std::string& className) {
  return promotionClasses().contains(className);
}

bool TAVOAutomaticEvents::shouldTrackClass(const std::string& className) {
  if (isBlackListedClass(className) || currentIsPromotion()) return false;
  return !isPromotionClass(className);
}

bool TAVOAutomaticEvents::isAppScreen(ui::ViewController& controller) {
  const auto view = controller.view();
  if (dynamic_cast<const ui::AlertView*>(view.get())) return false;
  const ui::Rect screen = ui::Screen::main().bounds();
  const ui::Rect frame = view->frame();
  if (frame.width() != screen.width()) return false;
  const float shorter = static_cast<float>(screen.height() - frame.height());
  return shorter >= 0.0f && shorter <= kMaximumBarsHeight;
}

std::string TAVOAutomaticEvents::getTrackingName(const ui::ViewController& controller) {
  return controller.className();
}

bool TAVOAutomaticEvents::isSwiftUIApp(const std::string& name) {
  const std::string version = platform::Platform::shared().device->systemVersion();
  if (std::atoi(version.c_str()) < 13) return false;
  if (name.find("UIHostingController") == std::string::npos) return false;
  return platform::ClassRegistry::shared().hasClass("SwiftUI._UIGraphicsView");
}

void TAVOAutomaticEvents::tavo_viewWillAppear(ui::ViewController& controller, bool, const Original& original) {
  auto& sdk = TAVOController::sharedInstance();
  const std::string& name = controller.className();
  const bool blackListed = isBlackListedClass(name);
  bool mayBecomeCurrent = true;
  if (isPromotionClass(name)) {
    // An AdBall's page never takes the place of the screen under it.
    mayBecomeCurrent = promotionType(controller) != TAVOCampaign::AdBall;
  } else if (!currentIsPromotion() && !blackListed) {
    // A new screen: what a rule opened on the last one goes.
    closeRules(false);
  }
  const auto events = sdk.eventController();
  if (shouldTrackClass(name) && isAppScreen(controller) && !isCurrent(controller) && events &&
      events->trackScreenEvents()) {
    const std::string trackingName = getTrackingName(controller);
    if (isSwiftUIApp(trackingName)) {
      // Deliberately without the platform's own viewWillAppear:.
      TAVOLogger::logAndType("Skipping SwiftUI screen auto event", TAVOLogger::Verbose);
      return;
    }
    sdk.sendEvent("tavo_auto_event",
                  platform::Dictionary{{"e_event_type", "e_screen_event"}, {"e_screen_name", trackingName}}, true);
  }
  if (!blackListed && mayBecomeCurrent && !currentIsPromotion())
    sdk.setCurrentViewController(controller.shared_from_this());
  original();
}

void TAVOAutomaticEvents::tavo_viewDidAppear(ui::ViewController& controller, bool, const Original& original) {
  // The screen under a closed promotion is current again.
  if (!isBlackListedClass(controller.className()) && currentIsPromotion() && !isPromotionClass(controller.className()))
    TAVOController::sharedInstance().setCurrentViewController(controller.shared_from_this());
  original();
}

void TAVOAutomaticEvents::tavo_viewWillDisappear(ui::ViewController&, bool, const Original& original) { original(); }

void TAVOAutomaticEvents::tavo_viewDidDisappear(ui::ViewController& controller, bool, const Original& original) {
  const std::string& name = controller.className();
  if (!isPromotionClass(name) && !currentIsPromotion() && !isBlackListedClass(name)) closeRules(true);
  original();
}

}  // namespace tavo
