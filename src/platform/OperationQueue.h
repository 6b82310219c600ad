#pragma once

#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"

namespace tavo::platform {

// Worker threads that run operations in the order they were added (serial by default, so completions of
// one client are handled one after another). The destructor finishes what was queued, then joins.
class OperationQueue {
 public:
  explicit OperationQueue(int maxConcurrentOperationCount = 1);
  ~OperationQueue();
  OperationQueue(const OperationQueue&) = delete;
  OperationQueue& operator=(const OperationQueue&) = delete;

  void addOperation(std::function<void()> operation);
  // Blocks until every operation added so far has finished (not to be called from the queue itself).
  void waitUntilAllOperationsAreFinished();
  // Whether the calling thread is one of this queue's workers.
  bool isCurrentQueue() const;
  // Operations waiting or running.
  std::size_t operationCount() const;
  // Told the new count each time an operation is added or finishes (on that thread, outside the queue's
  // lock), as an observer of the platform queue's "operations" would be.
  void setOperationCountObserver(std::function<void(std::size_t count)> observer);

 private:
  void work();

  mutable Mutex mutex_;
  ConditionVariable available_;
  ConditionVariable idle_;
  std::deque<std::function<void()>> pending_ GUARDED_BY(mutex_);
  std::size_t running_ GUARDED_BY(mutex_) = 0;
  std::function<void(std::size_t)> countObserver_ GUARDED_BY(mutex_);
  bool stopping_ GUARDED_BY(mutex_) = false;
  std::vector<std::thread> workers_;
};

}  // namespace tavo::platform
