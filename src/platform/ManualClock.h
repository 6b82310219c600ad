#pragma once

#include <atomic>

#include "platform/Clock.h"

namespace tavo::platform {

// A clock that moves only when told to. Wall and monotonic time move together. Thread-safe.
class ManualClock final : public Clock {
 public:
  explicit ManualClock(Date start = Date(1767225600.0) /* 2026-01-01 00:00:00 UTC */);

  Date now() const override;
  double monotonicSeconds() const override;
  // Moves time forward to the deadline (never backwards) and returns without blocking.
  void waitUntil(ConditionVariable& condition, Mutex& mutex, double monotonicDeadline) REQUIRES(mutex) override;

  void advance(double seconds);
  void setNow(Date date);  // moves wall time only (a user changing the device clock)

 private:
  std::atomic<double> wall_;
  std::atomic<double> monotonic_{0.0};
};

}  // namespace tavo::platform
