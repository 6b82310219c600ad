#include "platform/NotificationCenter.h"

#include <algorithm>
#include <utility>

#include "platform/MutexLock.h"

namespace tavo::platform {

NotificationCenter::ObserverId NotificationCenter::addObserver(const std::string& name, Handler handler) {
  MutexLock lock(mutex_);
  const ObserverId id = nextId_++;
  observers_.push_back(Observer{id, name, std::move(handler)});
  return id;
}

void NotificationCenter::removeObserver(ObserverId id) {
  MutexLock lock(mutex_);
  std::erase_if(observers_, [id](const Observer& observer) { return observer.id == id; });
}

// Handlers run without the lock, from a snapshot, so they may add and remove observers. Observers added
// during a delivery hear the next one; observers removed during it are skipped for the rest of it.
void NotificationCenter::postNotification(const std::string& name, const Dictionary& userInfo) {
  std::vector<std::pair<ObserverId, Handler>> recipients;
  {
    MutexLock lock(mutex_);
    for (const auto& observer : observers_) {
      if (observer.name == name) recipients.emplace_back(observer.id, observer.handler);
    }
  }
  const Notification notification{name, userInfo};
  for (const auto& [id, handler] : recipients) {
    {
      MutexLock lock(mutex_);
      const bool stillObserving = std::any_of(observers_.begin(), observers_.end(),
                                              [id = id](const Observer& observer) { return observer.id == id; });
      if (!stillObserving) continue;
    }
    handler(notification);
  }
}

}  // namespace tavo::platform
