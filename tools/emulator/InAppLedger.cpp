#include "emulator/InAppLedger.h"

#include <array>
#include <string_view>

#include "platform/MutexLock.h"

namespace tavo::emulator {

namespace {

using json = nlohmann::ordered_json;

// An id the SDK may send or receive as a number or as text, as text.
std::string idText(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number_integer()) return std::to_string(value.get<long long>());
  return {};
}

std::string field(const json& object, const char* key) {
  if (!object.is_object()) return {};
  const auto found = object.find(key);
  return found == object.end() ? std::string() : idText(*found);
}

// The answer of operation id in a batch answer, or the whole answer when it has none of its own (as the SDK
// reads it).
json answerFor(const json& answer, const std::string& id) {
  if (answer.is_object())
    if (const auto operations = answer.find("operations"); operations != answer.end() && operations->is_array())
      for (const auto& element : *operations)
        if (element.is_object() && element.value("id", json()) == id) return element.value("response", json());
  return answer;
}

}  // namespace

int InAppLedger::campaignTypeOfCheck(const std::string& checkType) {
  static constexpr std::array<std::pair<std::string_view, int>, 5> kTypes = {
      {{"webview", 2}, {"tabbar", 3}, {"adball", 4}, {"banner", 5}, {"textbanner", 6}}};
  for (const auto& [name, code] : kTypes)
    if (checkType == name) return code;
  return 0;
}

int InAppLedger::campaignTypeOfName(const std::string& name) {
  static constexpr std::array<std::pair<std::string_view, int>, 5> kTypes = {
      {{"startview", 2}, {"dynamictab", 3}, {"adball", 4}, {"banner", 5}, {"strip", 6}}};
  for (const auto& [known, code] : kTypes)
    if (name == known) return code;
  return 1;
}

std::vector<InAppLedger::CheckOutcome> InAppLedger::checkOutcomes(const RecordedRequest& request) {
  std::vector<CheckOutcome> outcomes;
  if (request.kind != RecordedRequest::kBatch) return outcomes;
  const json answer = json::parse(request.answerBody, nullptr, false);
  for (std::size_t i = 0; i < request.operations.size(); ++i) {
    const json& operation = request.operations[i];
    const json response = answerFor(answer, field(operation, "id"));
    const std::string type = field(operation, "type");
    if (field(operation, "action") == "check" && campaignTypeOfCheck(type) != 0) {
      // A campaign is an object; "0" (or a refused answer) is none.
      const auto campaign = response.is_object() ? response.find("response") : response.end();
      const bool given = response.is_object() && campaign != response.end() && campaign->is_object();
      outcomes.push_back({type, campaignTypeOfCheck(type), given ? field(*campaign, "id") : std::string()});
      continue;
    }
    const json* params = request.params(i);
    if (type != "event" || !params || field(*params, "tavo_rules") != "1" || !response.is_object()) continue;
    const auto rule = response.find("rule");
    if (rule == response.end() || !rule->is_object() || rule->empty()) continue;
    outcomes.push_back({"rule", campaignTypeOfName(field(*rule, "type")), field(*rule, "id")});
  }
  return outcomes;
}

void InAppLedger::record(const RecordedRequest& request) {
  const auto outcomes = checkOutcomes(request);
  platform::MutexLock lock(mutex_);
  for (const auto& outcome : outcomes) ++entry(outcome.campaignType, outcome.campaignId).checks;
  if (request.kind != RecordedRequest::kBatch) return;
  for (std::size_t i = 0; i < request.operations.size(); ++i) {
    const json* params = request.params(i);
    if (!params || field(*params, "eventName") != "tavo_auto_event") continue;
    const auto attributes = params->find("attributes");
    if (attributes == params->end()) continue;
    const std::string kind = field(*attributes, "e_inapp_type");
    if (kind != "e_impression" && kind != "e_click") continue;
    int campaignType = 0;
    try {
      campaignType = std::stoi(field(*attributes, "e_inapp_communication_id"));
    } catch (const std::exception&) {
      // A type that is not a number is tallied under 0.
    }
    Entry& tally = entry(campaignType, field(*attributes, "e_inapp_campaign_id"));
    ++(kind == "e_impression" ? tally.impressions : tally.clicks);
  }
}

void InAppLedger::clear() {
  platform::MutexLock lock(mutex_);
  entries_.clear();
}

InAppLedger::Entry& InAppLedger::entry(int campaignType, const std::string& campaignId) {
  Entry& found = entries_[{campaignType, campaignId}];
  found.campaignType = campaignType;
  found.campaignId = campaignId;
  return found;
}

std::vector<InAppLedger::Entry> InAppLedger::entries() const {
  platform::MutexLock lock(mutex_);
  std::vector<Entry> list;
  list.reserve(entries_.size());
  for (const auto& [key, tally] : entries_) list.push_back(tally);
  return list;
}

json InAppLedger::toJSON() const {
  json list = json::array();
  for (const auto& tally : entries())
    list.push_back({{"campaign_type", tally.campaignType},
                    {"campaign_id", tally.campaignId},
                    {"checks", tally.checks},
                    {"impressions", tally.impressions},
                    {"clicks", tally.clicks}});
  return list;
}

}  // namespace tavo::emulator
