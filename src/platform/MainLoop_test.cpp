#include "platform/MainLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/ManualClock.h"

namespace tavo::platform {
namespace {

class MainLoopTest : public ::testing::Test {
 protected:
  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  MainLoop loop{clock};
};

TEST_F(MainLoopTest, WorkAddedDuringAPumpWaitsForTheNext) {
  // Endless re-posting, as a task and as a zero-delay timer: each pump must still return.
  int runs = 0;
  std::function<void()> again = [&] {
    ++runs;
    loop.post(again);
  };
  std::function<void()> timerAgain = [&] {
    ++runs;
    loop.postAfter(0, timerAgain);
  };
  loop.post(again);
  loop.postAfter(0, timerAgain);
  EXPECT_EQ(loop.runPending(), 2u);
  EXPECT_EQ(loop.runPending(), 2u);
  EXPECT_EQ(runs, 4);
}

TEST_F(MainLoopTest, ThrowingTaskKeepsTheTasksBehindIt) {
  std::vector<int> ran;
  loop.post([&] { ran.push_back(1); });
  loop.post([] { throw std::runtime_error("boom"); });
  loop.post([&] { ran.push_back(3); });
  EXPECT_THROW(loop.runPending(), std::runtime_error);
  loop.post([&] { ran.push_back(4); });
  loop.runPending();
  EXPECT_EQ(ran, (std::vector<int>{1, 3, 4}));
}

TEST_F(MainLoopTest, TimersFireByDueTimeThenBySchedulingOrderAndOnlyOnce) {
  std::string fired;
  loop.postAfter(3, [&] { fired += 'c'; });
  loop.postAfter(1, [&] { fired += 'a'; });
  loop.postAfter(2, [&] { fired += 'b'; });
  loop.postAfter(1, [&] { fired += 'A'; });
  clock->advance(0.5);
  EXPECT_EQ(loop.runPending(), 0u);
  clock->advance(1.5);
  EXPECT_EQ(loop.runPending(), 3u);
  EXPECT_EQ(fired, "aAb");
  clock->advance(5);
  EXPECT_EQ(loop.runPending(), 1u);
  EXPECT_EQ(loop.runPending(), 0u);
  EXPECT_EQ(fired, "aAbc");
}

TEST_F(MainLoopTest, CancelledTimersNeverFireWhoeverCancelsThem) {
  int fired = 0;
  const auto once = loop.postAfter(1, [&] { ++fired; });
  const auto repeating = loop.scheduleRepeating(1, [&] { ++fired; });
  loop.cancel(once);
  loop.cancel(repeating);
  loop.cancel(987654);  // unknown: ignored
  MainLoop::TimerId later = 0;
  loop.postAfter(1, [&] { loop.cancel(later); });
  later = loop.postAfter(2, [&] { ++fired; });
  clock->advance(3);  // both due in this pump: the earlier one cancels the later
  EXPECT_EQ(loop.runPending(), 1u);
  MainLoop::TimerId self = 0;
  self = loop.scheduleRepeating(1, [&] {  // by its own task
    if (++fired == 3) loop.cancel(self);
  });
  loop.runFor(10);
  EXPECT_EQ(fired, 3);
}

TEST_F(MainLoopTest, RepeatingTimersKeepTheirGridThroughSlowTasksAndMissedPumps) {
  std::vector<double> firedAt;
  loop.scheduleRepeating(1, [&] {
    firedAt.push_back(clock->monotonicSeconds());
    clock->advance(0.3);  // a slow task must not push the next fire later
  });
  loop.runFor(4);
  EXPECT_EQ(firedAt, (std::vector<double>{1, 2, 3, 4}));
  clock->advance(10);  // the host did not pump for ten intervals: one fire, not ten
  EXPECT_EQ(loop.runPending(), 1u);
  clock->advance(0.3);
  EXPECT_EQ(loop.runPending(), 0u);
  clock->advance(0.2);  // still on the original grid: due at 15
  EXPECT_EQ(loop.runPending(), 1u);
}

TEST_F(MainLoopTest, NonPositiveIntervalRepeatsEveryTenthOfAMillisecond) {
  int fired = 0;
  loop.scheduleRepeating(0, [&] { ++fired; });
  loop.scheduleRepeating(-3, [&] { ++fired; });
  loop.runFor(0.00105);
  EXPECT_EQ(fired, 20);
}

TEST_F(MainLoopTest, RunUntilGivesUpAtItsDeadlineAndRunsNothingWhenAlreadyTrue) {
  bool ran = false;
  loop.post([&] { ran = true; });
  EXPECT_TRUE(loop.runUntil([] { return true; }, 3));
  EXPECT_FALSE(ran);
  EXPECT_FALSE(loop.runUntil([] { return false; }, 3));
  EXPECT_TRUE(ran);
  EXPECT_EQ(clock->monotonicSeconds(), 3.0);
}

TEST_F(MainLoopTest, MainThreadIsTheCreatorOrTheLastBinder) {
  EXPECT_TRUE(loop.isMainThread());
  bool onOther = true;

  std::atomic<bool> bound{false};
  std::thread reader([&] {
    while (!bound.load()) (void)loop.isMainThread();  // reads race with the bind below
  });
  std::thread binder([&] {
    loop.bindToCurrentThread();
    onOther = loop.isMainThread();
    bound = true;
  });
  binder.join();
  reader.join();
  EXPECT_TRUE(onOther);
  EXPECT_FALSE(loop.isMainThread());
}

TEST(MainLoopSystemClockTest, APostOrAnEarlierTimerFromAnotherThreadWakesASleepingPump) {
  for (const bool byTimer : {false, true}) {
    auto clock = std::make_shared<SystemClock>();
    MainLoop loop(clock);
    bool done = false;          // touched on the main thread only
    loop.postAfter(60, [] {});  // the pump first sleeps toward this one
    const double start = clock->monotonicSeconds();
    std::thread other([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      if (byTimer) {
        loop.postAfter(0.01, [&] { done = true; });
      } else {
        loop.post([&] { done = true; });
      }
    });
    const bool finished = loop.runUntil([&] { return done; }, 20);
    other.join();
    EXPECT_TRUE(finished) << (byTimer ? "timer" : "post");
    EXPECT_LT(clock->monotonicSeconds() - start, 10.0) << (byTimer ? "timer" : "post") << " slept to the deadline";
  }
}

TEST(MainLoopSystemClockTest, PostsFromManyThreadsAllRunInEachThreadsOrder) {
  auto clock = std::make_shared<SystemClock>();
  MainLoop loop(clock);
  constexpr int kThreads = 3;
  constexpr int kPosts = 500;
  std::vector<std::vector<int>> seen(kThreads);  // touched on the main thread only
  int total = 0;
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (int i = 0; i < kPosts; ++i)
        loop.post([&, t, i] {
          seen[t].push_back(i);
          ++total;
        });
    });
  }
  const bool finished = loop.runUntil([&] { return total == kThreads * kPosts; }, 30);
  for (auto& poster : posters) poster.join();
  ASSERT_TRUE(finished);
  for (const auto& order : seen) {
    ASSERT_EQ(order.size(), static_cast<std::size_t>(kPosts));
    for (int i = 0; i < kPosts; ++i) ASSERT_EQ(order[i], i);
  }
}

}  // namespace
}  // namespace tavo::platform
