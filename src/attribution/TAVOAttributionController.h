#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "platform/RecursiveMutex.h"
#include "tavo/platform/Value.h"

namespace tavo {

class TAVOAttributionCampaign;
class TAVOTransmitObject;

// Tells where a user came from. Tracking links that open the app are inspected: a re-engagement link stores
// a campaign with an attribution window in hours and every event, login, registration and order sent while
// the window is open carries it; a basic link records one click. Four seconds after each session start the
// platform's Search Ads client is asked for a positive attribution, which is sent to the web service.
//
// Thread safety: callable from any thread. Campaign bookkeeping is serialised, so a link handled on the main
// thread and an event built elsewhere never lose each other's store updates.
class TAVOAttributionController {
 public:
  TAVOAttributionController();

  // Inspects the query of a URL that opened the app; records and sends what it finds. nullopt does nothing.
  void processAttributionIfNeeded(const std::optional<std::string>& url);
  // Adds the campaigns whose window is still open to the request's attributes ("e_attribution_ecid") and
  // purges the expired ones from the store.
  void addAttributionCampaignIfNeeded(TAVOTransmitObject& request);

  // Sends a positive Search Ads attribution, when the platform has a client and the check is switched on.
  void checkSearchAds();
  // The first campaign entry of the details whose "iad-attribution" is true, in enumeration order.
  static std::optional<platform::Dictionary> treatAppleAdsAttrInfo(const platform::Dictionary& attributionDetails);

  // The stored campaigns by hash source (a new empty dictionary when none are stored).
  platform::Dictionary attributionCampaigns();
  // The single campaign stored by older versions, if any.
  std::shared_ptr<TAVOAttributionCampaign> attributionCampaign();
  void createOrUpdateCampaign(const std::shared_ptr<TAVOAttributionCampaign>& campaign);
  // A new click on a stored campaign: its window keeps counting from the first click.
  void updateCampaign(const std::shared_ptr<TAVOAttributionCampaign>& stored,
                      const std::shared_ptr<TAVOAttributionCampaign>& newCampaign);
  void addNewCampaign(const std::shared_ptr<TAVOAttributionCampaign>& campaign);
  void removeAttributionCampaign(const std::string& hashSource);
  // Moves an older version's single campaign into the campaigns dictionary.
  void migrateAttributionCampaignIfNeeded();
  // Whether now is not later than the campaign's first click plus its window (to the second).
  bool currentHasValidWindow(const std::shared_ptr<TAVOAttributionCampaign>& campaign) const;

  // The URL's query items that have a value (a later name wins); empty for text that is not a URL.
  static platform::Dictionary getUrlParams(const std::string& url);
  static bool isReEngagement(const platform::Dictionary& params);
  bool isReTargetingUrl(const std::string& url, const platform::Dictionary& params) const;
  bool isBasicUrl(const std::string& url, const platform::Dictionary& params) const;
  // Whether the URL's host contains one of the SDK's link domains or one of the host app's.
  bool isValidQuorvel(const std::string& url) const;
  std::shared_ptr<TAVOAttributionCampaign> createRetargetingCampaign(const platform::Dictionary& params) const;
  std::shared_ptr<TAVOAttributionCampaign> createBasicCampaign(const platform::Dictionary& params) const;
  platform::Dictionary removeReservedKeys(const platform::Dictionary& params) const;
  void treatReTargetingAttr(const std::shared_ptr<TAVOAttributionCampaign>& campaign);
  void treatBasicUrl(const std::shared_ptr<TAVOAttributionCampaign>& campaign);
  void sendEngagementClick(const TAVOAttributionCampaign& campaign);
  void sendBasicClick(const TAVOAttributionCampaign& campaign);

  // Opens url through the application as a deep link.
  void executeDeeplink(const std::string& url);

  bool appleAdsAttribution() const { return appleAdsAttribution_.load(); }
  void setAppleAdsAttribution(bool enabled) { appleAdsAttribution_.store(enabled); }
  const std::vector<std::string>& defaultQuorvelDomains() const { return defaultQuorvelDomains_; }
  std::optional<std::vector<std::string>> customQuorvelDomains() const;
  void setCustomQuorvelDomains(const std::optional<std::vector<std::string>>& domains);
  const std::vector<std::string>& reservedUrlParams() const { return reservedUrlParams_; }

 private:
  std::atomic<bool> appleAdsAttribution_{true};
  const std::vector<std::string> defaultQuorvelDomains_;
  const std::vector<std::string> reservedUrlParams_;

  mutable platform::Mutex domainsMutex_;
  std::optional<std::vector<std::string>> customQuorvelDomains_ GUARDED_BY(domainsMutex_);

  // Serialises the read-change-write of the stored campaigns. Recursive: purging during a pass re-enters.
  platform::RecursiveMutex campaignsMutex_;

  // The answer of the last pass over the stored campaigns that closed none: for the same stored campaigns
  // (the very objects) within the same second (the finest unit of the window check) it is the answer again,
  // so the events of a burst do not check every window each.
  struct OpenCampaigns {
    platform::Dictionary stored;
    std::string now;
    platform::Value open;  // the list of their wire forms
  };
  std::optional<OpenCampaigns> lastPass_ GUARDED_BY(campaignsMutex_);
};

}  // namespace tavo
