#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "emulator/RecordedRequest.h"
#include "platform/Mutex.h"

namespace tavo::emulator {

// The in-app side of what the web service saw: which campaign each in-app check (or rule check of an event)
// was answered with, and the impressions and clicks the SDK reported back (its automatic events "tavo_auto_event" with
// "e_inapp_type"). Tallied per campaign type code (2 start view, 3 dynamic tab, 4 AdBall, 5 banner, 6 strip) and
// campaign id. Thread-safe.
class InAppLedger {
 public:
  // One campaign's tally. campaignId is "" for checks answered without a campaign.
  struct Entry {
    int campaignType = 0;
    std::string campaignId;
    std::int64_t checks = 0;
    std::int64_t impressions = 0;
    std::int64_t clicks = 0;
  };
  // One check of a request and what it got.
  struct CheckOutcome {
    std::string checkType;   // "webview", "banner", ..., or "rule" for an event that asked for rules
    int campaignType = 0;    // of the check, or of the rule's campaign
    std::string campaignId;  // "" when the answer held no campaign
  };

  // The campaign type code of a check type ("webview" 2 ... "textbanner" 6), 0 for anything else.
  static int campaignTypeOfCheck(const std::string& checkType);
  // The campaign type code of a campaign's "type" name ("startview" 2 ... "strip" 6; 1 for anything else).
  static int campaignTypeOfName(const std::string& name);
  // The campaign checks of a request, in order, with the campaign id each was answered with; rule checks
  // count only when a rule came back.
  static std::vector<CheckOutcome> checkOutcomes(const RecordedRequest& request);

  void record(const RecordedRequest& request);
  void clear();
  // Ordered by campaign type, then campaign id.
  std::vector<Entry> entries() const;
  // [{"campaign_type", "campaign_id", "checks", "impressions", "clicks"}, ...] in the order of entries().
  nlohmann::ordered_json toJSON() const;

 private:
  Entry& entry(int campaignType, const std::string& campaignId) REQUIRES(mutex_);

  mutable platform::Mutex mutex_;
  std::map<std::pair<int, std::string>, Entry> entries_ GUARDED_BY(mutex_);
};

}  // namespace tavo::emulator
