#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/MainLoop.h"

namespace tavo::platform::ui {

class View;

enum class AnimatedProperty { Center, Bounds, Transform, Alpha, BackgroundColor };

// An animatable property's value as numbers that interpolate one by one: a point, a rectangle, a
// transform's six terms, an alpha, a colour's four components.
struct AnimatedValue {
  std::array<double, 6> v{};
};

// Runs the views' animations on the main loop's clock. While an animation block runs, every change a view
// makes to an animatable property becomes an animation from the value on screen to the new one; a
// repeating main-loop timer (60 per second) moves them while any is running. Main thread only.
class AnimationEngine {
 public:
  struct Timing {
    double duration = 0;
    double delay = 0;
    unsigned options = 0;                 // AnimationOption bits
    std::optional<double> springDamping;  // set for a spring
    double springVelocity = 0;
  };

  AnimationEngine() = default;
  ~AnimationEngine();
  AnimationEngine(const AnimationEngine&) = delete;
  AnimationEngine& operator=(const AnimationEngine&) = delete;

  void run(const Timing& timing, const std::function<void()>& animations, std::function<void(bool)> completion);
  void runWithoutAnimation(const std::function<void()>& changes);

  // A view tells this before it changes an animatable property, with the value on screen and the new one.
  void willChange(View& view, AnimatedProperty property, const AnimatedValue& from, const AnimatedValue& to);
  // What the screen shows of the property now, when it is animating.
  std::optional<AnimatedValue> presentationValue(const View& view, AnimatedProperty property) const;
  bool isAnimating(const View& view) const;
  // Whether the view is in an animation that keeps touches away from it.
  bool blocksInteraction(const View& view) const;
  // Ends the view's animations unfinished; their completions run on the next main-loop turn.
  void removeAnimations(const View& view);
  std::size_t runningCount() const { return records_.size(); }

 private:
  struct Group {
    Timing timing;
    double start = 0;
    std::function<void(bool)> completion;
    std::size_t pending = 0;
    bool capturing = true;
    bool finished = true;
    double end() const { return start + timing.delay + timing.duration; }
  };
  struct Record {
    std::weak_ptr<View> view;
    const View* key;
    AnimatedProperty property;
    AnimatedValue from;
    AnimatedValue to;
    std::shared_ptr<Group> group;
  };

  static double progress(const Group& group, double now);
  static double now();
  void tick();
  void ensureTicking();
  // One record fewer for the group; its completion is due when none is left.
  void release(const std::shared_ptr<Group>& group, bool finished, bool now);
  void finish(const std::shared_ptr<Group>& group, bool runNow);

  std::vector<std::shared_ptr<Group>> capturing_;
  int suppressed_ = 0;
  std::vector<Record> records_;
  std::weak_ptr<MainLoop> loop_;
  MainLoop::TimerId timer_ = 0;
};

}  // namespace tavo::platform::ui
