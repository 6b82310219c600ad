#include "core/TAVOSessionController.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "core/TAVOController.h"
#include "core/TAVOUtils.h"
#include "inapp/TAVOCampaignController.h"
#include "network/TAVORequestController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/MutexLock.h"
#include "platform/Platform.h"
#include "tavo/TAVOEventRequest.h"
#include "tracking/TAVOEventController.h"

namespace tavo {

using platform::Value;

namespace {

constexpr const char* kAppSessionToken = "tavo_app_session";
constexpr const char* kAutoEventToken = "tavo_auto_event";

static_assert(std::numeric_limits<float>::is_iec559, "a session time too long for a float must become infinity");

platform::Date now() { return platform::Platform::shared().clock->now(); }

// The count as a 32-bit integer, as the number's intValue gives it; out-of-range values saturate rather
// than being undefined.
std::int32_t int32Value(double number) {
  if (std::isnan(number)) return 0;
  if (number >= static_cast<double>(std::numeric_limits<std::int32_t>::max()))
    return std::numeric_limits<std::int32_t>::max();
  if (number <= static_cast<double>(std::numeric_limits<std::int32_t>::min()))
    return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(number);
}

}  // namespace

struct TAVOSessionController::ObserverGate {
  explicit ObserverGate(TAVOSessionController* controller) : owner(controller) {}

  // Recursive: a handler may post another lifecycle notification on its own thread.
  template <class Action>
  void run(Action action) {
    platform::MutexLock lock(mutex);
    if (owner) action(*owner);
  }
  void close() {
    platform::MutexLock lock(mutex);
    owner = nullptr;
  }

  platform::RecursiveMutex mutex;
  TAVOSessionController* owner GUARDED_BY(mutex);
};

TAVOSessionController::TAVOSessionController() : gate_(std::make_shared<ObserverGate>(this)) {
  // A store of its own: the shared controller is still being built when this runs.
  const std::optional<Value> stored =
      TAVODataStoreController().getObjectFromDataStore(TAVODataStoreController::kSessionDataKey);
  auto data = stored ? stored->objectAs<TAVOSessionData>() : nullptr;
  sessionData_ = data ? std::move(data) : std::make_shared<TAVOSessionData>();
}

TAVOSessionController::~TAVOSessionController() {
  std::vector<platform::NotificationCenter::ObserverId> observers;
  std::shared_ptr<platform::NotificationCenter> center;
  {
    platform::MutexLock lock(mutex_);
    observers.swap(observers_);
    center = observedCenter_.lock();
  }
  if (center)
    for (const auto id : observers) center->removeObserver(id);
  // A delivery that took its snapshot before the removal may still be on its way: it finds the gate shut.
  gate_->close();
}

void TAVOSessionController::initSessionLogic() {
  startSession();
  auto center = platform::Platform::shared().notificationCenter;
  if (!center) return;
  platform::MutexLock lock(mutex_);
  if (!observers_.empty()) return;
  std::weak_ptr<ObserverGate> gate = gate_;
  observers_.push_back(
      center->addObserver(platform::kApplicationDidBecomeActiveNotification, [gate](const platform::Notification&) {
        if (auto open = gate.lock()) open->run([](TAVOSessionController& c) { c.wakeUp(); });
      }));
  observers_.push_back(
      center->addObserver(platform::kApplicationDidEnterBackgroundNotification, [gate](const platform::Notification&) {
        if (auto open = gate.lock()) open->run([](TAVOSessionController& c) { c.toSleep(); });
      }));
  observedCenter_ = center;
}

void TAVOSessionController::startSession() {
  {
    platform::MutexLock lock(mutex_);
    if (isStarted_) return;
    isStarted_ = true;
    startSessionTime_ = now();
  }
  if (isFirstSession()) sendInstallEvent();
}

void TAVOSessionController::endSession() {
  const double average = getAverageSessionTime();
  {
    platform::MutexLock lock(mutex_);
    auto next = std::make_shared<TAVOSessionData>(*sessionData_);
    next->sessionTime = average;
    next->sessionNumber = static_cast<double>(int32Value(next->sessionNumber.value_or(0.0))) + 1.0;
    sessionData_ = std::move(next);
  }
  saveSessionData();

  TAVOEventRequest request(kAppSessionToken);
  const float seconds = static_cast<float>(average);
  if (seconds != std::numeric_limits<float>::infinity())
    request.attributes = platform::Dictionary{{"e_session_time", Value(seconds)}};
  if (auto events = TAVOController::sharedInstance().eventController()) events->sendEvent(request, false);

  platform::MutexLock lock(mutex_);
  isStarted_ = false;
}

void TAVOSessionController::wakeUp() { startSession(); }

void TAVOSessionController::toSleep() {
  endSession();
  if (auto requests = TAVOController::sharedInstance().requestController()) requests->sendOperations();
  // In-app communications do not outlive the app's time in front.
  if (auto promotions = TAVOController::sharedInstance().promotionViewController()) promotions->cleanAllPromos();
}

double TAVOSessionController::getCurrentSessionTime() const {
  platform::MutexLock lock(mutex_);
  if (!startSessionTime_) return 0.0;
  return now().timeIntervalSinceDate(*startSessionTime_);
}

double TAVOSessionController::getAverageSessionTime() {
  if (!isStarted()) startSession();
  const double current = getCurrentSessionTime();
  platform::MutexLock lock(mutex_);
  const double count = sessionData_->sessionNumber.value_or(0.0);
  const double average = sessionData_->sessionTime.value_or(0.0);
  return (count * average + current) / static_cast<double>(int32Value(count) + std::int64_t{1});
}

void TAVOSessionController::saveSessionData() {
  auto store = TAVOController::sharedInstance().dataStoreController();
  if (!store) return;
  // Held over the write so the store never ends up with an older state than memory.
  platform::MutexLock lock(mutex_);
  store->saveObjectToDataStore(Value(std::shared_ptr<platform::Codable>(sessionData_)),
                               TAVODataStoreController::kSessionDataKey);
}

bool TAVOSessionController::isFirstSession() const {
  auto store = TAVOController::sharedInstance().dataStoreController();
  if (!store) return false;
  const bool installed = store->getObjectFromDataStore(TAVODataStoreController::kInstallDateKey).has_value();
  const bool hasSessionData = store->getObjectFromDataStore(TAVODataStoreController::kSessionDataKey).has_value();
  return !installed && !hasSessionData;
}

void TAVOSessionController::sendInstallEvent() {
  const platform::Date installed = now();
  TAVOEventRequest request(kAutoEventToken);
  request.attributes = platform::Dictionary{
      {"e_install_date", TAVOUtils::dateToStringLocalTime(installed, TAVOUtils::kDefaultDateFormat)},
      {"e_auto_event_type", "e_install_event"},
  };
  auto& controller = TAVOController::sharedInstance();
  if (auto events = controller.eventController()) events->sendEvent(request, false);
  if (auto store = controller.dataStoreController())
    store->saveObjectToDataStore(Value(installed), TAVODataStoreController::kInstallDateKey);
}

std::shared_ptr<TAVOSessionData> TAVOSessionController::sessionData() const {
  platform::MutexLock lock(mutex_);
  return sessionData_;
}

bool TAVOSessionController::isStarted() const {
  platform::MutexLock lock(mutex_);
  return isStarted_;
}

}  // namespace tavo
