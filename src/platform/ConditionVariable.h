#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "platform/Mutex.h"
#include "platform/ThreadAnnotations.h"

namespace tavo::platform {

// A condition variable over a Mutex. Waits may return spuriously: callers wait in a loop over their
// condition, written in the caller (where the analysis sees the lock held), not in a predicate lambda.
class ConditionVariable {
 public:
  ConditionVariable() = default;
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;

  // Releases mutex while waiting and holds it again on return.
  void wait(Mutex& mutex) REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
    condition_.wait(lock);
    lock.release();
  }
  // Same, returning at the latest at deadline.
  void waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
    condition_.wait_until(lock, deadline);
    lock.release();
  }

  void notifyOne() { condition_.notify_one(); }
  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace tavo::platform
