#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/Mutex.h"

namespace tavo {

// Recognises the short tracking links of the SDK's short-link service (and of the host app's own short
// domains) and asks the web service for the long URL behind one; the answer comes back to the host as a
// web-browsing user activity. Callable from any thread.
class TAVOShortUrlController {
 public:
  TAVOShortUrlController();

  // Whether the URL's host contains one of the default short domains, or else one of the custom ones.
  bool isShortQuorvelDomain(const std::optional<std::string>& url) const;
  // Queues a resolve of the link's last path component ("~" prefix dropped); a link without a path sends
  // nothing.
  void resolveShortUrl(const std::string& url);

  const std::vector<std::string>& defaultShortQuorvelDomains() const { return defaultShortQuorvelDomains_; }
  std::optional<std::vector<std::string>> customShortQuorvelDomains() const;
  void setCustomShortQuorvelDomains(const std::optional<std::vector<std::string>>& domains);

 private:
  const std::vector<std::string> defaultShortQuorvelDomains_;
  mutable platform::Mutex mutex_;
  std::optional<std::vector<std::string>> customShortQuorvelDomains_ GUARDED_BY(mutex_);
};

}  // namespace tavo
