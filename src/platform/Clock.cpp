#include "platform/Clock.h"

#include <chrono>
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

void SystemClock::waitUntil(ConditionVariable& condition, Mutex& mutex, double monotonicDeadline) {
  const double remaining = monotonicDeadline - monotonicSeconds();
  if (std::isnan(remaining) || remaining <= 0) return;
  if (remaining > kLongestTimedWait) {
    condition.wait(mutex);
    return;
  }
  const auto deadline =
      std::chrono::steady_clock::time_point(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
          std::chrono::duration<double>(monotonicDeadline)));
  condition.waitUntil(mutex, deadline);
}

}  // namespace tavo::platform
