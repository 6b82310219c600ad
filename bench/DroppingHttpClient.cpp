#include "DroppingHttpClient.h"

namespace tavo::bench {

void DroppingHttpClient::send(platform::HttpRequest request, Completion) {
  lastBodySize_.store(request.body.size());
  {
    std::lock_guard lock(mutex_);
    lastBody_ = std::move(request.body);
  }
  requests_.fetch_add(1);
}

std::size_t DroppingHttpClient::lastBodyOccurrences(std::string_view text) const {
  std::lock_guard lock(mutex_);
  std::size_t count = 0;
  for (auto at = lastBody_.find(text); at != std::string::npos; at = lastBody_.find(text, at + text.size())) ++count;
  return count;
}

}  // namespace tavo::bench
