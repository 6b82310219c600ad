#include "core/TAVOError.h"

#include "platform/Platform.h"

namespace tavo {

namespace {

std::string localized(const char* key) {
  return platform::Platform::shared().bundle->localizedStringForKey(key, "", "");
}

}  // namespace

TAVOError TAVOError::errorWithCode(std::int32_t code) {
  TAVOError error;
  error.domain_ = kDomain;
  error.code_ = code;
  // The keys are what host applications localise; their spellings are part of the interface.
  switch (code) {
    case ServerError:
      error.userInfo_.set(kLocalizedDescriptionKey, localized("ServerError"));
      error.userInfo_.set(kLocalizedFailureReasonErrorKey, localized("ServerErrorDescription"));
      break;
    case ResponseParseError:
      error.userInfo_.set(kLocalizedDescriptionKey, localized("ResponseParseError"));
      error.userInfo_.set(kLocalizedFailureReasonErrorKey, localized("ResponseParseErrorErrorDescription"));
      break;
    default:
      error.userInfo_.set(kLocalizedDescriptionKey, localized("UnexpectedError"));
      error.userInfo_.set(kLocalizedFailureReasonErrorKey, localized("UnexpectedErrorDescription"));
      error.userInfo_.set(kLocalizedRecoverySuggestionErrorKey, localized("UnexpedtedErrorRecovery"));
      break;
  }
  return error;
}

std::string TAVOError::localizedDescription() const {
  const platform::Value* text = userInfo_.find(kLocalizedDescriptionKey);
  return text && text->isString() ? *text->asString() : std::string();
}

}  // namespace tavo
