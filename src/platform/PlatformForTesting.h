#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"

namespace tavo::platform {

// The platform of tests, bench and fuzz targets (library tavo_testing, never libtavo).
class PlatformForTesting {
 public:
  // The platform's services with a ManualClock, an in-memory store and a FakeHttpClient; files (cookies
  // included) go to dataDirectory on disk.
  static std::shared_ptr<Platform> make(const std::string& dataDirectory);
};

}  // namespace tavo::platform
