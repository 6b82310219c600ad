#include "platform/Clock.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "platform/MutexLock.h"

namespace tavo::platform {
namespace {

TEST(SystemClockTest, WaitUntilWakesOnNotify) {
  SystemClock clock;
  // A far deadline and one too far for a steady_clock time point: both must still hear the notify.
  for (double wait : {60.0, std::numeric_limits<double>::infinity()}) {
    Mutex mutex;
    ConditionVariable cv;
    bool woken = false;
    const double start = clock.monotonicSeconds();
    std::thread notifier([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      MutexLock lock(mutex);
      woken = true;
      cv.notifyAll();
    });
    {
      MutexLock lock(mutex);
      while (!woken) clock.waitUntil(cv, mutex, start + wait);
    }
    notifier.join();
    EXPECT_LT(clock.monotonicSeconds() - start, 30.0);
  }
}

}  // namespace
}  // namespace tavo::platform
