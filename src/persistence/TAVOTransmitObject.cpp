#include "persistence/TAVOTransmitObject.h"

#include <algorithm>
#include <optional>

#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "platform/JSONSerialization.h"
#include "platform/MutexLock.h"
#include "tracking/TAVOUser.h"
#include "tracking/TAVOUserController.h"

namespace tavo {

namespace {

// What payloads start from is the same for every payload until the common parameters, the user or the kind
// of payload changes: it is made once and shared, each payload then holding only what it adds.
struct Seed {
  platform::Dictionary common;
  std::shared_ptr<const TAVOUser> user;
  platform::Dictionary parameters;
};

struct Seeds {
  platform::Mutex mutex;
  std::optional<Seed> byFlag[2] GUARDED_BY(mutex);  // without and with "tavo_impression_delegate"
};

Seeds& seeds() {
  static Seeds cache;
  return cache;
}

}  // namespace

void TAVOTransmitObject::init() {
  auto& controller = TAVOController::sharedInstance();
  const bool impressionDelegate = getAction() == "check" || getType() == "event";
  const auto users = controller.userController();
  if (!users) {
    if (impressionDelegate) objectData.set("tavo_impression_delegate", true);
    appendUserData(controller.currentUser());
    return;
  }
  platform::Dictionary common = users->basicUserInfo();
  const auto user = controller.currentUser();
  auto& cache = seeds();
  {
    platform::MutexLock lock(cache.mutex);
    const auto& seed = cache.byFlag[impressionDelegate];
    if (seed && seed->common.sharesEntriesWith(common) && seed->user == user) {
      objectData = seed->parameters;
      return;
    }
  }
  // A standalone copy of the common parameters, so that the payloads sharing it hold only what they add.
  objectData = platform::Dictionary();
  objectData.addEntriesFromDictionary(common);
  if (impressionDelegate) objectData.set("tavo_impression_delegate", true);
  appendUserData(user);
  platform::MutexLock lock(cache.mutex);
  cache.byFlag[impressionDelegate] = Seed{std::move(common), user, objectData};
}

void TAVOTransmitObject::appendUserData(const std::shared_ptr<const TAVOUser>& user) {
  if (!user) return;
  if (user->tAVoUserID) objectData.set("eid", *user->tAVoUserID);
  if (user->userMail) objectData.set("email", *user->userMail);
}

void TAVOTransmitObject::addExtraData(const platform::Dictionary& extras) {
  for (const auto& [key, value] : extras) {
    if (isReservedKey(key)) {
      TAVOLogger::logAndType("ReservedKeyUsed", TAVOLogger::Error);
      continue;
    }
    objectData.set(key, value);
  }
}

void TAVOTransmitObject::setAttributes(const std::optional<platform::Dictionary>& attributes) {
  attributes_ = attributes;
  if (attributes) objectData.set("attributes", *attributes);
}

std::optional<std::string> TAVOTransmitObject::serializeToJSONString() const {
  return platform::JSONSerialization::dataWithJSONObjectPretty(platform::Value(objectData));
}

const std::vector<std::string>& TAVOTransmitObject::reservedKeys() {
  // "registred_at", "cupon" and "estado" are the wire names as the server knows them.
  static const std::vector<std::string> keys = {
      "gcmenabled",
      "tavo_referrer_id",
      "tavo_device_id",
      "operation",
      "apiUser",
      "apiKey",
      "androidid",
      "email",
      "customerid",
      "device",
      "app_version",
      "os_version",
      "mktc",
      "udid",
      "partner_device_id",
      "login",
      "id",
      "created_at",
      "updated_at",
      "registred_at",
      "first_login",
      "last_login",
      "user_extras_id",
      "cupon",
      "price",
      "order_id",
      "orderid",
      "json",
      "estado",
      "userid",
      "userID",
      "userId",
      "user_id",
      "product_name",
      "product_id",
      "quantity",
      "tavo_build",
      "longitude",
      "latitude",
      "tavo_city",
      "tavo_country",
      "tavo_state",
      "tavo_geolocation",
      "os",
      "tavo_timestamp",
      "tavo_retrieve",
      "tavo_timezone_name",
      "idfa",
      "idfv",
      "eid",
  };
  return keys;
}

bool TAVOTransmitObject::isReservedKey(const std::string& key) {
  const auto& keys = reservedKeys();
  return std::find(keys.begin(), keys.end(), key) != keys.end();
}

}  // namespace tavo
