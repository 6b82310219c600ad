#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/TAVOSessionData.h"
#include "platform/Mutex.h"
#include "platform/NotificationCenter.h"
#include "tavo/platform/Date.h"

namespace tavo {

// Measures how long the application is used: a session runs from becoming active (or the SDK's start) to
// going to the background. Each end updates the running average and the count, stores them and sends
// "tavo_app_session"; the very first session of an installation sends the install event once.
class TAVOSessionController {
 public:
  TAVOSessionController();   // loads the stored session data (or starts from zero)
  ~TAVOSessionController();  // stops observing the application's notifications

  // Starts a session and follows the application's lifecycle from now on (once per controller).
  void initSessionLogic();
  void startSession();
  void endSession();
  // Lifecycle handlers: becoming active starts a session; entering the background ends it and flushes the
  // request queue.
  void wakeUp();
  void toSleep();

  double getCurrentSessionTime() const;
  double getAverageSessionTime();
  void saveSessionData();
  bool isFirstSession() const;
  void sendInstallEvent();

  // A snapshot: a change replaces the data, it never edits one handed out.
  std::shared_ptr<TAVOSessionData> sessionData() const;
  bool isStarted() const;

 private:
  // What the notification handlers hold instead of the controller: they act only while it lives, and the
  // destructor waits for a handler that is running.
  struct ObserverGate;

  std::shared_ptr<ObserverGate> gate_;
  mutable platform::Mutex mutex_;
  std::shared_ptr<TAVOSessionData> sessionData_ GUARDED_BY(mutex_);
  std::optional<platform::Date> startSessionTime_ GUARDED_BY(mutex_);
  bool isStarted_ GUARDED_BY(mutex_) = false;
  std::vector<platform::NotificationCenter::ObserverId> observers_ GUARDED_BY(mutex_);
  std::weak_ptr<platform::NotificationCenter> observedCenter_ GUARDED_BY(mutex_);
};

}  // namespace tavo
