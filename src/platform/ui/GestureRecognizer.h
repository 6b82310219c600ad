#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ui/Geometry.h"
#include "platform/ui/Touch.h"

namespace tavo::platform::ui {

class View;

// Turns the touches of its view (and of the view's subviews) into a gesture, before the views see them.
// Subclasses move the state; a recognition (Possible to Began, or straight to Ended) goes through the
// delegate's shouldBegin, waits while a recognizer it requires to fail may still succeed, and makes the
// other recognizers of the touch fail unless the delegates let them recognize together. A recognized gesture
// that cancels touches in its view takes them away from the view (which hears touchesCancelled). Targets run
// on Began, Changed, Ended and Cancelled. Made with std::make_shared; main thread only.
class GestureRecognizer : public std::enable_shared_from_this<GestureRecognizer> {
 public:
  enum class State { Possible = 0, Began = 1, Changed = 2, Ended = 3, Cancelled = 4, Failed = 5 };
  struct Delegate {
    std::function<bool(GestureRecognizer&)> shouldBegin;
    std::function<bool(GestureRecognizer&, const Touch&)> shouldReceiveTouch;
    std::function<bool(GestureRecognizer&, GestureRecognizer& other)> shouldRecognizeSimultaneously;
  };
  using Action = std::function<void(GestureRecognizer&)>;

  GestureRecognizer() = default;
  explicit GestureRecognizer(Action action) { addTarget(std::move(action)); }
  virtual ~GestureRecognizer() = default;
  GestureRecognizer(const GestureRecognizer&) = delete;
  GestureRecognizer& operator=(const GestureRecognizer&) = delete;

  virtual std::string className() const { return "UIGestureRecognizer"; }

  void addTarget(Action action);
  State state() const { return state_; }
  std::shared_ptr<View> view() const { return view_.lock(); }
  bool isEnabled() const { return enabled_; }
  // Disabling a gesture under way cancels it.
  void setEnabled(bool enabled);
  bool cancelsTouchesInView() const { return cancelsTouchesInView_; }
  void setCancelsTouchesInView(bool cancels) { cancelsTouchesInView_ = cancels; }
  // This recognizer recognizes only once other has failed. A recognizer asked to wait for itself ignores
  // the request, as the platform does.
  void requireToFail(const std::shared_ptr<GestureRecognizer>& other);
  void setDelegate(std::weak_ptr<Delegate> delegate) { delegate_ = std::move(delegate); }
  std::shared_ptr<Delegate> delegate() const { return delegate_.lock(); }

  // The middle of the touches (the last place they were, once lifted), in view's coordinates.
  Point locationIn(const View* view) const;
  std::size_t numberOfTouches() const { return touches_.size(); }

 protected:
  virtual void touchesBegan(const Touches& touches) { (void)touches; }
  virtual void touchesMoved(const Touches& touches) { (void)touches; }
  virtual void touchesEnded(const Touches& touches) { (void)touches; }
  virtual void touchesCancelled(const Touches& touches) { (void)touches; }
  // Back to Possible after a gesture: clear what the subclass tracks.
  virtual void reset() {}
  void setState(State state);
  const Touches& touches() const { return touches_; }

 private:
  friend class TouchDispatcher;
  friend class View;

  void fire();
  bool isActive() const;

  std::weak_ptr<View> view_;
  std::vector<Action> actions_;
  State state_ = State::Possible;
  std::optional<State> pending_;  // recognized, waiting for the ones it requires to fail
  bool enabled_ = true;
  bool cancelsTouchesInView_ = true;
  std::vector<std::weak_ptr<GestureRecognizer>> requiredToFail_;
  std::weak_ptr<Delegate> delegate_;
  Touches touches_;
  Point lastLocation_;  // screen coordinates
};

}  // namespace tavo::platform::ui
