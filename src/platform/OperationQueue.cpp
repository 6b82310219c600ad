#include "platform/OperationQueue.h"

#include <exception>
#include <iostream>
#include <utility>

#include "platform/MutexLock.h"

namespace tavo::platform {

namespace {

// The state of the queue whose worker is running on this thread, if any.
thread_local const void* currentQueue = nullptr;

}  // namespace

OperationQueue::OperationQueue(int maxConcurrentOperationCount) : state_(std::make_shared<State>()) {
  const int count = maxConcurrentOperationCount > 0 ? maxConcurrentOperationCount : 1;
  workers_.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) workers_.emplace_back([state = state_] { work(state); });
}

OperationQueue::~OperationQueue() {
  State& s = *state_;
  {
    MutexLock lock(s.mutex);
    s.stopping = true;
  }
  s.available.notifyAll();
  for (auto& worker : workers_) {
    // A thread cannot join itself: destroyed by its own operation, that worker drains the queue and ends alone.
    if (worker.get_id() == std::this_thread::get_id()) {
      worker.detach();
    } else {
      worker.join();
    }
  }
}

void OperationQueue::addOperation(std::function<void()> operation) {
  State& s = *state_;
  std::function<void(std::size_t)> observer;
  std::size_t count;
  {
    MutexLock lock(s.mutex);
    s.pending.push_back(std::move(operation));
    observer = s.countObserver;
    count = s.pending.size() + s.running;
  }
  s.available.notifyOne();
  if (observer) observer(count);
}

std::size_t OperationQueue::operationCount() const {
  State& s = *state_;
  MutexLock lock(s.mutex);
  return s.pending.size() + s.running;
}

void OperationQueue::setOperationCountObserver(std::function<void(std::size_t)> observer) {
  State& s = *state_;
  MutexLock lock(s.mutex);
  s.countObserver = std::move(observer);
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
  State& s = *state_;
  MutexLock lock(s.mutex);
  while (!s.pending.empty() || s.running > 0) s.idle.wait(s.mutex);
}

bool OperationQueue::isCurrentQueue() const { return currentQueue == state_.get(); }

void OperationQueue::work(const std::shared_ptr<State>& shared) {
  currentQueue = shared.get();
  State& s = *shared;
  MutexLock lock(s.mutex);
  for (;;) {
    while (!s.stopping && s.pending.empty()) s.available.wait(s.mutex);
    // Stopping still drains: the destructor promises that what was queued gets run.
    if (s.pending.empty()) break;
    std::function<void()> operation = std::move(s.pending.front());
    s.pending.pop_front();
    ++s.running;
    lock.unlock();
    try {
      operation();
    } catch (const std::exception& e) {
      std::cerr << "OperationQueue: operation threw: " << e.what() << '\n';
    } catch (...) {
      std::cerr << "OperationQueue: operation threw a non-standard exception\n";
    }
    // Whatever the operation captured is released before anyone is told the queue is idle.
    operation = nullptr;
    lock.lock();
    --s.running;
    if (s.countObserver) {
      auto observer = s.countObserver;
      const std::size_t count = s.pending.size() + s.running;
      lock.unlock();
      observer(count);
      lock.lock();
    }
    if (s.pending.empty() && s.running == 0) s.idle.notifyAll();
  }
}

}  // namespace tavo::platform
