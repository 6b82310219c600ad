#pragma once

#include "platform/Mutex.h"
#include "platform/RecursiveMutex.h"
#include "platform/ThreadAnnotations.h"

namespace tavo::platform {

// Holds a Mutex (or a RecursiveMutex) for the rest of the scope: `MutexLock lock(mutex_);`. unlock() and
// lock() let a scope step out of the lock for a while (to call code that must not run under it).
template <class Lockable>
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Lockable& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() RELEASE() {
    if (held_) mutex_.unlock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void unlock() RELEASE() {
    mutex_.unlock();
    held_ = false;
  }
  void lock() ACQUIRE() {
    mutex_.lock();
    held_ = true;
  }

 private:
  Lockable& mutex_;
  bool held_ = true;
};

}  // namespace tavo::platform
