#include "tracking/TAVOUserController.h"

#include "core/Exception.h"
#include "core/TAVOController.h"
#include "core/TAVODeviceController.h"
#include "core/TAVOLogger.h"
#include "core/TAVOUtils.h"
#include "core/TAVOVersion.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequestController.h"
#include "network/TAVOResetUser.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/Platform.h"

namespace tavo {

using platform::Value;

std::shared_ptr<TAVOUser> TAVOUserController::getSavedUser() {
  std::optional<Value> stored;
  try {
    stored = TAVODataStoreController().getObjectFromDataStore(TAVODataStoreController::kUserModelKey);
  } catch (const Exception& e) {
    TAVOLogger::log("Invalid user: %@", e.reason());
  }
  if (auto user = stored ? stored->objectAs<TAVOUser>() : nullptr) {
    if (!user->tAVoUserID) user->isNew = true;
    return user;
  }
  auto user = std::make_shared<TAVOUser>();
  user->isNew = true;
  return user;
}

void TAVOUserController::saveUser(const std::shared_ptr<const TAVOUser>& user) {
  try {
    std::optional<Value> object;
    if (user) object = Value(std::shared_ptr<platform::Codable>(std::const_pointer_cast<TAVOUser>(user)));
    TAVOController::sharedInstance().dataStoreController()->saveObjectToDataStore(
        object, TAVODataStoreController::kUserModelKey);
  } catch (const Exception& e) {
    TAVOLogger::log("Error saving user data: %@", e.reason());
  }
}

void TAVOUserController::enableUserTracking() {
  TAVOController::sharedInstance().dataStoreController()->saveUserTracking(false);
}

void TAVOUserController::disableUserTracking(bool deleteUser) {
  auto& controller = TAVOController::sharedInstance();
  if (deleteUser) {
    auto reset = std::make_shared<TAVOResetUser>();
    reset->init();
    controller.requestController()->addOperationToQueue(TAVOOperation::operationWithTransmitObject(reset));
  }
  controller.dataStoreController()->saveUserTracking(true);
}

bool TAVOUserController::isUserTrackingDisabled() {
  return TAVOController::sharedInstance().dataStoreController()->getUserTrackingDisabled();
}

platform::Dictionary TAVOUserController::basicUserInfo() const {
  auto& controller = TAVOController::sharedInstance();
  auto device = controller.deviceController();
  platform::Dictionary info;
  info.set("udid", device->deviceUUID());
  info.set("device", device->deviceModel());
  info.set("tavo_build", kTAVOSDKBuildVersion);
  info.set("app_version", controller.appVersion());
  info.set("os_version", platform::Platform::shared().device->systemVersion());
  if (auto build = device->deviceBuild()) info.set("os_build", *build);
  info.set("tavo_accept_language", device->currentLocale());
  info.set("tavo_timestamp", TAVOUtils::newDateWithTimezone(std::nullopt));
  info.set("tavo_timezone_name", device->timeZoneName());
  device->addDeviceIdsToDict(info);
  return info;
}

platform::Dictionary TAVOUserController::prepareUserInfo() const {
  auto& controller = TAVOController::sharedInstance();
  const auto user = controller.currentUser();
  platform::Dictionary profile = user && user->userInfo ? *user->userInfo : platform::Dictionary();
  profile.addEntriesFromDictionary(basicUserInfo());
  if (user) {
    if (user->userID) profile.set("customerid", *user->userID);
    if (user->userMail) profile.set("email", *user->userMail);
    if (user->tAVoUserID) profile.set("id", *user->tAVoUserID);
  }
  if (auto token = controller.dataStoreController()->getObjectFromDataStore(
          TAVODataStoreController::kPushTokenRegisteredKey)) {
    profile.set("token", *token);
  }
  return profile;
}

void TAVOUserController::setCustomerId(const std::string& customerId) {
  saveUser(TAVOController::sharedInstance().updateCurrentUser([&](TAVOUser& user) { user.userID = customerId; }));
}

}  // namespace tavo
