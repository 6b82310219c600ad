#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/InAppLedger.h"
#include "emulator/RecordedRequest.h"

namespace tavo::emulator {

// The emulator's own pages: what it received, newest first, as HTML for people and as JSON for scripts.
class RequestPage {
 public:
  // A page that refreshes itself every few seconds: the in-app tally (per campaign: checks answered with it,
  // impressions, clicks), then one row per request (time, action, operation types, key parameters, answer and
  // the campaign each in-app check got), the total, the base URL and the failure switches still pending.
  static std::string html(const std::vector<RecordedRequest>& newestFirst, std::size_t total,
                          const std::string& baseURL, const nlohmann::ordered_json& switches,
                          const std::vector<InAppLedger::Entry>& inApp);
  // {"total": n, "requests": [...newest first, each RecordedRequest::toJSON() with its summary]}.
  static std::string json(const std::vector<RecordedRequest>& newestFirst, std::size_t total);

  static std::string escaped(std::string_view text);
};

}  // namespace tavo::emulator
