#include "platform/ManualClock.h"

namespace tavo::platform {

ManualClock::ManualClock(Date start) : wall_(start.timeIntervalSince1970()) {}

Date ManualClock::now() const { return Date(wall_.load()); }

double ManualClock::monotonicSeconds() const { return monotonic_.load(); }

void ManualClock::waitUntil(ConditionVariable&, Mutex&, double monotonicDeadline) {
  // Only the winner of the exchange moves wall time, so two racing waits move it once.
  double current = monotonic_.load();
  while (current < monotonicDeadline) {
    if (monotonic_.compare_exchange_weak(current, monotonicDeadline)) {
      wall_.fetch_add(monotonicDeadline - current);
      return;
    }
  }
}

void ManualClock::advance(double seconds) {
  if (!(seconds > 0)) return;  // time never runs backwards (and NaN is no time at all)
  monotonic_.fetch_add(seconds);
  wall_.fetch_add(seconds);
}

void ManualClock::setNow(Date date) { wall_.store(date.timeIntervalSince1970()); }

}  // namespace tavo::platform
