#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tavo/platform/Value.h"

namespace tavo {

class TAVOAttributionCampaign;

// The SDK's persistent key/value store over the platform's user defaults. Only the allowed keys may be used
// through the generic operations; each value is kept as a keyed archive and every write is durable when it
// returns. A write the platform refuses (a full disk) logs one line naming the key and changes nothing; the
// caller goes on. Cheap to create: every instance sees the same data. Callable from any thread.
class TAVODataStoreController {
 public:
  static constexpr const char* kUserModelKey = "tAVo-DataStore-UserModel";
  static constexpr const char* kPendingRequestsKey = "tAVo-DataStore-PendingRequests";
  static constexpr const char* kSessionDataKey = "tAVo-DataStore-SessionData";
  static constexpr const char* kPushTokenRegisteredKey = "tAVo_Push_Token_Registered";
  static constexpr const char* kLastPushIdKey = "tAVo_Last_Push_Id";
  static constexpr const char* kAlertNumTimesSeenKey = "tAVo_Alert_Num_Times_Seen";
  static constexpr const char* kAlertLastTimeKey = "tAVo_Alert_Last_Time";
  static constexpr const char* kDenegateSeenKey = "tAVo_Denegate_Seen";
  static constexpr const char* kAlertSeenKey = "tAVo_Alert_Seen";
  static constexpr const char* kAppVersionKey = "tAVo_App_Version";
  static constexpr const char* kRateLastVersionKey = "tAVo_RATE_LAST_VERSION";
  static constexpr const char* kAfterUpdateKey = "tAVo_after_update";
  static constexpr const char* kAttributionCampaignKey = "TAVO_ATTRIBUTION_CAMPAIGN";
  static constexpr const char* kAttributionCampaignsKey = "TAVO_ATTRIBUTION_CAMPAIGNS";
  static constexpr const char* kUserTrackingKey = "TAVO_USER_TRACKING";
  static constexpr const char* kInstallAttributionCampaignKey = "TAVO_INSTALL_ATTR_CAMPAIGN_2";
  static constexpr const char* kInstallDateKey = "TAVO_INSTALL_DATE";
  static constexpr const char* kDeviceUUIDKey = "TAVO_DEVICE_UUID";
  static constexpr const char* kPushSeenFileName = "tAVo_id_Push_Seen.plist";

  TAVODataStoreController();

  // The 18 keys the generic operations accept, in their fixed order.
  const std::vector<std::string>& allowedKeys() const;

  // The stored object, or nullopt. A key outside allowedKeys raises "KeyNotAllowed". A damaged archive is
  // removed and reads as nullopt; a plain value left by an earlier version is returned and re-stored archived.
  // The attribution campaigns, read for every event, come from memory (TAVODataStoreCache) between writes:
  // the campaign objects of such a read are shared with later reads, so change a copy, never them.
  std::optional<platform::Value> getObjectFromDataStore(const std::string& key);
  // Whether anything at all is stored under key; reads no archive and writes nothing. Same key check.
  bool containsObjectInDataStore(const std::string& key) const;
  // Archives object (nullopt archives nothing) and stores it under key.
  void saveObjectToDataStore(const std::optional<platform::Value>& object, const std::string& key);
  void removeObjectFromDataStoreWithKey(const std::string& key);
  // Stores objects[i] under keys[i] as they are: no archive, no key check. Unequal lengths: logs
  // "KeysObjectsNotTheSame" and writes nothing.
  void saveObjectsToDataStore(const platform::Array& objects, const std::vector<std::string>& keys);
  // Removes every allowed key; the push-seen file and the campaign counters stay.
  void reset();

  std::optional<platform::Array> getPushSeenIDS() const;
  void savePushSeenIDS(const platform::Array& ids) const;
  std::string pushIDSeenFilePath() const;

  void saveCampaingTimesShown(std::int32_t times, const std::string& key);
  std::int32_t campaignTimesShown(const std::string& key) const;

  platform::Dictionary attributionCampaigns();
  // Stores the campaign in the campaigns dictionary under its hash source (a campaign without one is ignored).
  void saveAttributionCampaign(const std::shared_ptr<TAVOAttributionCampaign>& campaign);
  void removeAttributionCampaigns(const std::string& hashSource);
  std::optional<platform::Value> attributionCampaign();
  void removeAttributionCampaign();

  void saveUserTracking(bool disabled);
  bool getUserTrackingDisabled() const;

  void saveInstallAttributionCampaign(const std::optional<platform::Value>& campaign);
  // The cached install attribution, nullopt when none; a damaged cache throws the unarchiver's exception.
  std::optional<platform::Value> installAttributionCampaign();

  static std::string getAppendedKey(const std::string& key);

 private:
  void checkAllowed(const std::string& key, const char* reason) const;
};

}  // namespace tavo
