#pragma once

#include <mutex>

#include "platform/ThreadAnnotations.h"

namespace tavo::platform {

class ConditionVariable;

// The lock of the SDK and its tools: a std::mutex that clang's thread-safety analysis knows about. Take it
// with MutexLock; name it in GUARDED_BY on what it guards and in REQUIRES on functions whose caller holds it.
// Not recursive: use RecursiveMutex where a holder may legitimately take it again.
class CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }
  bool tryLock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  friend class ConditionVariable;
  std::mutex mutex_;
};

}  // namespace tavo::platform
