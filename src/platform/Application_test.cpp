#include "platform/Application.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "platform/NotificationCenter.h"

namespace tavo::platform {
namespace {

// Records every lifecycle notification a center posts, by a short name.
struct LifecycleRecorder {
  explicit LifecycleRecorder(NotificationCenter& center) {
    const std::pair<const char*, const char*> names[] = {
        {kApplicationDidBecomeActiveNotification, "didBecomeActive"},
        {kApplicationWillResignActiveNotification, "willResignActive"},
        {kApplicationDidEnterBackgroundNotification, "didEnterBackground"},
        {kApplicationWillEnterForegroundNotification, "willEnterForeground"},
    };
    for (const auto& [name, shortName] : names)
      center.addObserver(name, [this, label = std::string(shortName)](const Notification&) {
        std::lock_guard lock(mutex);
        heard.push_back(label);
      });
  }
  std::vector<std::string> take() {
    std::lock_guard lock(mutex);
    return std::exchange(heard, {});
  }
  std::mutex mutex;
  std::vector<std::string> heard;
};

using Posts = std::vector<std::string>;

TEST(ApplicationTest, EachMovePostsWhatThePlatformPostsAndStayingPutPostsNothing) {
  struct Move {
    Application::State from, to;
    Posts expected;
  };
  const Move moves[] = {
      {Application::Background, Application::Active, {"willEnterForeground", "didBecomeActive"}},
      {Application::Inactive, Application::Active, {"didBecomeActive"}},
      {Application::Active, Application::Background, {"willResignActive", "didEnterBackground"}},
      {Application::Active, Application::Inactive, {"willResignActive"}},
      {Application::Background, Application::Inactive, {"willEnterForeground"}},
      {Application::Active, Application::Active, {}},
  };
  for (const auto& move : moves) {
    auto center = std::make_shared<NotificationCenter>();
    LifecycleRecorder recorder(*center);
    Application application(center, move.from);
    application.setApplicationState(move.to);
    EXPECT_EQ(recorder.take(), move.expected) << move.from << " -> " << move.to;
    EXPECT_EQ(application.applicationState(), move.to);
  }
}

TEST(ApplicationTest, ObserversSeeTheNewStateAndMayMoveItAgain) {
  auto center = std::make_shared<NotificationCenter>();
  Application application(center);
  std::vector<Application::State> seen;
  center->addObserver(kApplicationDidEnterBackgroundNotification, [&](const Notification&) {
    seen.push_back(application.applicationState());
    application.setApplicationState(Application::Active);  // posted outside the lock: no deadlock
  });
  center->addObserver(kApplicationDidBecomeActiveNotification,
                      [&](const Notification&) { seen.push_back(application.applicationState()); });
  application.setApplicationState(Application::Background);
  EXPECT_EQ(seen, (std::vector<Application::State>{Application::Background, Application::Active}));
  EXPECT_EQ(application.applicationState(), Application::Active);
}

TEST(ApplicationTest, ConcurrentMovesPostOneAlternatingNotificationPerRealChange) {
  auto center = std::make_shared<NotificationCenter>();
  LifecycleRecorder recorder(*center);
  Application application(center);
  auto toggle = [&](Application::State state) {
    for (int i = 0; i < 500; ++i) application.setApplicationState(i % 2 ? Application::Active : state);
  };
  std::thread a(toggle, Application::Background);
  std::thread b(toggle, Application::Background);
  a.join();
  b.join();
  const Posts heard = recorder.take();
  const auto active = std::count(heard.begin(), heard.end(), "didBecomeActive");
  const auto background = std::count(heard.begin(), heard.end(), "didEnterBackground");
  // Changes alternate from Active, so the counts differ by the final state only.
  EXPECT_EQ(background - active, application.applicationState() == Application::Background ? 1 : 0);
  EXPECT_EQ(std::count(heard.begin(), heard.end(), "willResignActive"), background);
}

}  // namespace
}  // namespace tavo::platform
