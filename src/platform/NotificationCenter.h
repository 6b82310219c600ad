#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "tavo/platform/Value.h"

namespace tavo::platform {

// Application lifecycle notifications, by the platform's names.
inline constexpr const char* kApplicationDidBecomeActiveNotification = "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* kApplicationWillResignActiveNotification = "UIApplicationWillResignActiveNotification";
inline constexpr const char* kApplicationDidEnterBackgroundNotification = "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* kApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";

struct Notification {
  std::string name;
  Dictionary userInfo;
};

// Named notifications delivered synchronously, on the posting thread, to the observers registered for the
// name, in registration order. An observer may remove itself (or others) from inside its handler.
class NotificationCenter {
 public:
  using ObserverId = std::uint64_t;
  using Handler = std::function<void(const Notification&)>;

  ObserverId addObserver(const std::string& name, Handler handler);
  void removeObserver(ObserverId id);
  void postNotification(const std::string& name, const Dictionary& userInfo = {});

 private:
  struct Observer {
    ObserverId id;
    std::string name;
    Handler handler;
  };
  mutable Mutex mutex_;
  std::vector<Observer> observers_ GUARDED_BY(mutex_);
  ObserverId nextId_ GUARDED_BY(mutex_) = 1;
};

}  // namespace tavo::platform
