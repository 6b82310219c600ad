#include "emulator/RecordedRequest.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace tavo::emulator {

namespace {

using json = nlohmann::ordered_json;

bool sameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

// Parameters every payload carries: they say nothing about what this request is for.
bool isCommonParameter(const std::string& key) {
  static constexpr std::array<std::string_view, 17> kCommon = {"udid",
                                                               "device",
                                                               "tavo_build",
                                                               "app_version",
                                                               "os_version",
                                                               "os_build",
                                                               "tavo_accept_language",
                                                               "tavo_timestamp",
                                                               "tavo_timezone_name",
                                                               "idfa",
                                                               "idfv",
                                                               "tavo_impression_delegate",
                                                               "latitude",
                                                               "longitude",
                                                               "tavo_city",
                                                               "tavo_country",
                                                               "tavo_state"};
  return std::find(kCommon.begin(), kCommon.end(), key) != kCommon.end();
}

std::string shortened(std::string text, std::size_t limit) {
  if (text.size() <= limit || limit < 4) return text;
  text.resize(limit - 3);
  // Never cut a UTF-8 sequence in two.
  while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80) text.pop_back();
  if (!text.empty() && static_cast<unsigned char>(text.back()) >= 0xC0) text.pop_back();
  return text + "...";
}

std::string stringField(const json& object, const char* key, const char* fallback) {
  const auto found = object.find(key);
  return found != object.end() && found->is_string() ? found->get<std::string>() : fallback;
}

std::string describe(const json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

std::optional<std::string> RecordedRequest::header(std::string_view name) const {
  for (const auto& [field, value] : headerFields)
    if (sameName(field, name)) return value;
  return std::nullopt;
}

std::vector<std::string> RecordedRequest::operationTypes() const {
  std::vector<std::string> types;
  if (kind == kForm) return {"payload"};
  for (const auto& operation : operations) {
    if (!operation.is_object()) {
      types.emplace_back("?");
      continue;
    }
    std::string type = stringField(operation, "type", "?");
    const std::string action = stringField(operation, "action", "none");
    if (action != "none") type += "/" + action;
    types.push_back(std::move(type));
  }
  return types;
}

std::vector<std::string> RecordedRequest::keyParameters(std::size_t valueLimit,
                                                        const std::vector<std::string>& leaveOut) const {
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < operations.size(); ++i) {
    std::string line;
    if (const json* parameters = params(i); parameters && parameters->is_object()) {
      for (const auto& [key, value] : parameters->items()) {
        if (isCommonParameter(key) || std::find(leaveOut.begin(), leaveOut.end(), key) != leaveOut.end()) continue;
        if (!line.empty()) line += ' ';
        line += key + "=" + shortened(describe(value), valueLimit);
      }
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

const nlohmann::ordered_json* RecordedRequest::params(std::size_t index) const {
  if (index >= operations.size()) return nullptr;
  const json& operation = operations[index];
  if (!operation.is_object()) return nullptr;
  const auto found = operation.find("params");
  return found == operation.end() ? nullptr : &*found;
}

nlohmann::ordered_json RecordedRequest::toJSON() const {
  json headers = json::array();
  for (const auto& [name, value] : headerFields) headers.push_back(json::array({name, value}));
  return json{{"id", id},
              {"time", time},
              {"action", action},
              {"kind", kind},
              {"apiUser", apiUser},
              {"apiKey", apiKey},
              {"headerFields", std::move(headers)},
              {"body", body},
              {"operations", operations},
              {"answer", {{"status", answerStatus}, {"body", answerBody}, {"failure", failure}}}};
}

}  // namespace tavo::emulator
