#pragma once

#include <memory>
#include <mutex>

namespace tavo::platform {

class NotificationCenter;

// The application as the platform sees it: its state, and the lifecycle notifications a change of state
// posts (becoming active, resigning active, entering the background, entering the foreground).
class Application {
 public:
  enum State { Active = 0, Inactive = 1, Background = 2 };

  explicit Application(std::shared_ptr<NotificationCenter> center, State initial = Active);

  State applicationState() const;
  // Moves to state and posts what the platform posts for that move, on the calling thread:
  //   to Active:     "...WillEnterForeground..." (from Background), then "...DidBecomeActive..."
  //   to Background: "...WillResignActive..." (from Active), then "...DidEnterBackground..."
  //   to Inactive:   "...WillResignActive..." from Active, "...WillEnterForeground..." from Background.
  // Setting the current state posts nothing.
  void setApplicationState(State state);

 private:
  std::shared_ptr<NotificationCenter> center_;
  mutable std::mutex mutex_;
  State state_;
};

}  // namespace tavo::platform
