#pragma once

#include <mutex>

#include "platform/ThreadAnnotations.h"

namespace tavo::platform {

// A Mutex that its holder may take again (a callback that re-enters the code holding it). The analysis
// checks it like a Mutex; re-entry is the lock's business, not the analysis's.
class CAPABILITY("mutex") RecursiveMutex {
 public:
  RecursiveMutex() = default;
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;

  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

}  // namespace tavo::platform
