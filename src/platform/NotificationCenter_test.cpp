#include "platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace tavo::platform {
namespace {

TEST(NotificationCenterTest, ObserversMayRemoveAddAndPostDuringADelivery) {
  NotificationCenter center;
  std::vector<std::string> heard;
  NotificationCenter::ObserverId self = 0;
  NotificationCenter::ObserverId later = 0;
  self = center.addObserver("n", [&](const Notification&) {
    heard.push_back("self");
    center.removeObserver(self);
    center.removeObserver(later);  // registered after this one: not called in this delivery either
    center.addObserver("n", [&](const Notification&) { heard.push_back("added"); });  // hears the next one
    center.postNotification("inner");
  });
  later = center.addObserver("n", [&](const Notification&) { heard.push_back("later"); });
  center.addObserver("inner", [&](const Notification& n) { heard.push_back(n.name); });
  center.postNotification("n");
  center.postNotification("n");
  EXPECT_EQ(heard, (std::vector<std::string>{"self", "inner", "added"}));
  center.removeObserver(self);  // already gone, and never known: ignored
  center.removeObserver(424242);
}

TEST(NotificationCenterTest, ConcurrentObserversAndPostsAreSafe) {
  NotificationCenter center;
  std::atomic<int> permanentCalls{0};
  center.addObserver("n", [&](const Notification&) { ++permanentCalls; });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        const auto id = center.addObserver("n", [](const Notification&) {});
        center.postNotification("n");
        center.removeObserver(id);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(permanentCalls.load(), 800);
}

}  // namespace
}  // namespace tavo::platform
