#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/Mutex.h"

namespace tavo {

// Decides whether in-app content may open an address: the SDK's own domains always pass; others pass when
// the host set no white list, or when they begin with one of its prefixes. Callable from any thread.
class SecurityController {
 public:
  SecurityController();

  void setWhitelist(const std::optional<std::vector<std::string>>& prefixes);
  std::optional<std::vector<std::string>> whitelist() const;

  // Whether the text contains one of the SDK's own domains (plain containment, not a host comparison).
  bool checkTAVODomain(const std::string& address) const;
  bool urlInWhiteList(const std::optional<std::string>& address) const;

  const std::vector<std::string>& domainsTAVO() const { return domainsTAVO_; }

 private:
  mutable platform::Mutex mutex_;
  std::optional<std::vector<std::string>> whiteList_ GUARDED_BY(mutex_);
  std::vector<std::string> domainsTAVO_;
};

}  // namespace tavo
