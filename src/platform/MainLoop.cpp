#include "platform/MainLoop.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <utility>

#include "platform/MutexLock.h"

namespace tavo::platform {

namespace {

// The platform's timers refuse intervals at or below zero and use their minimum of 0.1 ms instead.
constexpr double kMinimumRepeatInterval = 0.0001;

}  // namespace

MainLoop::MainLoop(std::shared_ptr<Clock> clock) : clock_(std::move(clock)), mainThread_(std::this_thread::get_id()) {}

void MainLoop::post(Task task) {
  {
    MutexLock lock(mutex_);
    posted_.push_back(std::move(task));
  }
  wake_.notifyAll();
}

MainLoop::TimerId MainLoop::postAfter(double seconds, Task task) {
  if (!(seconds > 0)) seconds = 0;  // negative and NaN delays mean "as soon as possible"
  TimerId id;
  {
    MutexLock lock(mutex_);
    id = nextId_++;
    timers_.emplace(id, Timer{clock_->monotonicSeconds() + seconds, 0.0, std::move(task)});
  }
  // A sleeping pump may be waiting for a later timer than this one.
  wake_.notifyAll();
  return id;
}

MainLoop::TimerId MainLoop::scheduleRepeating(double interval, Task task) {
  if (!(interval > 0)) interval = kMinimumRepeatInterval;
  TimerId id;
  {
    MutexLock lock(mutex_);
    id = nextId_++;
    timers_.emplace(id, Timer{clock_->monotonicSeconds() + interval, interval, std::move(task)});
  }
  wake_.notifyAll();
  return id;
}

void MainLoop::cancel(TimerId id) {
  MutexLock lock(mutex_);
  timers_.erase(id);
}

bool MainLoop::isMainThread() const {
  MutexLock lock(mutex_);
  return mainThread_ == std::this_thread::get_id();
}

void MainLoop::bindToCurrentThread() {
  MutexLock lock(mutex_);
  mainThread_ = std::this_thread::get_id();
}

// Tasks posted while runPending is running wait for the next pump, so a task that re-posts itself cannot
// keep one call from returning. Posted tasks run first, in order, then the timers that are due by then.
std::size_t MainLoop::runPending() {
  std::deque<Task> batch;
  {
    MutexLock lock(mutex_);
    batch.assign(std::make_move_iterator(posted_.begin()), std::make_move_iterator(posted_.end()));
    posted_.clear();
  }
  std::size_t ran = 0;
  try {
    while (!batch.empty()) {
      Task task = std::move(batch.front());
      batch.pop_front();
      task();
      ++ran;
    }
  } catch (...) {
    // The tasks behind the one that threw still belong at the head of the queue.
    MutexLock lock(mutex_);
    posted_.insert(posted_.begin(), std::make_move_iterator(batch.begin()), std::make_move_iterator(batch.end()));
    throw;
  }
  return ran + runDue(clock_->monotonicSeconds());
}

// Runs, earliest first, the timers that existed at entry and are due at now. A repeating timer is moved to
// its next due time before its task runs, so it fires at most once here, and a task may cancel it.
std::size_t MainLoop::runDue(double now) {
  TimerId firstNew;
  {
    MutexLock lock(mutex_);
    firstNew = nextId_;
  }
  std::size_t ran = 0;
  for (;;) {
    Task task;
    {
      MutexLock lock(mutex_);
      auto next = timers_.end();
      for (auto it = timers_.begin(); it != timers_.end() && it->first < firstNew; ++it) {
        if (it->second.due <= now && (next == timers_.end() || it->second.due < next->second.due)) next = it;
      }
      if (next == timers_.end()) break;
      Timer& timer = next->second;
      if (timer.interval > 0) {
        task = timer.task;
        // Keep the original cadence; fires missed while the loop was not pumped are dropped, not replayed.
        const double missed = std::floor((now - timer.due) / timer.interval);
        timer.due += (missed + 1) * timer.interval;
        if (timer.due <= now) timer.due = now + timer.interval;  // rounding on huge gaps
      } else {
        task = std::move(timer.task);
        timers_.erase(next);
      }
    }
    task();
    ++ran;
  }
  return ran;
}

// A pump that nothing ends early: it runs what comes due up to and including the deadline.
void MainLoop::runFor(double seconds) {
  runUntil([] { return false; }, seconds);
}

bool MainLoop::runUntil(const std::function<bool()>& predicate, double timeout) {
  const double deadline = clock_->monotonicSeconds() + (timeout > 0 ? timeout : 0);
  if (predicate()) return true;
  for (;;) {
    runPending();
    if (predicate()) return true;
    // Checked after the pump so that the work due exactly at the deadline still runs.
    if (clock_->monotonicSeconds() >= deadline) return false;
    MutexLock lock(mutex_);
    if (!posted_.empty()) continue;  // posted since the pump began: run them rather than sleep
    double wakeAt = deadline;
    for (const auto& [id, timer] : timers_) wakeAt = std::min(wakeAt, timer.due);
    clock_->waitUntil(wake_, mutex_, wakeAt);
  }
}

}  // namespace tavo::platform
