#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/ui/AnimationEngine.h"
#include "platform/ui/Screen.h"

namespace tavo::platform::ui {

class ImageLoader;
class TouchDispatcher;
class URLCache;
class Window;

// The state of the UI toolkit in this process: the main screen, the windows on it (and which is key), the
// animations, the touches, the image loader and the web views' cache. One per installed platform
// (Platform::userInterface), made on first use; everything here is main thread only.
//
// A backend that draws the model (pictures, a real toolkit) watches displayGeneration(): it grows with every
// visible change, so a frame that sees the same number has nothing to redraw.
class UserInterface {
 public:
  UserInterface();
  ~UserInterface();
  UserInterface(const UserInterface&) = delete;
  UserInterface& operator=(const UserInterface&) = delete;

  // The installed platform's user interface.
  static UserInterface& current();
  // UI calls belong to the main thread: another thread is told off in the system log (and stopped in a
  // debug build).
  static void checkMainThread(const char* api);
  // A line in the platform's system log, as the toolkit reports misuse.
  static void log(const std::string& line);

  Screen& screen() { return screen_; }
  // The windows on the screen, back to front: by level, then in the order they were shown.
  std::vector<std::shared_ptr<Window>> windows() const { return windows_; }
  std::shared_ptr<Window> keyWindow() const { return keyWindow_.lock(); }

  AnimationEngine& animations() { return animations_; }
  TouchDispatcher& touches() { return *touches_; }
  ImageLoader& imageLoader() { return *imageLoader_; }
  URLCache& urlCache() { return *urlCache_; }

  std::uint64_t displayGeneration() const { return displayGeneration_; }
  void setNeedsDisplay() { ++displayGeneration_; }
  // A layout pass over the windows on the next main-loop turn (once, however many views ask).
  void setNeedsLayout();
  void layoutIfNeeded();

 private:
  friend class Window;

  void windowDidShow(const std::shared_ptr<Window>& window);
  void windowDidHide(const Window& window);
  void windowOrderChanged();
  void makeKey(const std::shared_ptr<Window>& window);
  void screenDidChange(const Rect& previousBounds);

  Screen screen_;
  std::vector<std::shared_ptr<Window>> windows_;
  std::weak_ptr<Window> keyWindow_;
  AnimationEngine animations_;
  std::unique_ptr<TouchDispatcher> touches_;
  std::unique_ptr<ImageLoader> imageLoader_;
  std::unique_ptr<URLCache> urlCache_;
  std::uint64_t displayGeneration_ = 0;
  bool layoutScheduled_ = false;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace tavo::platform::ui
