#include "platform/OperationQueue.h"

#include <exception>
#include <iostream>
#include <utility>

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
  {
    std::lock_guard lock(state_->mutex);
    state_->stopping = true;
  }
  state_->available.notify_all();
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
  std::function<void(std::size_t)> observer;
  std::size_t count;
  {
    std::lock_guard lock(state_->mutex);
    state_->pending.push_back(std::move(operation));
    observer = state_->countObserver;
    count = state_->pending.size() + state_->running;
  }
  state_->available.notify_one();
  if (observer) observer(count);
}

std::size_t OperationQueue::operationCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->pending.size() + state_->running;
}

void OperationQueue::setOperationCountObserver(std::function<void(std::size_t)> observer) {
  std::lock_guard lock(state_->mutex);
  state_->countObserver = std::move(observer);
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
  std::unique_lock lock(state_->mutex);
  state_->idle.wait(lock, [this] { return state_->pending.empty() && state_->running == 0; });
}

bool OperationQueue::isCurrentQueue() const { return currentQueue == state_.get(); }

void OperationQueue::work(const std::shared_ptr<State>& state) {
  currentQueue = state.get();
  std::unique_lock lock(state->mutex);
  for (;;) {
    state->available.wait(lock, [&] { return state->stopping || !state->pending.empty(); });
    // Stopping still drains: the destructor promises that what was queued gets run.
    if (state->pending.empty()) break;
    std::function<void()> operation = std::move(state->pending.front());
    state->pending.pop_front();
    ++state->running;
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
    --state->running;
    if (state->countObserver) {
      auto observer = state->countObserver;
      const std::size_t count = state->pending.size() + state->running;
      lock.unlock();
      observer(count);
      lock.lock();
    }
    if (state->pending.empty() && state->running == 0) state->idle.notify_all();
  }
}

}  // namespace tavo::platform
