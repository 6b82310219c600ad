#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavo::emulator {

// One request to the web service as the emulator received, read and answered it.
struct RecordedRequest {
  // How the body was read.
  static constexpr const char* kBatch = "batch";             // JSON {"operations": [...]}, credentials in headers
  static constexpr const char* kForm = "form";               // apiUser=..&apiKey=..&json=<payload>
  static constexpr const char* kCredentialsOnly = "resend";  // a parked request sent again: credentials only
  static constexpr const char* kUnreadable = "unreadable";   // neither of the above

  std::int64_t id = 0;  // order of arrival, from 1
  std::string time;     // arrival, UTC, "2024-05-01T12:00:00.123Z"
  std::string action;   // the path after "/ws/"
  std::vector<std::pair<std::string, std::string>> headerFields;
  std::string body;  // raw bytes as sent
  std::string kind = kUnreadable;
  // Batch: its operations as sent. Form: one element {"action": action, "params": the JSON payload}.
  nlohmann::ordered_json operations = nlohmann::ordered_json::array();
  std::string apiUser;  // from the header fields of a batch, the form fields otherwise
  std::string apiKey;
  int answerStatus = 0;  // HTTP status answered
  std::string answerBody;
  std::string failure;  // the failure switch that shaped the answer, "" for none

  // The first value of a header field (names compare case-insensitively).
  std::optional<std::string> header(std::string_view name) const;
  // Per operation: its type, with "/action" unless the action is "none" ("event", "coupon/redeem"); a form
  // request has the one entry "payload".
  std::vector<std::string> operationTypes() const;
  // Per operation: what is worth reading at a glance, as "key=value" pairs joined by spaces: every
  // parameter except the device facts that every payload repeats, and except the keys in leaveOut. Values
  // longer than valueLimit bytes are shortened.
  std::vector<std::string> keyParameters(std::size_t valueLimit = 72,
                                         const std::vector<std::string>& leaveOut = {}) const;
  // The payload parameters of operation index (its "params"), or null.
  const nlohmann::ordered_json* params(std::size_t index) const;

  nlohmann::ordered_json toJSON() const;
};

}  // namespace tavo::emulator
