#include "platform/ui/AnimationEngine.h"

#include <algorithm>
#include <cmath>

#include "platform/Platform.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/View.h"

namespace tavo::platform::ui {

namespace {

constexpr double kFrameInterval = 1.0 / 60.0;

// A cubic Bézier timing curve from (0,0) to (1,1) through the two control points, solved for x.
double bezier(double x, double x1, double y1, double x2, double y2) {
  const auto at = [](double t, double p1, double p2) {
    const double u = 1 - t;
    return 3 * u * u * t * p1 + 3 * u * t * t * p2 + t * t * t;
  };
  double low = 0, high = 1, t = x;
  for (int i = 0; i < 40; ++i) {
    const double value = at(t, x1, x2);
    if (std::abs(value - x) < 1e-7) break;
    (value < x ? low : high) = t;
    t = (low + high) / 2;
  }
  return at(t, y1, y2);
}

double curve(unsigned options, double x) {
  switch ((options >> 16) & 3u) {
    case 1: return bezier(x, 0.42, 0, 1, 1);      // ease in
    case 2: return bezier(x, 0, 0, 0.58, 1);      // ease out
    case 3: return x;                             // linear
    default: return bezier(x, 0.42, 0, 0.58, 1);  // ease in and out
  }
}

// A unit spring released at 0 towards 1 that settles (to a thousandth) when the duration ends.
double spring(double elapsed, double duration, double damping, double velocity) {
  if (elapsed >= duration) return 1;
  const double zeta = std::max(damping, 0.01);
  if (zeta >= 1) {
    const double omega = 9.23 / duration;
    return 1 - std::exp(-omega * elapsed) * (1 + (omega - velocity) * elapsed);
  }
  const double omega = std::log(1000.0) / (zeta * duration);
  const double damped = omega * std::sqrt(1 - zeta * zeta);
  return 1 - std::exp(-zeta * omega * elapsed) *
                 (std::cos(damped * elapsed) + (zeta * omega - velocity) / damped * std::sin(damped * elapsed));
}

}  // namespace

AnimationEngine::~AnimationEngine() {
  if (const auto loop = loop_.lock(); loop && timer_) loop->cancel(timer_);
}

double AnimationEngine::now() { return Platform::shared().clock->monotonicSeconds(); }

double AnimationEngine::progress(const Group& group, double now) {
  const double elapsed = now - group.start - group.timing.delay;
  if (elapsed <= 0) return 0;
  if (elapsed >= group.timing.duration) return 1;
  if (group.timing.springDamping)
    return spring(elapsed, group.timing.duration, *group.timing.springDamping, group.timing.springVelocity);
  return curve(group.timing.options, elapsed / group.timing.duration);
}

void AnimationEngine::run(const Timing& timing, const std::function<void()>& animations,
                          std::function<void(bool)> completion) {
  auto group = std::make_shared<Group>();
  group->timing = timing;
  if (!std::isfinite(group->timing.duration) || group->timing.duration < 0) group->timing.duration = 0;
  if (!std::isfinite(group->timing.delay) || group->timing.delay < 0) group->timing.delay = 0;
  group->start = now();
  group->completion = std::move(completion);
  capturing_.push_back(group);
  struct Close {
    AnimationEngine& engine;
    ~Close() {
      engine.capturing_.back()->capturing = false;
      engine.capturing_.pop_back();
    }
  } close{*this};
  if (animations) animations();
  // Nothing moved (or there was no time to move it): the completion still comes, on the next turn.
  if (group->pending == 0) finish(group, false);
}

void AnimationEngine::runWithoutAnimation(const std::function<void()>& changes) {
  ++suppressed_;
  struct Restore {
    int& count;
    ~Restore() { --count; }
  } restore{suppressed_};
  if (changes) changes();
}

void AnimationEngine::willChange(View& view, AnimatedProperty property, const AnimatedValue& from,
                                 const AnimatedValue& to) {
  const auto existing = std::find_if(records_.begin(), records_.end(),
                                     [&](const Record& r) { return r.key == &view && r.property == property; });
  const bool animating = suppressed_ == 0 && !capturing_.empty() &&
                         (capturing_.back()->timing.duration > 0 || capturing_.back()->timing.delay > 0);
  if (!animating) return;  // an animation already running keeps going and the screen lands on the new value
  const auto& group = capturing_.back();
  if (existing != records_.end() && existing->group == group) {
    existing->to = to;  // changed twice in one block: one animation to the last value
    return;
  }
  if (existing != records_.end()) {
    const auto taken = existing->group;
    records_.erase(existing);
    release(taken, false, false);
  }
  records_.push_back(Record{view.weak_from_this(), &view, property, from, to, group});
  ++group->pending;
  ensureTicking();
}

std::optional<AnimatedValue> AnimationEngine::presentationValue(const View& view, AnimatedProperty property) const {
  for (const Record& r : records_) {
    if (r.key != &view || r.property != property) continue;
    const double p = progress(*r.group, now());
    AnimatedValue value;
    for (std::size_t i = 0; i < value.v.size(); ++i) value.v[i] = r.from.v[i] + (r.to.v[i] - r.from.v[i]) * p;
    return value;
  }
  return std::nullopt;
}

bool AnimationEngine::isAnimating(const View& view) const {
  return std::any_of(records_.begin(), records_.end(), [&](const Record& r) { return r.key == &view; });
}

bool AnimationEngine::blocksInteraction(const View& view) const {
  return std::any_of(records_.begin(), records_.end(), [&](const Record& r) {
    return r.key == &view && !(r.group->timing.options & AnimationAllowUserInteraction);
  });
}

void AnimationEngine::removeAnimations(const View& view) {
  std::vector<std::shared_ptr<Group>> cut;
  std::erase_if(records_, [&](const Record& r) {
    if (r.key != &view) return false;
    cut.push_back(r.group);
    return true;
  });
  for (const auto& group : cut) release(group, false, false);
  if (!cut.empty()) UserInterface::current().setNeedsDisplay();
}

void AnimationEngine::release(const std::shared_ptr<Group>& group, bool finished, bool runNow) {
  if (!finished) group->finished = false;
  if (--group->pending == 0 && !group->capturing) finish(group, runNow);
}

void AnimationEngine::finish(const std::shared_ptr<Group>& group, bool runNow) {
  if (!group->completion) return;
  auto completion = std::move(group->completion);
  const bool finished = group->finished;
  if (runNow) {
    completion(finished);
    return;
  }
  // Never inside the caller: a completion run from within another animation block would be animated too.
  Platform::shared().mainLoop->post([completion = std::move(completion), finished] { completion(finished); });
}

void AnimationEngine::ensureTicking() {
  if (timer_) return;
  const auto loop = Platform::shared().mainLoop;
  loop_ = loop;
  timer_ = loop->scheduleRepeating(kFrameInterval, [this] { tick(); });
}

void AnimationEngine::tick() {
  const double t = now();
  std::vector<std::pair<std::shared_ptr<Group>, bool>> ended;
  std::erase_if(records_, [&](const Record& r) {
    const bool gone = r.view.expired();
    if (!gone && t < r.group->end()) return false;
    ended.emplace_back(r.group, !gone);
    return true;
  });
  UserInterface::current().setNeedsDisplay();
  if (records_.empty()) {
    if (const auto loop = loop_.lock()) loop->cancel(timer_);
    timer_ = 0;
  }
  // Completions last: they may start new animations.
  for (const auto& [group, finished] : ended) release(group, finished, true);
}

}  // namespace tavo::platform::ui
