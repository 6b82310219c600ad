#include "platform/OperationQueue.h"

#include <exception>
#include <iostream>
#include <utility>

#include "platform/MutexLock.h"

namespace tavo::platform {

namespace {

// The queue whose worker is running on this thread, if any.
thread_local const OperationQueue* currentQueue = nullptr;

}  // namespace

OperationQueue::OperationQueue(int maxConcurrentOperationCount) {
  const int count = maxConcurrentOperationCount > 0 ? maxConcurrentOperationCount : 1;
  workers_.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) workers_.emplace_back([this] { work(); });
}

OperationQueue::~OperationQueue() {
  {
    MutexLock lock(mutex_);
    stopping_ = true;
  }
  available_.notifyAll();
  for (auto& worker : workers_) worker.join();
}

void OperationQueue::addOperation(std::function<void()> operation) {
  std::function<void(std::size_t)> observer;
  std::size_t count;
  {
    MutexLock lock(mutex_);
    pending_.push_back(std::move(operation));
    observer = countObserver_;
    count = pending_.size() + running_;
  }
  available_.notifyOne();
  if (observer) observer(count);
}

std::size_t OperationQueue::operationCount() const {
  MutexLock lock(mutex_);
  return pending_.size() + running_;
}

void OperationQueue::setOperationCountObserver(std::function<void(std::size_t)> observer) {
  MutexLock lock(mutex_);
  countObserver_ = std::move(observer);
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
  MutexLock lock(mutex_);
  while (!pending_.empty() || running_ > 0) idle_.wait(mutex_);
}

bool OperationQueue::isCurrentQueue() const { return currentQueue == this; }

void OperationQueue::work() {
  currentQueue = this;
  MutexLock lock(mutex_);
  for (;;) {
    while (!stopping_ && pending_.empty()) available_.wait(mutex_);
    // Stopping still drains: the destructor promises that what was queued gets run.
    if (pending_.empty()) break;
    std::function<void()> operation = std::move(pending_.front());
    pending_.pop_front();
    ++running_;
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
    --running_;
    if (countObserver_) {
      auto observer = countObserver_;
      const std::size_t count = pending_.size() + running_;
      lock.unlock();
      observer(count);
      lock.lock();
    }
    if (pending_.empty() && running_ == 0) idle_.notifyAll();
  }
}

}  // namespace tavo::platform
