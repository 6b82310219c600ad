#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "tavo/platform/Date.h"

namespace tavo::platform {

// Time as the SDK sees it. No SDK code reads the system clock directly: it asks the platform's Clock, so
// tests can run a 10-second timer or a 72-hour window in microseconds with a ManualClock.
class Clock {
 public:
  virtual ~Clock() = default;

  // Wall-clock time (dates written into payloads and stores).
  virtual Date now() const = 0;
  // Seconds on a clock that never jumps; timers are scheduled on it.
  virtual double monotonicSeconds() const = 0;
  // Blocks on cv (lock held) until the monotonic time reaches deadline, cv is notified, or (manual clock)
  // at once after moving time forward to deadline. Spurious returns are allowed; callers re-check.
  virtual void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double monotonicDeadline) = 0;
};

// The machine's clocks.
class SystemClock final : public Clock {
 public:
  Date now() const override;
  double monotonicSeconds() const override;
  void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double monotonicDeadline) override;
};

// A clock that moves only when told to. Wall and monotonic time move together. Thread-safe.
class ManualClock final : public Clock {
 public:
  explicit ManualClock(Date start = Date(1767225600.0) /* 2026-01-01 00:00:00 UTC */);

  Date now() const override;
  double monotonicSeconds() const override;
  // Moves time forward to the deadline (never backwards) and returns without blocking.
  void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double monotonicDeadline) override;

  void advance(double seconds);
  void setNow(Date date);  // moves wall time only (a user changing the device clock)

 private:
  std::atomic<double> wall_;
  std::atomic<double> monotonic_{0.0};
};

}  // namespace tavo::platform
