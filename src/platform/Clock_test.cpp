#include "platform/Clock.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "platform/ManualClock.h"
#include "platform/MutexLock.h"

namespace tavo::platform {
namespace {

TEST(ManualClockTest, TimeMovesOnlyForwardWhileTheWallClockMayBeSetBack) {
  ManualClock clock(Date(1000.0));
  clock.advance(2.5);
  clock.advance(-5.0);  // ignored
  EXPECT_EQ(clock.now(), Date(1002.5));
  EXPECT_EQ(clock.monotonicSeconds(), 2.5);

  Mutex mutex;
  ConditionVariable cv;
  {
    MutexLock lock(mutex);
    clock.waitUntil(cv, mutex, 7.0);  // waiting is moving the clock to the deadline
    EXPECT_EQ(clock.monotonicSeconds(), 7.0);
    EXPECT_EQ(clock.now(), Date(1007.0));
    clock.waitUntil(cv, mutex, 3.0);
    EXPECT_EQ(clock.monotonicSeconds(), 7.0);
  }

  clock.setNow(Date(500.0));  // a user setting the device clock back
  EXPECT_EQ(clock.monotonicSeconds(), 7.0);
  clock.advance(1.0);
  EXPECT_EQ(clock.now(), Date(501.0));
}

TEST(ManualClockTest, ConcurrentAdvancesAndWaitsLoseNoTime) {
  ManualClock clock(Date(0.0));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&clock] {
      for (int i = 0; i < 1000; ++i) clock.advance(0.5);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(clock.now(), Date(2000.0));

  // Racing waits for the same deadline move wall time once, not once per waiter.
  threads.clear();
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&clock] {
      Mutex mutex;
      ConditionVariable cv;
      MutexLock lock(mutex);
      clock.waitUntil(cv, mutex, 2100.0);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(clock.monotonicSeconds(), 2100.0);
  EXPECT_EQ(clock.now(), Date(2100.0));
}

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
