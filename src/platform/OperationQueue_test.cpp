#include "platform/OperationQueue.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tavo::platform {
namespace {

using namespace std::chrono_literals;

TEST(OperationQueueTest, SerialQueueRunsOneAtATimeInOrderAndANonPositiveCountIsSerial) {
  for (const int count : {1, -2}) {
    OperationQueue queue(count);
    std::vector<int> order;  // guarded by the queue being serial
    std::atomic<int> inside{0};
    std::atomic<int> mostInside{0};
    for (int i = 0; i < 500; ++i) {
      queue.addOperation([&, i] {
        const int now = ++inside;
        if (now > mostInside) mostInside = now;
        order.push_back(i);
        --inside;
      });
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(mostInside.load(), 1) << count;
    ASSERT_EQ(order.size(), 500u) << count;
    for (int i = 0; i < 500; ++i) ASSERT_EQ(order[i], i) << count;
  }
}

TEST(OperationQueueTest, ConcurrentQueueRunsOperationsSideBySide) {
  OperationQueue queue(4);
  std::mutex mutex;
  std::condition_variable allArrived;
  int arrived = 0;
  std::atomic<int> metTheOthers{0};
  for (int i = 0; i < 4; ++i) {
    queue.addOperation([&] {
      std::unique_lock lock(mutex);
      ++arrived;
      allArrived.notify_all();
      // With fewer than four workers the others never arrive and this times out.
      if (allArrived.wait_for(lock, 20s, [&] { return arrived == 4; })) ++metTheOthers;
    });
  }
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(metTheOthers.load(), 4);
}

TEST(OperationQueueTest, OperationsAddedFromManyThreadsRunExactlyOnce) {
  static constexpr int kThreads = 4;
  static constexpr int kPerThread = 500;
  std::vector<std::atomic<int>> runs(kThreads * kPerThread);
  OperationQueue queue(3);
  std::vector<std::thread> adders;
  for (int t = 0; t < kThreads; ++t) {
    adders.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) queue.addOperation([&runs, t, i] { ++runs[t * kPerThread + i]; });
    });
  }
  for (auto& adder : adders) adder.join();
  queue.waitUntilAllOperationsAreFinished();
  for (const auto& count : runs) ASSERT_EQ(count.load(), 1);
}

TEST(OperationQueueTest, WaitCoversOperationsAddedByOperations) {
  OperationQueue queue;
  int depth = 0;
  std::function<void()> next = [&] {
    if (++depth < 100) queue.addOperation(next);
  };
  queue.addOperation(next);
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(depth, 100);
}

TEST(OperationQueueTest, DestructorFinishesWhatWasQueued) {
  std::atomic<int> ran{0};
  {
    OperationQueue queue(2);
    queue.addOperation([&] {
      std::this_thread::sleep_for(20ms);
      ++ran;
    });
    for (int i = 0; i < 200; ++i) queue.addOperation([&] { ++ran; });
  }
  EXPECT_EQ(ran.load(), 201);
}

// Found by fuzzing the C interface: a reset let go of the request controller while its own queue was handling an
// answer, so the queue was destroyed on its own worker, which tried to join itself and aborted the host.
TEST(OperationQueueTest, AQueueDestroyedByItsOwnOperationStillRunsWhatWasQueued) {
  auto queue = std::make_shared<OperationQueue>();
  OperationQueue& operations = *queue;
  std::promise<void> queued;
  std::promise<void> ranAfter;
  operations.addOperation([last = std::move(queue), queued = queued.get_future().share()]() mutable {
    queued.wait();
    last.reset();  // the last owner: the queue goes here, on its own worker
  });
  operations.addOperation([&] { ranAfter.set_value(); });
  queued.set_value();
  EXPECT_EQ(ranAfter.get_future().wait_for(10s), std::future_status::ready);
}

TEST(OperationQueueTest, ThrowingOperationIsReportedAndTheWorkerCarriesOn) {
  OperationQueue queue;
  std::thread::id before;
  std::thread::id after;
  bool lastRan = false;
  testing::internal::CaptureStderr();
  queue.addOperation([&] { before = std::this_thread::get_id(); });
  queue.addOperation([] { throw std::runtime_error("disk on fire"); });
  queue.addOperation([] { throw 42; });
  queue.addOperation([&] {
    after = std::this_thread::get_id();
    lastRan = true;
  });
  queue.waitUntilAllOperationsAreFinished();
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(lastRan);
  EXPECT_EQ(before, after);  // the same worker, not a replacement
  EXPECT_NE(log.find("disk on fire"), std::string::npos);
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2);
}

}  // namespace
}  // namespace tavo::platform
