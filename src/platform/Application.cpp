#include "platform/Application.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "platform/MutexLock.h"
#include "platform/NotificationCenter.h"
#include "platform/SystemLog.h"

extern char** environ;

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
  MutexLock lock(mutex_);
  return state_;
}

void Application::setApplicationState(State state) {
  State previous;
  {
    MutexLock lock(mutex_);
    previous = state_;
    if (previous == state) return;
    state_ = state;
  }
  // Observers run outside the lock: they may well ask for the state again.
  if (!center_) return;
  for (const char* name : notificationsForMove(previous, state)) center_->postNotification(name);
}

bool Application::openURL(const std::string& url) {
  OpenURLHandler handler;
  bool withSystem;
  std::string command;
  std::shared_ptr<SystemLog> log;
  {
    MutexLock lock(mutex_);
    handler = openURLHandler_;
    withSystem = openURLWithSystem_;
    command = systemOpenCommand_;
    log = systemLog_;
  }
  // The host's code runs outside the lock: it may set handlers or open another URL.
  if (handler) return handler(url);
  if (withSystem) {
    if (openWithSystem(command, url)) return true;
    if (log) log->write("Open URL failed with " + command + ": " + url);
    return false;
  }
  if (log) log->write("Open URL: " + url);
  return false;
}

void Application::setOpenURLHandler(OpenURLHandler handler) {
  MutexLock lock(mutex_);
  openURLHandler_ = std::move(handler);
}

void Application::setOpenURLWithSystem(bool enabled) {
  MutexLock lock(mutex_);
  openURLWithSystem_ = enabled;
}

void Application::setSystemOpenCommand(std::string command) {
  MutexLock lock(mutex_);
  systemOpenCommand_ = std::move(command);
}

bool Application::respondsToContinueUserActivity() const {
  MutexLock lock(mutex_);
  return static_cast<bool>(continueUserActivityHandler_);
}

bool Application::continueUserActivity(const std::string& webpageURL) {
  ContinueUserActivityHandler handler;
  {
    MutexLock lock(mutex_);
    handler = continueUserActivityHandler_;
  }
  return handler ? handler(webpageURL) : false;
}

void Application::setContinueUserActivityHandler(ContinueUserActivityHandler handler) {
  MutexLock lock(mutex_);
  continueUserActivityHandler_ = std::move(handler);
}

void Application::setSystemLog(std::shared_ptr<SystemLog> log) {
  MutexLock lock(mutex_);
  systemLog_ = std::move(log);
}

bool Application::openWithSystem(const std::string& command, const std::string& url) const {
  // A leading dash would read as an option of the opener, never as a URL.
  if (url.empty() || url.front() == '-' || command.empty()) return false;
  // The shell checks that the opener exists, starts it in the background and exits at once, so the caller
  // never waits for a browser and no child is left for us to reap. The URL is an argument, never parsed as
  // shell text.
  static constexpr const char* kScript =
      "command -v \"$1\" >/dev/null 2>&1 || exit 127; \"$1\" \"$2\" </dev/null >/dev/null 2>&1 &";
  std::vector<char*> argv = {const_cast<char*>("sh"),
                             const_cast<char*>("-c"),
                             const_cast<char*>(kScript),
                             const_cast<char*>("sh"),
                             const_cast<char*>(command.c_str()),
                             const_cast<char*>(url.c_str()),
                             nullptr};
  pid_t pid = 0;
  if (::posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv.data(), environ) != 0) return false;
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0)
    if (errno != EINTR) return false;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace tavo::platform
