#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "emulator/EmulatorFixtures.h"
#include "emulator/RecordedRequest.h"
#include "emulator/UserRegistry.h"

namespace tavo::emulator {

// The answers of the web service, as the SDK reads them: a batch gets one answer per operation id, a
// single-object request a status text, a retrieving user update the user's data. Stateless apart from the
// user registry; safe on any server thread.
class WebServiceResponder {
 public:
  struct Answer {
    int httpStatus = 200;
    std::string body;
    std::string contentType = "application/json";
  };

  // Campaigns and rules may point at the emulator's own pages and images: "{{origin}}" in their texts stands
  // for origin ("http://127.0.0.1:<port>").
  WebServiceResponder(const EmulatorFixtures& fixtures, UserRegistry& users, std::string origin);

  static constexpr const char* kOriginPlaceholder = "{{origin}}";
  // text with every "{{origin}}" replaced.
  std::string withOrigin(std::string text) const;

  static bool isKnownAction(const std::string& action);

  // The answer to a request as decoded (unknown action: 404; unregistered credentials: 401).
  Answer answer(const RecordedRequest& request) const;
  // The answer of one batch operation (its "response").
  nlohmann::ordered_json operationAnswer(const nlohmann::ordered_json& operation) const;
  // A status alone, in the form this request's answer takes: {"status": N} for a batch or a retrieving user
  // update, the bare number as text otherwise.
  static Answer statusAnswer(const RecordedRequest& request, int status);

 private:
  Answer userUpdateAnswer(const RecordedRequest& request) const;
  nlohmann::ordered_json eventAnswer(const nlohmann::ordered_json& params) const;
  nlohmann::ordered_json inAppAnswer(const std::string& type, const std::string& action,
                                     const nlohmann::ordered_json& params) const;
  // Every text in value with its placeholders replaced.
  nlohmann::ordered_json withOrigin(nlohmann::ordered_json value) const;

  const EmulatorFixtures& fixtures_;
  UserRegistry& users_;
  std::string origin_;
};

}  // namespace tavo::emulator
