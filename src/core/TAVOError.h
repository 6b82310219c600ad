#pragma once

#include <cstdint>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo {

// The error handed to the host's callbacks: a domain, a code and user information with the localised
// description, failure reason and (for unexpected errors) recovery suggestion. A plain value.
class TAVOError {
 public:
  static constexpr const char* kDomain = "example.tavo.sdk.error";
  static constexpr const char* kLocalizedDescriptionKey = "NSLocalizedDescription";
  static constexpr const char* kLocalizedFailureReasonErrorKey = "NSLocalizedFailureReason";
  static constexpr const char* kLocalizedRecoverySuggestionErrorKey = "NSLocalizedRecoverySuggestion";

  enum Code : std::int32_t { ServerError = 0, ResponseParseError = 1, UnexpectedError = 2, StatusError = 3 };

  // The error for a code; texts are the host bundle's localisations of the fixed keys.
  static TAVOError errorWithCode(std::int32_t code);

  const std::string& domain() const { return domain_; }
  std::int32_t code() const { return code_; }
  const platform::Dictionary& userInfo() const { return userInfo_; }
  std::string localizedDescription() const;

 private:
  std::string domain_;
  std::int32_t code_ = 0;
  platform::Dictionary userInfo_;
};

}  // namespace tavo
