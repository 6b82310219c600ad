#include "platform/ui/URLCache.h"

namespace tavo::platform::ui {

std::optional<HttpResponse> URLCache::cachedResponse(const std::string& url) {
  const auto found = index_.find(url);
  if (found == index_.end()) return std::nullopt;
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->second;
}

void URLCache::store(const std::string& url, const HttpResponse& response) {
  if (response.statusCode != 200 || response.body.size() > kCapacityBytes) return;
  if (const auto found = index_.find(url); found != index_.end()) {
    bytes_ -= found->second->second.body.size();
    entries_.erase(found->second);
    index_.erase(found);
  }
  entries_.emplace_front(url, response);
  index_[url] = entries_.begin();
  bytes_ += response.body.size();
  while (bytes_ > kCapacityBytes && !entries_.empty()) {
    bytes_ -= entries_.back().second.body.size();
    index_.erase(entries_.back().first);
    entries_.pop_back();
  }
}

void URLCache::removeAll() {
  entries_.clear();
  index_.clear();
  bytes_ = 0;
}

}  // namespace tavo::platform::ui
