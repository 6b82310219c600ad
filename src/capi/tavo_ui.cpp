// The C interface of the host's user interface: screens, stacks, tab bars, touches and pictures, over the UI
// toolkit's model. Every call checks its thread and its handles, and no exception leaves it.

#include <cmath>
#include <memory>
#include <string>
#include <type_traits>

#include "capi/CInterfaceSupport.h"
#include "core/TAVOLogger.h"
#include "platform/Platform.h"
#include "platform/ui/ColorText.h"
#include "platform/ui/HostViewController.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/ScreenshotRenderer.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/TabBarItem.h"
#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/View.h"
#include "platform/ui/ViewTreeSnapshot.h"
#include "platform/ui/Window.h"
#include "tavo/TAVO.h"
#include "tavo/tavo.h"

namespace ui = tavo::platform::ui;

struct tavo_screen {
  std::shared_ptr<ui::HostViewController> controller;
};

struct tavo_tab_bar {
  std::shared_ptr<ui::TabBarController> controller;
};

namespace {

void refuse(const std::string& call, const std::string& why) {
  tavo::TAVOLogger::logAndType(call + " ignored: " + why, tavo::TAVOLogger::Plain);
}

// Runs body on the main thread only, inside the C interface's last catch; off it the call is refused and returns
// its empty result.
template <class Body>
std::invoke_result_t<Body> onMainThread(const char* call, Body&& body) noexcept {
  return tavo::capi::guarded(call, [&]() -> std::invoke_result_t<Body> {
    const auto& loop = tavo::platform::Platform::shared().mainLoop;
    if (loop && !loop->isMainThread()) {
      refuse(call, "not on the main thread");
      if constexpr (!std::is_void_v<std::invoke_result_t<Body>>)
        return {};
      else
        return;
    }
    return body();
  });
}

bool finite(std::initializer_list<double> values) {
  for (const double v : values)
    if (!std::isfinite(v)) return false;
  return true;
}

// The window the host's screens go in: the key window when it is an ordinary one, else the first ordinary
// window on screen, else a new one.
std::shared_ptr<ui::Window> hostWindow() {
  auto& userInterface = ui::UserInterface::current();
  if (const auto key = userInterface.keyWindow(); key && key->windowLevel() == ui::Window::kLevelNormal) return key;
  for (const auto& window : userInterface.windows())
    if (window->windowLevel() == ui::Window::kLevelNormal) return window;
  auto window = std::make_shared<ui::Window>();
  window->makeKeyAndVisible();
  return window;
}

// A screen that is the root of a navigation stack stands in its containers as that stack.
std::shared_ptr<ui::ViewController> outermost(const std::shared_ptr<ui::ViewController>& controller) {
  const auto navigation = controller->navigationController();
  if (navigation && navigation->viewControllers().front() == controller) return navigation;
  return controller;
}

std::shared_ptr<ui::View> findVisible(const std::shared_ptr<ui::View>& view, const std::string& identifier) {
  if (view->isHidden() || view->alpha() < 0.01) return nullptr;
  const auto& children = view->subviews();
  for (auto it = children.rbegin(); it != children.rend(); ++it)
    if (auto found = findVisible(*it, identifier)) return found;
  return view->accessibilityIdentifier() == identifier ? view : nullptr;
}

}  // namespace

extern "C" {

void tavo_platform_set_screen(double width, double height, double scale, double safe_top, double safe_bottom) {
  onMainThread("tavo_platform_set_screen", [&] {
    if (!ui::Screen::main().setMetrics({width, height, scale, safe_top, safe_bottom}))
      refuse("tavo_platform_set_screen", "sizes must be positive and the insets smaller than the height");
  });
}

tavo_screen* tavo_screen_new(const char* class_name) {
  return onMainThread("tavo_screen_new", [&] {
    const std::string name = class_name && *class_name ? class_name : "UIViewController";
    return new tavo_screen{std::make_shared<ui::HostViewController>(name)};
  });
}

void tavo_screen_set_frame(tavo_screen* screen, double x, double y, double width, double height) {
  onMainThread("tavo_screen_set_frame", [&] {
    if (!screen) return refuse("tavo_screen_set_frame", "no screen");
    if (!finite({x, y, width, height}) || width < 0 || height < 0)
      return refuse("tavo_screen_set_frame", "the frame must be finite with a size not negative");
    screen->controller->setFixedFrame(ui::Rect{x, y, width, height});
  });
}

void tavo_screen_set_background_color(tavo_screen* screen, const char* hex) {
  onMainThread("tavo_screen_set_background_color", [&] {
    if (!screen) return refuse("tavo_screen_set_background_color", "no screen");
    const auto color = hex ? ui::ColorText::parseHex(hex) : std::nullopt;
    if (!color) return refuse("tavo_screen_set_background_color", "not a #RRGGBB colour");
    screen->controller->view()->setBackgroundColor(*color);
  });
}

void tavo_screen_free(tavo_screen* screen) {
  onMainThread("tavo_screen_free", [&] { delete screen; });
}

void tavo_screen_show(tavo_screen* screen) {
  onMainThread("tavo_screen_show", [&] {
    if (!screen) return refuse("tavo_screen_show", "no screen");
    const auto shown = outermost(screen->controller);
    if (shown->parent() || shown->presentingViewController())
      return refuse("tavo_screen_show", "the screen is in a tab bar, a stack or a presentation");
    hostWindow()->setRootViewController(shown);
  });
}

void tavo_screen_push(tavo_screen* navigation_root, tavo_screen* screen) {
  onMainThread("tavo_screen_push", [&] {
    if (!navigation_root || !screen) return refuse("tavo_screen_push", "no screen");
    auto navigation = navigation_root->controller->navigationController();
    if (!navigation) navigation = ui::NavigationController::embed(navigation_root->controller);
    if (!navigation) return refuse("tavo_screen_push", "the root is in a container that cannot hold a stack");
    navigation->push(screen->controller, true);
  });
}

void tavo_screen_pop(tavo_screen* navigation_root) {
  onMainThread("tavo_screen_pop", [&] {
    if (!navigation_root) return refuse("tavo_screen_pop", "no screen");
    const auto navigation = navigation_root->controller->navigationController();
    if (!navigation) return refuse("tavo_screen_pop", "the screen is in no navigation stack");
    navigation->pop(true);
  });
}

void tavo_screen_present(tavo_screen* from, tavo_screen* screen, bool full_screen) {
  onMainThread("tavo_screen_present", [&] {
    if (!from || !screen) return refuse("tavo_screen_present", "no screen");
    const auto presented = outermost(screen->controller);
    presented->setModalPresentationStyle(full_screen ? ui::ModalPresentationStyle::FullScreen
                                                     : ui::ModalPresentationStyle::PageSheet);
    from->controller->present(presented, true);
  });
}

void tavo_screen_dismiss(tavo_screen* screen) {
  onMainThread("tavo_screen_dismiss", [&] {
    if (!screen) return refuse("tavo_screen_dismiss", "no screen");
    screen->controller->dismiss(true);
  });
}

void tavo_set_root_view_controller(tavo_screen* screen) {
  onMainThread("tavo_set_root_view_controller",
               [&] { tavo::TAVOLegacy::setRootViewController(screen ? screen->controller : nullptr); });
}

void tavo_track_screen_events(bool track) {
  onMainThread("tavo_track_screen_events", [&] { tavo::TAVOLegacy::trackScreenEvents(track); });
}

tavo_tab_bar* tavo_tab_bar_new(void) {
  return onMainThread("tavo_tab_bar_new", [] { return new tavo_tab_bar{std::make_shared<ui::TabBarController>()}; });
}

void tavo_tab_bar_add(tavo_tab_bar* tab_bar, tavo_screen* screen, const char* title) {
  onMainThread("tavo_tab_bar_add", [&] {
    if (!tab_bar || !screen) return refuse("tavo_tab_bar_add", "no tab bar or no screen");
    const auto tab = outermost(screen->controller);
    if (tab->parent() || tab->presentingViewController())
      return refuse("tavo_tab_bar_add", "the screen is already in a container or presented");
    if (title) tab->tabBarItem()->setTitle(std::string(title));
    auto tabs = tab_bar->controller->viewControllers();
    tabs.push_back(tab);
    tab_bar->controller->setViewControllers(std::move(tabs));
  });
}

void tavo_tab_bar_show(tavo_tab_bar* tab_bar) {
  onMainThread("tavo_tab_bar_show", [&] {
    if (!tab_bar) return refuse("tavo_tab_bar_show", "no tab bar");
    if (tab_bar->controller->presentingViewController()) return refuse("tavo_tab_bar_show", "the tab bar is presented");
    hostWindow()->setRootViewController(tab_bar->controller);
  });
}

void tavo_tab_bar_select(tavo_tab_bar* tab_bar, int index) {
  onMainThread("tavo_tab_bar_select", [&] {
    if (!tab_bar) return refuse("tavo_tab_bar_select", "no tab bar");
    if (index < 0 || static_cast<std::size_t>(index) >= tab_bar->controller->viewControllers().size())
      return refuse("tavo_tab_bar_select", "no tab at index " + std::to_string(index));
    tab_bar->controller->setSelectedIndex(static_cast<std::size_t>(index));
  });
}

void tavo_tab_bar_free(tavo_tab_bar* tab_bar) {
  onMainThread("tavo_tab_bar_free", [&] { delete tab_bar; });
}

void tavo_platform_tap(double x, double y) {
  onMainThread("tavo_platform_tap", [&] {
    if (!finite({x, y})) return refuse("tavo_platform_tap", "the point is not finite");
    ui::UserInterface::current().touches().tap({x, y});
  });
}

void tavo_platform_drag(double x0, double y0, double x1, double y1, double seconds) {
  onMainThread("tavo_platform_drag", [&] {
    if (!finite({x0, y0, x1, y1, seconds}) || seconds < 0)
      return refuse("tavo_platform_drag", "the points and the duration must be finite, the duration not negative");
    ui::UserInterface::current().touches().drag({x0, y0}, {x1, y1}, seconds);
  });
}

bool tavo_platform_tap_view(const char* accessibility_id) {
  return onMainThread("tavo_platform_tap_view", [&] {
    if (!accessibility_id) return false;
    auto& userInterface = ui::UserInterface::current();
    userInterface.layoutIfNeeded();
    const auto windows = userInterface.windows();
    for (auto it = windows.rbegin(); it != windows.rend(); ++it) {
      const auto view = findVisible(*it, accessibility_id);
      if (!view) continue;
      const ui::Rect b = view->bounds();
      const ui::Point middle = view->convertPointTo({b.midX(), b.midY()}, nullptr);
      // Only a tap that would land on the view (or inside it) is made.
      const auto hit = userInterface.touches().hitTest(middle);
      if (!hit || !hit->isDescendantOf(*view)) return false;
      return userInterface.touches().tap(middle);
    }
    return false;
  });
}

char* tavo_platform_copy_view_tree_json(void) {
  return onMainThread("tavo_platform_copy_view_tree_json", [] {
    return tavo::capi::copy(ui::ViewTreeSnapshot::json(ui::UserInterface::current()).c_str());
  });
}

bool tavo_platform_write_screenshot_png(const char* path) {
  return onMainThread("tavo_platform_write_screenshot_png", [&] {
    if (!path || !*path) return false;
    return ui::ScreenshotRenderer::writePNG(ui::UserInterface::current(), path);
  });
}

}  // extern "C"
