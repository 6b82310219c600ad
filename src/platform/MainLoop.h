#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "platform/Clock.h"
#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"

namespace tavo::platform {

// The main thread's run loop. The host pumps it on its UI thread (runFor / runPending), as a game engine
// ticks; every view, timer and host callback of the SDK runs inside a pump. Posting is safe from any thread.
class MainLoop {
 public:
  using Task = std::function<void()>;
  using TimerId = std::uint64_t;

  explicit MainLoop(std::shared_ptr<Clock> clock);

  // Runs task on the main thread at the next pump, after the tasks posted before it.
  void post(Task task);
  // Runs task once, seconds from now (on the loop's clock). Returns an id for cancel.
  TimerId postAfter(double seconds, Task task);
  // Runs task every interval seconds (first after one interval) until cancelled. A non-positive interval
  // is taken as the platform timers' minimum, 0.1 ms.
  TimerId scheduleRepeating(double interval, Task task);
  // Cancels a pending delayed task or a repeating timer; unknown or finished ids are ignored.
  void cancel(TimerId id);

  // The main thread is the thread that created the loop, or the last one that called bindToCurrentThread.
  bool isMainThread() const;
  void bindToCurrentThread();

  // Runs every task already posted and every timer already due, then returns how many ran.
  std::size_t runPending();
  // Pumps for seconds of the loop's clock: runs tasks and timers as they come due, sleeping in between
  // (a manual clock is moved forward instead of sleeping).
  void runFor(double seconds);
  // Pumps until predicate() is true or timeout seconds of the loop's clock have passed; returns predicate().
  bool runUntil(const std::function<bool()>& predicate, double timeout);

  const std::shared_ptr<Clock>& clock() const { return clock_; }

 private:
  struct Timer {
    double due;
    double interval;  // 0 for a one-shot
    Task task;
  };

  std::size_t runDue(double now);

  std::shared_ptr<Clock> clock_;
  mutable Mutex mutex_;
  ConditionVariable wake_;
  std::vector<Task> posted_ GUARDED_BY(mutex_);
  std::map<TimerId, Timer> timers_ GUARDED_BY(mutex_);
  TimerId nextId_ GUARDED_BY(mutex_) = 1;
  std::thread::id mainThread_ GUARDED_BY(mutex_);
};

}  // namespace tavo::platform
