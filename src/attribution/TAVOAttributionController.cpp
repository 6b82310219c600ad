#include "attribution/TAVOAttributionController.h"

#include <algorithm>

#include "attribution/AppleAdsAttribution.h"
#include "attribution/TAVOAttributionCampaign.h"
#include "attribution/TAVODeepLinkController.h"
#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOUtils.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequestController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/AdAttributionClient.h"
#include "platform/MutexLock.h"
#include "platform/Platform.h"
#include "platform/URLComponents.h"
#include "tavo/TAVOEventRequest.h"
#include "tracking/TAVOEventController.h"

namespace tavo {

using platform::Dictionary;
using platform::Value;

namespace {

constexpr const char* kCampaignId = "ecid";
constexpr const char* kBasicId = "entw";
constexpr const char* kRetargeting = "rt";
constexpr const char* kAttributionWindow = "aw";

std::optional<std::string> stringParam(const Dictionary& params, const char* name) {
  const Value* value = params.find(name);
  if (!value) return std::nullopt;
  return value->stringValue();
}

bool hostContainsAny(const std::string& host, const std::vector<std::string>& domains) {
  return std::any_of(domains.begin(), domains.end(),
                     [&](const std::string& domain) { return host.find(domain) != std::string::npos; });
}

std::shared_ptr<TAVODataStoreController> dataStore() { return TAVOController::sharedInstance().dataStoreController(); }

}  // namespace

TAVOAttributionController::TAVOAttributionController()
    : defaultQuorvelDomains_{".tavo.example", ".beta.tavo.example", ".pre.tavo.example", ".tvo.example"},
      reservedUrlParams_{kCampaignId, kBasicId, kRetargeting, kAttributionWindow} {}

std::optional<std::vector<std::string>> TAVOAttributionController::customQuorvelDomains() const {
  platform::MutexLock lock(domainsMutex_);
  return customQuorvelDomains_;
}

void TAVOAttributionController::setCustomQuorvelDomains(const std::optional<std::vector<std::string>>& domains) {
  platform::MutexLock lock(domainsMutex_);
  customQuorvelDomains_ = domains;
}

// ---- links ----

void TAVOAttributionController::processAttributionIfNeeded(const std::optional<std::string>& url) {
  if (!url) return;
  const Dictionary params = getUrlParams(*url);
  if (params.empty()) return;
  // A link that qualifies as both is a re-engagement link.
  if (isReTargetingUrl(*url, params)) {
    treatReTargetingAttr(createRetargetingCampaign(params));
  } else if (isBasicUrl(*url, params)) {
    treatBasicUrl(createBasicCampaign(params));
  }
}

Dictionary TAVOAttributionController::getUrlParams(const std::string& url) {
  Dictionary params;
  const auto components = platform::URLComponents::fromString(url);
  if (!components) return params;
  const auto items = components->queryItems();
  if (!items) return params;
  for (const auto& item : *items)
    if (item.value) params.set(item.name, *item.value);
  return params;
}

bool TAVOAttributionController::isReEngagement(const Dictionary& params) {
  const Value* retargeting = params.find(kRetargeting);
  if (!retargeting || !params.contains(kAttributionWindow)) return false;
  return *retargeting == Value("true");
}

bool TAVOAttributionController::isReTargetingUrl(const std::string& url, const Dictionary& params) const {
  if (!isReEngagement(params)) return false;
  // The app's own scheme needs no domain check: only the app can receive such a link.
  return !TAVOUtils::isWebAddress(url) || isValidQuorvel(url);
}

bool TAVOAttributionController::isBasicUrl(const std::string& url, const Dictionary& params) const {
  if (!params.contains(kBasicId)) return false;
  return !TAVOUtils::isWebAddress(url) || isValidQuorvel(url);
}

bool TAVOAttributionController::isValidQuorvel(const std::string& url) const {
  const auto components = platform::URLComponents::fromString(url);
  const auto host = components ? components->host() : std::nullopt;
  if (!host) return false;
  if (hostContainsAny(*host, defaultQuorvelDomains_)) return true;
  const auto custom = customQuorvelDomains();
  return custom && hostContainsAny(*host, *custom);
}

Dictionary TAVOAttributionController::removeReservedKeys(const Dictionary& params) const {
  Dictionary remaining = params;
  for (const auto& key : reservedUrlParams_) remaining.remove(key);
  return remaining;
}

std::shared_ptr<TAVOAttributionCampaign> TAVOAttributionController::createRetargetingCampaign(
    const Dictionary& params) const {
  auto campaign = std::make_shared<TAVOAttributionCampaign>();
  if (const Value* window = params.find(kAttributionWindow))
    campaign->attrWindow = static_cast<std::int32_t>(window->integerValue());
  campaign->hashSource = stringParam(params, kCampaignId);
  if (Dictionary rest = removeReservedKeys(params); !rest.empty()) campaign->params = std::move(rest);
  return campaign;
}

std::shared_ptr<TAVOAttributionCampaign> TAVOAttributionController::createBasicCampaign(
    const Dictionary& params) const {
  auto campaign = std::make_shared<TAVOAttributionCampaign>();
  campaign->hashSource = stringParam(params, kBasicId);
  if (Dictionary rest = removeReservedKeys(params); !rest.empty()) campaign->params = std::move(rest);
  return campaign;
}

void TAVOAttributionController::treatReTargetingAttr(const std::shared_ptr<TAVOAttributionCampaign>& campaign) {
  migrateAttributionCampaignIfNeeded();
  if (!campaign->hashSource || campaign->attrWindow <= 0) return;
  sendEngagementClick(*campaign);
  createOrUpdateCampaign(campaign);
}

void TAVOAttributionController::treatBasicUrl(const std::shared_ptr<TAVOAttributionCampaign>& campaign) {
  // Basic clicks are reported once and never kept.
  if (campaign->hashSource) sendBasicClick(*campaign);
}

void TAVOAttributionController::sendEngagementClick(const TAVOAttributionCampaign& campaign) {
  TAVOEventRequest click("tavo_auto_event");
  click.attributes = Dictionary{
      {"e_attribution_type", "e_click_engagement"},
      {"e_ecid", campaign.hashSource.value_or("")},
      {"e_attrw", StringFormat::format("%d", campaign.attrWindow)},
      {"e_params", campaign.params.value_or(Dictionary())},
  };
  TAVOController::sharedInstance().eventController()->sendEvent(click, false);
}

void TAVOAttributionController::sendBasicClick(const TAVOAttributionCampaign& campaign) {
  TAVOEventRequest click("tavo_auto_event");
  click.attributes = Dictionary{
      {"e_attribution_type", "e_click_basic"},
      {"e_ecid", campaign.hashSource.value_or("")},
      {"e_params", campaign.params.value_or(Dictionary())},
  };
  TAVOController::sharedInstance().eventController()->sendEvent(click, false);
}

void TAVOAttributionController::executeDeeplink(const std::string& url) {
  TAVODeepLinkController().open(platform::Platform::shared().application, url);
}

// ---- stored campaigns ----

Dictionary TAVOAttributionController::attributionCampaigns() { return dataStore()->attributionCampaigns(); }

std::shared_ptr<TAVOAttributionCampaign> TAVOAttributionController::attributionCampaign() {
  const auto stored = dataStore()->attributionCampaign();
  return stored ? stored->objectAs<TAVOAttributionCampaign>() : nullptr;
}

void TAVOAttributionController::createOrUpdateCampaign(const std::shared_ptr<TAVOAttributionCampaign>& campaign) {
  if (!campaign->hashSource) return;
  platform::MutexLock lock(campaignsMutex_);
  const Dictionary campaigns = attributionCampaigns();
  const Value* found = campaigns.find(*campaign->hashSource);
  if (auto stored = found ? found->objectAs<TAVOAttributionCampaign>() : nullptr) {
    updateCampaign(stored, campaign);
  } else {
    addNewCampaign(campaign);
  }
}

void TAVOAttributionController::updateCampaign(const std::shared_ptr<TAVOAttributionCampaign>& stored,
                                               const std::shared_ptr<TAVOAttributionCampaign>& newCampaign) {
  // The new link's window and parameters win; the window still counts from the first click.
  newCampaign->created = stored->created;
  newCampaign->updated = TAVOUtils::newDateWithDefaultTimezone();
  platform::MutexLock lock(campaignsMutex_);
  dataStore()->saveAttributionCampaign(newCampaign);
}

void TAVOAttributionController::addNewCampaign(const std::shared_ptr<TAVOAttributionCampaign>& campaign) {
  campaign->created = TAVOUtils::newDateWithDefaultTimezone();
  platform::MutexLock lock(campaignsMutex_);
  dataStore()->saveAttributionCampaign(campaign);
}

void TAVOAttributionController::removeAttributionCampaign(const std::string& hashSource) {
  platform::MutexLock lock(campaignsMutex_);
  dataStore()->removeAttributionCampaigns(hashSource);
}

void TAVOAttributionController::migrateAttributionCampaignIfNeeded() {
  platform::MutexLock lock(campaignsMutex_);
  const auto legacy = attributionCampaign();
  if (!legacy) return;
  dataStore()->removeAttributionCampaign();
  // Older versions wrote the time zone after the time (" +0000"); the window is counted without it.
  if (legacy->created) {
    if (const auto zone = legacy->created->find(" +"); zone != std::string::npos) legacy->created->erase(zone);
  }
  if (legacy->hashSource) dataStore()->saveAttributionCampaign(legacy);
}

bool TAVOAttributionController::currentHasValidWindow(const std::shared_ptr<TAVOAttributionCampaign>& campaign) const {
  if (!campaign || !campaign->hashSource) return false;
  // Now goes through the same text form as the stored dates, so both are compared to the second.
  const auto now = TAVOUtils::dateFromStringDefaultFormat(TAVOUtils::newDateWithDefaultTimezone());
  const auto created = campaign->created ? TAVOUtils::dateFromStringDefaultFormat(*campaign->created) : std::nullopt;
  if (!now || !created) return false;
  const platform::Date end = TAVOUtils::addHoursWithHours(campaign->attrWindow, *created);
  return !(*now > end);
}

void TAVOAttributionController::addAttributionCampaignIfNeeded(TAVOTransmitObject& request) {
  Value open;
  {
    platform::MutexLock lock(campaignsMutex_);
    const Dictionary stored = attributionCampaigns();
    if (stored.empty()) return;
    const std::string now = TAVOUtils::newDateWithDefaultTimezone();
    if (lastPass_ && lastPass_->now == now && lastPass_->stored == stored) {
      open = lastPass_->open;
    } else {
      platform::Array list;
      bool closed = false;
      for (const auto& [hashSource, value] : stored) {
        const auto campaign = value.objectAs<TAVOAttributionCampaign>();
        if (currentHasValidWindow(campaign)) {
          list.emplace_back(campaign->toDict());
        } else {
          removeAttributionCampaign(hashSource);
          closed = true;
        }
      }
      open = Value(std::move(list));
      // Remembered only when the whole pass saw one second and changed nothing.
      if (!closed && TAVOUtils::newDateWithDefaultTimezone() == now) {
        lastPass_ = OpenCampaigns{stored, now, open};
      } else {
        lastPass_.reset();
      }
    }
  }
  if (open.asArray()->empty()) return;
  Dictionary attributes = request.attributes().value_or(Dictionary());
  attributes.set("e_attribution_ecid", std::move(open));
  request.setAttributes(attributes);
}

// ---- Search Ads ----

void TAVOAttributionController::checkSearchAds() {
  auto& platform = platform::Platform::shared();
  const auto client = platform.adAttributionClient;
  if (!platform.application || !client || !appleAdsAttribution()) return;
  if (!client->respondsToRequestAttributionDetails()) return;
  client->requestAttributionDetailsWithBlock(
      [](const std::optional<Dictionary>& details, const std::optional<platform::AdAttributionClient::Error>& error) {
        if (error || !details) return;
        const auto attribution = treatAppleAdsAttrInfo(*details);
        if (!attribution) return;
        auto payload = std::make_shared<AppleAdsAttribution>();
        payload->initWithAttributionData(attribution);
        if (auto requests = TAVOController::sharedInstance().requestController())
          requests->addOperationToQueue(TAVOOperation::operationWithTransmitObject(payload));
      });
}

std::optional<Dictionary> TAVOAttributionController::treatAppleAdsAttrInfo(const Dictionary& attributionDetails) {
  for (const auto& [version, value] : attributionDetails) {
    const Dictionary* details = value.asDictionary();
    if (!details) continue;
    const Value* attributed = details->find("iad-attribution");
    if (attributed && attributed->boolValue()) return *details;
  }
  return std::nullopt;
}

}  // namespace tavo
