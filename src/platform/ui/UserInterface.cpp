#include "platform/ui/UserInterface.h"

#include <algorithm>
#include <cassert>

#include "platform/Platform.h"
#include "platform/ui/ImageLoader.h"
#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/URLCache.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {

UserInterface::UserInterface()
    : touches_(std::make_unique<TouchDispatcher>()),
      imageLoader_(std::make_unique<ImageLoader>()),
      urlCache_(std::make_unique<URLCache>()) {
  screen_.setChangeHandler([this](const Rect& previous) { screenDidChange(previous); });
}

UserInterface::~UserInterface() = default;

UserInterface& UserInterface::current() {
  auto& platform = Platform::shared();
  if (!platform.userInterface) platform.userInterface = std::make_shared<UserInterface>();
  return *platform.userInterface;
}

void UserInterface::checkMainThread(const char* api) {
  const auto& loop = Platform::shared().mainLoop;
  if (!loop || loop->isMainThread()) return;
  log(std::string("Main Thread Checker: UI API called on a background thread: ") + api);
  assert(!"UI API called off the main thread");
}

void UserInterface::log(const std::string& line) {
  if (const auto& systemLog = Platform::shared().systemLog) systemLog->write(line);
}

void UserInterface::setNeedsLayout() {
  if (layoutScheduled_) return;
  layoutScheduled_ = true;
  std::weak_ptr<bool> alive = alive_;
  Platform::shared().mainLoop->post([this, alive] {
    if (alive.expired()) return;
    layoutIfNeeded();
  });
}

void UserInterface::layoutIfNeeded() {
  layoutScheduled_ = false;
  const auto shown = windows_;
  for (const auto& window : shown) window->layoutIfNeeded();
}

void UserInterface::windowDidShow(const std::shared_ptr<Window>& window) {
  if (std::find(windows_.begin(), windows_.end(), window) == windows_.end()) windows_.push_back(window);
  windowOrderChanged();
  // The first window on the screen becomes key, as the only one there is.
  if (!keyWindow_.lock()) keyWindow_ = window;
}

void UserInterface::windowDidHide(const Window& window) {
  const auto self = window.weak_from_this().lock();  // leaving the list must not end it mid-call
  std::erase_if(windows_, [&](const auto& w) { return w.get() == &window; });
  if (keyWindow_.lock().get() == &window) {
    keyWindow_.reset();
    // The topmost window of the normal level takes over, else the topmost of any.
    for (auto it = windows_.rbegin(); it != windows_.rend() && !keyWindow_.lock(); ++it)
      if ((*it)->windowLevel() == Window::kLevelNormal) keyWindow_ = *it;
    if (!keyWindow_.lock() && !windows_.empty()) keyWindow_ = windows_.back();
  }
  setNeedsDisplay();
}

void UserInterface::windowOrderChanged() {
  std::stable_sort(windows_.begin(), windows_.end(),
                   [](const auto& a, const auto& b) { return a->windowLevel() < b->windowLevel(); });
  setNeedsDisplay();
}

void UserInterface::makeKey(const std::shared_ptr<Window>& window) {
  keyWindow_ = window;
  setNeedsDisplay();
}

void UserInterface::screenDidChange(const Rect& previousBounds) {
  // Windows that covered the screen keep covering it; their roots follow through autoresizing.
  const Rect now = screen_.bounds();
  const auto shown = windows_;
  for (const auto& window : shown)
    if (window->frame() == previousBounds) window->setFrame(now);
  setNeedsDisplay();
}

}  // namespace tavo::platform::ui
