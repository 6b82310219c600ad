#pragma once

#include <nlohmann/json.hpp>
#include <string>

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

  WebServiceResponder(const EmulatorFixtures& fixtures, UserRegistry& users);

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

  const EmulatorFixtures& fixtures_;
  UserRegistry& users_;
};

}  // namespace tavo::emulator
