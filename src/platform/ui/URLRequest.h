#pragma once

#include <string>

namespace tavo::platform::ui {

// A request a web view loads: the URL, whether a cached answer may serve it, and how long to wait.
struct URLRequest {
  // By the platform's values.
  enum class CachePolicy {
    UseProtocolCachePolicy = 0,
    ReloadIgnoringLocalCacheData = 1,
    ReturnCacheDataElseLoad = 2,
    ReturnCacheDataDontLoad = 3,
  };

  std::string url;
  CachePolicy cachePolicy = CachePolicy::UseProtocolCachePolicy;
  double timeoutInterval = 60.0;  // seconds of the main loop's clock
};

}  // namespace tavo::platform::ui
