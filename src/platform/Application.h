#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/Mutex.h"

namespace tavo::platform {

class NotificationCenter;
class SystemLog;

// The application as the platform sees it: its state, and the lifecycle notifications a change of state
// posts (becoming active, resigning active, entering the background, entering the foreground). It also
// opens URLs for the app and passes user activities to the host's application delegate.
class Application {
 public:
  enum State { Active = 0, Inactive = 1, Background = 2 };

  // Opens url; true when it was opened.
  using OpenURLHandler = std::function<bool(const std::string& url)>;
  // The host delegate's application:continueUserActivity:restorationHandler: for a web-browsing activity;
  // returns whether the host handled it.
  using ContinueUserActivityHandler = std::function<bool(const std::string& webpageURL)>;

  explicit Application(std::shared_ptr<NotificationCenter> center, State initial = Active);

  State applicationState() const;
  // Moves to state and posts what the platform posts for that move, on the calling thread:
  //   to Active:     "...WillEnterForeground..." (from Background), then "...DidBecomeActive..."
  //   to Background: "...WillResignActive..." (from Active), then "...DidEnterBackground..."
  //   to Inactive:   "...WillResignActive..." from Active, "...WillEnterForeground..." from Background.
  // Setting the current state posts nothing.
  void setApplicationState(State state);

  // Opens url with the host's handler when one is set. Otherwise, when the host allowed it, hands url to
  // the system opener (xdg-open) and returns whether it could be started; otherwise logs "Open URL: <url>"
  // to the system log and returns false. Any thread; the handler runs on the calling thread.
  bool openURL(const std::string& url);
  // An empty handler restores the default behaviour.
  void setOpenURLHandler(OpenURLHandler handler);
  // Off by default: a library should not launch programs on the host's machine unless asked.
  void setOpenURLWithSystem(bool enabled);
  // The program the system opener runs with the url as its one argument; "xdg-open" by default.
  void setSystemOpenCommand(std::string command);

  // Whether the host's delegate implements continueUserActivity (a handler is set).
  bool respondsToContinueUserActivity() const;
  // Calls the host's handler with the activity's web-page URL, on the calling thread; false when no
  // handler is set (the delegate does not implement it) or the handler declined.
  bool continueUserActivity(const std::string& webpageURL);
  void setContinueUserActivityHandler(ContinueUserActivityHandler handler);

  // Where "Open URL" lines go; without one they go nowhere.
  void setSystemLog(std::shared_ptr<SystemLog> log);

 private:
  bool openWithSystem(const std::string& command, const std::string& url) const;

  std::shared_ptr<NotificationCenter> center_;
  mutable Mutex mutex_;
  State state_ GUARDED_BY(mutex_);
  OpenURLHandler openURLHandler_ GUARDED_BY(mutex_);
  ContinueUserActivityHandler continueUserActivityHandler_ GUARDED_BY(mutex_);
  bool openURLWithSystem_ GUARDED_BY(mutex_) = false;
  std::string systemOpenCommand_ GUARDED_BY(mutex_) = "xdg-open";
  std::shared_ptr<SystemLog> systemLog_ GUARDED_BY(mutex_);
};

}  // namespace tavo::platform
