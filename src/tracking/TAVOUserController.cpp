#include "tracking/TAVOUserController.h"

#include "attribution/TAVOInstallAttributionRequest.h"
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
#include "platform/MutexLock.h"
#include "platform/Platform.h"

namespace tavo {

using platform::Value;

namespace {

// A member that is present and not the null object.
const Value* member(const Value& dictionary, std::string_view key) {
  const Value* value = dictionary.get(key);
  return value && !value->isNull() ? value : nullptr;
}

std::int32_t integerMember(const Value& dictionary, std::string_view key) {
  const Value* value = dictionary.get(key);
  return value ? static_cast<std::int32_t>(value->integerValue()) : 0;
}

std::optional<std::string> stringMember(const Value& dictionary, std::string_view key) {
  const Value* value = member(dictionary, key);
  if (!value) return std::nullopt;
  return value->stringValue();
}

}  // namespace

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

TAVOUserController::CommonFacts TAVOUserController::readCommonFacts(TAVODeviceController& device) {
  CommonFacts facts;
  facts.device = device.deviceModel();
  facts.appVersion = TAVOController::sharedInstance().appVersion();
  facts.osVersion = platform::Platform::shared().device->systemVersion();
  facts.osBuild = device.deviceBuild();
  facts.locale = device.currentLocale();
  facts.timestamp = TAVOUtils::newDateWithTimezone(std::nullopt);
  facts.timeZoneName = device.timeZoneName();
  // The device identifiers, as addDeviceIdsToDict gives them.
  facts.idfa = device.idfa();
  facts.idfv = device.vendorId();
  return facts;
}

platform::Dictionary TAVOUserController::basicUserInfo() const {
  auto device = TAVOController::sharedInstance().deviceController();
  CommonFacts facts = readCommonFacts(*device);
  platform::MutexLock lock(commonMutex_);
  const bool sameDevice = common_ && common_->device == device;
  if (sameDevice && common_->facts == facts) return common_->parameters;
  std::string udid = sameDevice ? common_->udid : device->deviceUUID();
  platform::Dictionary info;
  info.set("udid", udid);
  info.set("device", facts.device);
  info.set("tavo_build", kTAVOSDKBuildVersion);
  info.set("app_version", facts.appVersion);
  info.set("os_version", facts.osVersion);
  if (facts.osBuild) info.set("os_build", *facts.osBuild);
  info.set("tavo_accept_language", facts.locale);
  info.set("tavo_timestamp", facts.timestamp);
  info.set("tavo_timezone_name", facts.timeZoneName);
  if (facts.idfa) info.set("idfa", *facts.idfa);
  if (facts.idfv) info.set("idfv", *facts.idfv);
  common_ = CommonParameters{std::move(device), std::move(udid), std::move(facts), info};
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
  if (auto token =
          controller.dataStoreController()->getObjectFromDataStore(TAVODataStoreController::kPushTokenRegisteredKey)) {
    profile.set("token", *token);
  }
  return profile;
}

void TAVOUserController::setCustomerId(const std::string& customerId) {
  auto& controller = TAVOController::sharedInstance();
  controller.updateCurrentUser([&](TAVOUser& user) { user.userID = customerId; });
  controller.persistCurrentUser();  // in turn with the other saves of the user
}

void TAVOUserController::installAttributionInfo(const std::shared_ptr<TAVOInstallAttributionDelegate>& delegate) {
  {
    platform::MutexLock lock(attributionDelegateMutex_);
    attributionDelegate_ = delegate;
  }
  auto& controller = TAVOController::sharedInstance();
  std::optional<Value> cached;
  try {
    cached = controller.dataStoreController()->installAttributionCampaign();
  } catch (const Exception& e) {
    TAVOLogger::log("Error retrieving data: %@", e.reason());
  } catch (const std::exception& e) {
    TAVOLogger::log("Error retrieving data: %@", e.what());
  }
  if (cached) {
    // A campaign, once named, is final: no need to ask the service again.
    auto attribution = parseInstallAttributionInfo(cached);
    platform::Platform::shared().mainLoop->post([delegate, attribution] {
      if (delegate && delegate->onAttributionReceived) delegate->onAttributionReceived(attribution);
    });
    return;
  }
  auto request = std::make_shared<TAVOInstallAttributionRequest>();
  request->init();
  controller.requestController()->addOperationToQueue(TAVOOperation::operationWithTransmitObject(request));
}

std::shared_ptr<const TAVOInstallAttribution> TAVOUserController::parseInstallAttributionResponse(
    const std::optional<Value>& attributionInfo) {
  auto attribution = parseInstallAttributionInfo(attributionInfo);
  if (attribution && attribution->campaign)
    TAVOController::sharedInstance().dataStoreController()->saveInstallAttributionCampaign(attributionInfo);
  return attribution;
}

std::shared_ptr<const TAVOInstallAttribution> TAVOUserController::parseInstallAttributionInfo(
    const std::optional<Value>& attributionInfo) {
  if (!attributionInfo || !attributionInfo->isDictionary()) return nullptr;
  const Value& info = *attributionInfo;
  auto attribution = std::make_shared<TAVOInstallAttribution>();
  if (const Value* status = info.get("status")) attribution->status = *status;
  const Value* campaignInfo = member(info, "campaign");
  if (!campaignInfo) return attribution;

  auto campaign = std::make_shared<TAVOInstallAttributionCampaign>();
  campaign->id = integerMember(*campaignInfo, "id");
  campaign->name = stringMember(*campaignInfo, "name");
  if (const Value* clickParams = member(*campaignInfo, "click_params"); clickParams && clickParams->isDictionary())
    campaign->clickParams = *clickParams->asDictionary();
  if (const Value* sourceInfo = member(*campaignInfo, "source")) {
    auto source = std::make_shared<TAVOInstallAttributionSource>();
    source->id = integerMember(*sourceInfo, "id");
    source->name = stringMember(*sourceInfo, "name");
    if (const Value* providerInfo = member(*sourceInfo, "provider")) {
      auto provider = std::make_shared<TAVOInstallAttributionProvider>();
      provider->id = integerMember(*providerInfo, "id");
      const Value* name = providerInfo->get("name");
      if (name) provider->name = name->isNull() ? std::string() : name->stringValue();
      source->provider = std::move(provider);
    }
    campaign->source = std::move(source);
  }
  attribution->campaign = std::move(campaign);
  return attribution;
}

void TAVOUserController::showInstallAttribution(const std::shared_ptr<const TAVOInstallAttribution>& attribution) {
  const auto delegate = attributionDelegate();
  if (delegate && delegate->onAttributionReceived) delegate->onAttributionReceived(attribution);
}

std::shared_ptr<TAVOInstallAttributionDelegate> TAVOUserController::attributionDelegate() const {
  platform::MutexLock lock(attributionDelegateMutex_);
  return attributionDelegate_;
}

}  // namespace tavo
