#pragma once

#include "platform/Exception.h"

namespace tavo {

// The SDK raises the platform's exception object (name + reason) for its own programming errors only:
// "KeyNotAllowed", "AutocodingException", "Invalid color value".
using Exception = platform::Exception;

}  // namespace tavo
