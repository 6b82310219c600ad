#include "core/SecurityController.h"

#include "platform/MutexLock.h"

namespace tavo {

SecurityController::SecurityController()
    // Every domain the SDK itself uses, so that a white list never refuses the SDK's own links: the service
    // (web service, tracking links and their beta and pre-production sub-domains), the alternative
    // tracking-link domain and the short-link domain.
    : domainsTAVO_{"tavo.example", "tvo.example", "tavo.link"} {}

void SecurityController::setWhitelist(const std::optional<std::vector<std::string>>& prefixes) {
  platform::MutexLock lock(mutex_);
  whiteList_ = prefixes;
}

std::optional<std::vector<std::string>> SecurityController::whitelist() const {
  platform::MutexLock lock(mutex_);
  return whiteList_;
}

bool SecurityController::checkTAVODomain(const std::string& address) const {
  for (const auto& domain : domainsTAVO_)
    if (address.find(domain) != std::string::npos) return true;
  return false;
}

bool SecurityController::urlInWhiteList(const std::optional<std::string>& address) const {
  const auto list = whitelist();
  if (!address || !list || address->empty() || checkTAVODomain(*address)) return true;
  for (const auto& prefix : *list)
    if (address->rfind(prefix, 0) == 0) return true;
  return false;
}

}  // namespace tavo
