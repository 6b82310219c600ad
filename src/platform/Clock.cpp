#include "platform/Clock.h"

#include <cmath>

namespace tavo::platform {

namespace {

// Beyond this a steady_clock time point would overflow; such a deadline means "until woken".
constexpr double kLongestTimedWait = 1e9;

}  // namespace

Date SystemClock::now() const {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return Date(std::chrono::duration<double>(sinceEpoch).count());
}

double SystemClock::monotonicSeconds() const {
  const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double>(sinceStart).count();
}

void SystemClock::waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double monotonicDeadline) {
  const double remaining = monotonicDeadline - monotonicSeconds();
  if (std::isnan(remaining) || remaining <= 0) return;
  if (remaining > kLongestTimedWait) {
    cv.wait(lock);
    return;
  }
  const auto deadline =
      std::chrono::steady_clock::time_point(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
          std::chrono::duration<double>(monotonicDeadline)));
  cv.wait_until(lock, deadline);
}

ManualClock::ManualClock(Date start) : wall_(start.timeIntervalSince1970()) {}

Date ManualClock::now() const { return Date(wall_.load()); }

double ManualClock::monotonicSeconds() const { return monotonic_.load(); }

void ManualClock::waitUntil(std::condition_variable&, std::unique_lock<std::mutex>&, double monotonicDeadline) {
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
