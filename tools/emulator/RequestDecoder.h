#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "emulator/RecordedRequest.h"

namespace tavo::emulator {

// Reads a request body the way the web service does. The SDK sends two encodings: a "tracker" batch as JSON
// {"operations": [...]} with the credentials in header fields, and a single-object form body
// "apiUser=..&apiKey=..&json=<payload>" whose JSON is escaped so weakly that "&", "=", "+" and "/" stay as
// they are. So the payload is everything after "json=", percent-decoded, and "+" is never a space.
class RequestDecoder {
 public:
  // A request with its kind, operations and credentials filled in; id, time and answer are left to the caller.
  static RecordedRequest decode(std::string action, std::vector<std::pair<std::string, std::string>> headerFields,
                                std::string body);

  // "%XX" decoded (upper or lower case hex); a "%" without two hex digits stays as it is; "+" stays "+".
  static std::string percentDecoded(std::string_view text);
  // The fields of a form body in order; the "json" field, when present, runs to the end of the body.
  static std::vector<std::pair<std::string, std::string>> formFields(std::string_view body);
};

}  // namespace tavo::emulator
