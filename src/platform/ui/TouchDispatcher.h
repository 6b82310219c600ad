#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/Touch.h"

namespace tavo::platform::ui {

class View;
class Window;

// Delivers touches as the platform does: a finger coming down lands on the deepest view hit testing finds
// in the topmost window that takes it; the gesture recognizers of that view and of its ancestors see each
// phase first, then the view, unless a recognized gesture took the touch away from it. Points are in screen
// coordinates. Main thread only.
class TouchDispatcher {
 public:
  using TouchId = std::uint64_t;

  TouchDispatcher() = default;
  TouchDispatcher(const TouchDispatcher&) = delete;
  TouchDispatcher& operator=(const TouchDispatcher&) = delete;

  // 0 when no window takes a touch there.
  TouchId begin(Point point);
  // False for an unknown (or finished) touch.
  bool move(TouchId id, Point point);
  bool end(TouchId id);
  bool cancel(TouchId id);

  // A finger down and up at point; false when nothing took it.
  bool tap(Point point);
  // A finger from `from` to `to` over seconds of the main loop's clock, moving 60 times a second; the main
  // loop runs (is pumped here) meanwhile, so timers and animations go on as the finger moves.
  bool drag(Point from, Point to, double seconds);

  // Where a touch at point would land, and in which window.
  std::shared_ptr<View> hitTest(Point point, std::shared_ptr<Window>* window = nullptr) const;

 private:
  friend class GestureRecognizer;

  enum class Phase { Moved, Ended, Cancelled };
  bool deliver(TouchId id, Phase phase, const Point* point);
  std::vector<std::shared_ptr<GestureRecognizer>> recognizersFor(const std::shared_ptr<View>& hit,
                                                                 const Touch& touch) const;

  void attemptRecognition(GestureRecognizer& recognizer, GestureRecognizer::State state);
  void recognize(GestureRecognizer& recognizer, GestureRecognizer::State state);
  void fail(GestureRecognizer& recognizer);
  bool waitsForFailure(const GestureRecognizer& recognizer) const;
  static bool simultaneous(GestureRecognizer& a, GestureRecognizer& b);
  // Recognizers done with their gesture, and no longer touched, go back to Possible.
  void settle();

  std::map<TouchId, std::shared_ptr<Touch>> touches_;
  std::vector<std::shared_ptr<GestureRecognizer>> engaged_;
  TouchId nextId_ = 1;
  double lastTapTime_ = -1e9;
  Point lastTapPoint_;
  int lastTapCount_ = 0;
};

}  // namespace tavo::platform::ui
