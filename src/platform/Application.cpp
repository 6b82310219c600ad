#include "platform/Application.h"

#include <utility>
#include <vector>

#include "platform/NotificationCenter.h"

namespace tavo::platform {

namespace {

// What the platform announces on the way from one state to another, in order.
std::vector<const char*> notificationsForMove(Application::State from, Application::State to) {
  switch (to) {
    case Application::Active:
      if (from == Application::Background)
        return {kApplicationWillEnterForegroundNotification, kApplicationDidBecomeActiveNotification};
      return {kApplicationDidBecomeActiveNotification};
    case Application::Background:
      if (from == Application::Active)
        return {kApplicationWillResignActiveNotification, kApplicationDidEnterBackgroundNotification};
      return {kApplicationDidEnterBackgroundNotification};
    case Application::Inactive:
      if (from == Application::Active) return {kApplicationWillResignActiveNotification};
      return {kApplicationWillEnterForegroundNotification};
  }
  return {};
}

}  // namespace

Application::Application(std::shared_ptr<NotificationCenter> center, State initial)
    : center_(std::move(center)), state_(initial) {}

Application::State Application::applicationState() const {
  std::lock_guard lock(mutex_);
  return state_;
}

void Application::setApplicationState(State state) {
  State previous;
  {
    std::lock_guard lock(mutex_);
    previous = state_;
    if (previous == state) return;
    state_ = state;
  }
  // Observers run outside the lock: they may well ask for the state again.
  if (!center_) return;
  for (const char* name : notificationsForMove(previous, state)) center_->postNotification(name);
}

}  // namespace tavo::platform
