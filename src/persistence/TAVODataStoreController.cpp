#include "persistence/TAVODataStoreController.h"

#include <algorithm>

#include "attribution/TAVOAttributionCampaign.h"
#include "core/Exception.h"
#include "core/TAVOLogger.h"
#include "persistence/TAVODataStoreCache.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"
#include "platform/Platform.h"

namespace tavo {

using platform::Value;

namespace {

constexpr const char* kGetReason = "You are getting a key of datastore that is not allowed";
constexpr const char* kSaveReason = "You are saving a key to datastore that is not allowed";

platform::UserDefaults& defaults() { return *platform::Platform::shared().userDefaults; }

// Every write below tells the cache of the keys it wrote, after writing.
TAVODataStoreCache& cache() { return TAVODataStoreCache::shared(); }
const std::shared_ptr<platform::UserDefaults>& store() { return platform::Platform::shared().userDefaults; }

// A write the platform refused (a full disk, a file gone read-only) loses that one value, not the SDK: a line
// names what was not written, and the caller goes on with what it has in memory.
void reportWrite(bool succeeded, const std::string& what) {
  if (!succeeded) TAVOLogger::log("Data store could not write %@", what);
}

// Stores value under key and flushes.
void write(const Value& value, const std::string& key) {
  reportWrite(defaults().setObject(value, key) && defaults().synchronize(), key);
}

}  // namespace

TAVODataStoreController::TAVODataStoreController() = default;

const std::vector<std::string>& TAVODataStoreController::allowedKeys() const {
  static const std::vector<std::string> keys = {
      kUserModelKey,           kPendingRequestsKey,      kSessionDataKey,     kPushTokenRegisteredKey,
      kLastPushIdKey,          kAlertNumTimesSeenKey,    kAlertLastTimeKey,   kDenegateSeenKey,
      kAlertSeenKey,           kAppVersionKey,           kRateLastVersionKey, kAfterUpdateKey,
      kAttributionCampaignKey, kAttributionCampaignsKey, kUserTrackingKey,    kInstallAttributionCampaignKey,
      kInstallDateKey,         kDeviceUUIDKey,
  };
  return keys;
}

void TAVODataStoreController::checkAllowed(const std::string& key, const char* reason) const {
  const auto& keys = allowedKeys();
  if (std::find(keys.begin(), keys.end(), key) == keys.end()) throw Exception("KeyNotAllowed", reason);
}

std::optional<Value> TAVODataStoreController::getObjectFromDataStore(const std::string& key) {
  checkAllowed(key, kGetReason);
  const bool cached = TAVODataStoreCache::isCachedKey(key);
  if (std::optional<Value> known; cached && cache().recall(store(), key, known)) return known;
  const auto ticket = cached ? cache().beginRead(store()) : 0;
  const std::optional<Value> raw = defaults().objectForKey(key);
  if (raw && raw->asData()) {
    try {
      auto object = platform::KeyedUnarchiver::unarchiveObjectWithData(*raw->asData());
      if (cached) cache().remember(store(), key, object, ticket);
      return object;
    } catch (const Exception& e) {
      // Damaged bytes will never read back: drop them. Any other failure may be transient: keep them.
      if (e.name() == platform::kInvalidUnarchiveOperationException) removeObjectFromDataStoreWithKey(key);
      return std::nullopt;
    } catch (const std::exception&) {
      return std::nullopt;
    }
  }
  // A plain value (written by an earlier version or by the bulk write), or nothing: store it archived,
  // unless a write came in since the read: what was read back must not undo it. Only a key still as it was
  // tells of a refused write.
  const Value archived(platform::KeyedArchiver::archivedDataWithRootObject(raw));
  if (!defaults().setObjectIfUnchanged(archived, key, raw)) reportWrite(defaults().objectForKey(key) != raw, key);
  if (!raw && cached) {
    cache().remember(store(), key, std::nullopt, ticket);  // its own write of nothing: nothing it must forget
  } else {
    cache().forget(store(), key);
  }
  return raw;
}

bool TAVODataStoreController::containsObjectInDataStore(const std::string& key) const {
  checkAllowed(key, kGetReason);
  return defaults().objectForKey(key).has_value();
}

void TAVODataStoreController::saveObjectToDataStore(const std::optional<Value>& object, const std::string& key) {
  checkAllowed(key, kSaveReason);
  write(Value(platform::KeyedArchiver::archivedDataWithRootObject(object)), key);
  cache().forget(store(), key);
}

void TAVODataStoreController::removeObjectFromDataStoreWithKey(const std::string& key) {
  checkAllowed(key, kSaveReason);
  reportWrite(defaults().removeObjectForKey(key) && defaults().synchronize(), key);
  cache().forget(store(), key);
}

void TAVODataStoreController::saveObjectsToDataStore(const platform::Array& objects,
                                                     const std::vector<std::string>& keys) {
  if (objects.size() != keys.size()) {
    TAVOLogger::logAndType("KeysObjectsNotTheSame", TAVOLogger::Error);
    return;
  }
  for (std::size_t i = 0; i < keys.size(); ++i) reportWrite(defaults().setObject(objects[i], keys[i]), keys[i]);
  reportWrite(defaults().synchronize(), "the store");
  cache().forgetAll(store());
}

void TAVODataStoreController::reset() {
  for (const auto& key : allowedKeys()) reportWrite(defaults().removeObjectForKey(key), key);
  reportWrite(defaults().synchronize(), "the store");
  cache().forgetAll(store());
}

std::string TAVODataStoreController::pushIDSeenFilePath() const {
  return platform::Platform::shared().fileSystem->documentsDirectory() + "/" + kPushSeenFileName;
}

std::optional<platform::Array> TAVODataStoreController::getPushSeenIDS() const {
  const auto list = platform::Platform::shared().fileSystem->readPropertyList(pushIDSeenFilePath());
  if (!list || !list->isArray()) return std::nullopt;
  return *list->asArray();
}

void TAVODataStoreController::savePushSeenIDS(const platform::Array& ids) const {
  reportWrite(platform::Platform::shared().fileSystem->writePropertyList(Value(ids), pushIDSeenFilePath()),
              kPushSeenFileName);
}

void TAVODataStoreController::saveCampaingTimesShown(std::int32_t times, const std::string& key) {
  write(Value(times), key);
  cache().forget(store(), key);
}

std::int32_t TAVODataStoreController::campaignTimesShown(const std::string& key) const {
  const auto stored = defaults().objectForKey(key);
  return stored ? static_cast<std::int32_t>(stored->integerValue()) : 0;
}

platform::Dictionary TAVODataStoreController::attributionCampaigns() {
  const auto stored = getObjectFromDataStore(kAttributionCampaignsKey);
  if (stored && stored->isDictionary()) return *stored->asDictionary();
  return {};
}

void TAVODataStoreController::saveAttributionCampaign(const std::shared_ptr<TAVOAttributionCampaign>& campaign) {
  if (!campaign || !campaign->hashSource) return;
  platform::Dictionary campaigns = attributionCampaigns();
  campaigns.set(*campaign->hashSource, Value(std::shared_ptr<platform::Codable>(campaign)));
  saveObjectToDataStore(Value(std::move(campaigns)), kAttributionCampaignsKey);
}

void TAVODataStoreController::removeAttributionCampaigns(const std::string& hashSource) {
  platform::Dictionary campaigns = attributionCampaigns();
  campaigns.remove(hashSource);
  saveObjectToDataStore(Value(std::move(campaigns)), kAttributionCampaignsKey);
}

std::optional<Value> TAVODataStoreController::attributionCampaign() {
  return getObjectFromDataStore(kAttributionCampaignKey);
}

void TAVODataStoreController::removeAttributionCampaign() {
  // Stores an archive of nothing rather than removing the key.
  saveObjectToDataStore(std::nullopt, kAttributionCampaignKey);
}

void TAVODataStoreController::saveUserTracking(bool disabled) {
  write(Value(disabled), kUserTrackingKey);
  cache().forget(store(), kUserTrackingKey);
}

bool TAVODataStoreController::getUserTrackingDisabled() const {
  // Asked before every request leaves: known after the first read until the flag is written again.
  if (const auto known = cache().userTrackingDisabled(store())) return *known;
  const auto ticket = cache().beginRead(store());
  const auto stored = defaults().objectForKey(kUserTrackingKey);
  const bool disabled = stored && stored->boolValue();
  cache().rememberUserTrackingDisabled(store(), disabled, ticket);
  return disabled;
}

void TAVODataStoreController::saveInstallAttributionCampaign(const std::optional<Value>& campaign) {
  write(Value(platform::KeyedArchiver::archivedDataWithRootObject(campaign)), kInstallAttributionCampaignKey);
  cache().forget(store(), kInstallAttributionCampaignKey);
}

std::optional<Value> TAVODataStoreController::installAttributionCampaign() {
  const auto raw = defaults().objectForKey(kInstallAttributionCampaignKey);
  if (!raw || !raw->asData()) return std::nullopt;
  // A damaged cache throws to the caller, which says so; the generic read drops damaged values silently.
  return platform::KeyedUnarchiver::unarchiveObjectWithData(*raw->asData());
}

std::string TAVODataStoreController::getAppendedKey(const std::string& key) { return key + "-tAVo-Local-Data"; }

}  // namespace tavo
