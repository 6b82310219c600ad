#include "core/TAVODeviceController.h"

#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/MutexLock.h"
#include "platform/Platform.h"

namespace tavo {

namespace {

platform::Device& device() { return *platform::Platform::shared().device; }

}  // namespace

std::string TAVODeviceController::deviceUUID() {
  platform::MutexLock lock(mutex_);
  if (deviceUUID_) return *deviceUUID_;
  auto store = TAVOController::sharedInstance().dataStoreController();
  const auto stored = store->getObjectFromDataStore(TAVODataStoreController::kDeviceUUIDKey);
  if (stored && stored->isString()) {
    deviceUUID_ = *stored->asString();
    return *deviceUUID_;
  }
  // The platform always offers a vendor id on Linux (it keeps one when the machine has none).
  deviceUUID_ = StringFormat::format("V-%@", vendorId());
  store->saveObjectToDataStore(platform::Value(*deviceUUID_), TAVODataStoreController::kDeviceUUIDKey);
  return *deviceUUID_;
}

std::optional<std::string> TAVODeviceController::vendorId() const { return device().identifierForVendor(); }

std::optional<std::string> TAVODeviceController::idfa() {
  // The device reports a tracking manager only on systems that have the consent service.
  if (!device().hasTrackingManager()) return std::nullopt;
  if (device().trackingAuthorizationStatus() != platform::Device::Authorized) return std::nullopt;
  platform::MutexLock lock(mutex_);
  if (!idfa_) idfa_ = device().advertisingIdentifier();
  return idfa_;
}

void TAVODeviceController::requestTrackingWithIdfa() {
  if (!device().hasTrackingManager()) return;
  // The host may answer after a reset replaced this controller: then nobody needs the answer.
  device().requestTrackingAuthorization([weak = weak_from_this()](platform::Device::TrackingStatus status) {
    auto self = weak.lock();
    if (!self || status != platform::Device::Authorized) return;
    platform::MutexLock lock(self->mutex_);
    self->idfa_ = device().advertisingIdentifier();
  });
}

std::string TAVODeviceController::deviceModel() const {
  if (auto machine = device().sysctlByName("hw.machine")) return *machine;
  if (auto model = device().model()) return *model;
  return "Undefined";
}

std::optional<std::string> TAVODeviceController::deviceBuild() const { return device().sysctlByName("kern.osversion"); }

std::string TAVODeviceController::deviceFirmware() const {
  const std::string name = device().systemName();
  const std::string version = device().systemVersion();
  if (name.empty() && version.empty()) return "Undefined";
  return StringFormat::format("%@ %@", name, version);
}

std::string TAVODeviceController::currentLocale() const {
  return platform::Platform::shared().locale->localeIdentifier();
}

std::string TAVODeviceController::timeZoneName() const { return platform::Platform::shared().timeZone->name(); }

void TAVODeviceController::addDeviceIdsToDict(platform::Dictionary& dict) {
  if (auto advertising = idfa()) dict.set("idfa", *advertising);
  if (auto vendor = vendorId()) dict.set("idfv", *vendor);
}

}  // namespace tavo
