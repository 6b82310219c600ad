#pragma once

#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo::testing {

// Reading what the SDK put on the wire, as the web service does.
class WireFormat {
 public:
  // "%XX" sequences decoded; "+" stays "+" (the SDK's escaping leaves it as it is).
  static std::string percentDecoded(const std::string& text);
  // The pairs of a form body. The "json" value runs to the end of the body: "&" and "=" inside the JSON are
  // not escaped, so the server takes everything after "json=".
  static platform::Dictionary formFields(const std::string& body);
  // The payload of a single-object request: the JSON under "json", parsed; nullopt when absent or unreadable.
  static std::optional<platform::Value> formPayload(const std::string& body);
  // The operations of a "tracker" body; empty when the body is not a batch.
  static platform::Array batchOperations(const std::string& body);
};

}  // namespace tavo::testing
