#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"

namespace tavo::platform {

// Worker threads that run operations in the order they were added (serial by default, so completions of
// one client are handled one after another). The destructor finishes what was queued, then joins; destroyed by
// one of its own operations, that worker finishes the queue alone (a thread cannot join itself).
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
  // What the workers share with the queue: it outlives the queue while a worker still runs.
  struct State {
    mutable Mutex mutex;
    ConditionVariable available;
    ConditionVariable idle;
    std::deque<std::function<void()>> pending GUARDED_BY(mutex);
    std::size_t running GUARDED_BY(mutex) = 0;
    std::function<void(std::size_t)> countObserver GUARDED_BY(mutex);
    bool stopping GUARDED_BY(mutex) = false;
  };
  static void work(const std::shared_ptr<State>& shared);

  const std::shared_ptr<State> state_;
  std::vector<std::thread> workers_;
};

}  // namespace tavo::platform
