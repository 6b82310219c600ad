#pragma once

#include <cstddef>
#include <list>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/HttpClient.h"

namespace tavo::platform::ui {

// The web views' shared memory cache: the last successful (200) answers by URL, least recently used
// first out once they take more than the capacity. Main thread only.
class URLCache {
 public:
  static constexpr std::size_t kCapacityBytes = 4 * 1024 * 1024;

  std::optional<HttpResponse> cachedResponse(const std::string& url);
  void store(const std::string& url, const HttpResponse& response);
  void removeAll();

 private:
  std::list<std::pair<std::string, HttpResponse>> entries_;  // most recent first
  std::unordered_map<std::string, std::list<std::pair<std::string, HttpResponse>>::iterator> index_;
  std::size_t bytes_ = 0;
};

}  // namespace tavo::platform::ui
