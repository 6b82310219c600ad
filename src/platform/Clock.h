#pragma once

#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"
#include "tavo/platform/Date.h"

namespace tavo::platform {

// Time as the SDK sees it. No SDK code reads the system clock directly: it asks the platform's Clock, so
// tests can run a 10-second timer or a 72-hour window in microseconds with a manual clock of their own.
class Clock {
 public:
  virtual ~Clock() = default;

  // Wall-clock time (dates written into payloads and stores).
  virtual Date now() const = 0;
  // Seconds on a clock that never jumps; timers are scheduled on it.
  virtual double monotonicSeconds() const = 0;
  // Blocks on condition (mutex held) until the monotonic time reaches deadline, condition is notified, or
  // (manual clock) at once after moving time forward to deadline. Spurious returns are allowed; callers re-check.
  virtual void waitUntil(ConditionVariable& condition, Mutex& mutex, double monotonicDeadline) REQUIRES(mutex) = 0;
};

// The machine's clocks.
class SystemClock final : public Clock {
 public:
  Date now() const override;
  double monotonicSeconds() const override;
  void waitUntil(ConditionVariable& condition, Mutex& mutex, double monotonicDeadline) REQUIRES(mutex) override;
};

}  // namespace tavo::platform
