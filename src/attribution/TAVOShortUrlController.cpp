#include "attribution/TAVOShortUrlController.h"

#include <algorithm>
#include <memory>

#include "attribution/TAVOShortTrackingUrl.h"
#include "core/TAVOController.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequestController.h"
#include "platform/MutexLock.h"
#include "platform/URLComponents.h"

namespace tavo {

namespace {

bool hostContainsAny(const std::string& host, const std::vector<std::string>& domains) {
  return std::any_of(domains.begin(), domains.end(),
                     [&](const std::string& domain) { return host.find(domain) != std::string::npos; });
}

}  // namespace

TAVOShortUrlController::TAVOShortUrlController() : defaultShortQuorvelDomains_{".tavo.link"} {}

std::optional<std::vector<std::string>> TAVOShortUrlController::customShortQuorvelDomains() const {
  platform::MutexLock lock(mutex_);
  return customShortQuorvelDomains_;
}

void TAVOShortUrlController::setCustomShortQuorvelDomains(const std::optional<std::vector<std::string>>& domains) {
  platform::MutexLock lock(mutex_);
  customShortQuorvelDomains_ = domains;
}

bool TAVOShortUrlController::isShortQuorvelDomain(const std::optional<std::string>& url) const {
  if (!url) return false;
  const auto components = platform::URLComponents::fromString(*url);
  const auto host = components ? components->host() : std::nullopt;
  if (!host) return false;
  if (hostContainsAny(*host, defaultShortQuorvelDomains_)) return true;
  const auto custom = customShortQuorvelDomains();
  return custom && hostContainsAny(*host, *custom);
}

void TAVOShortUrlController::resolveShortUrl(const std::string& url) {
  const auto components = platform::URLComponents::fromString(url);
  if (!components) return;
  auto identifier = components->lastPathComponent();
  if (!identifier) return;
  // Links written as ".../~abc" name the same link as ".../abc".
  if (!identifier->empty() && identifier->front() == '~') identifier->erase(0, 1);
  auto payload = std::make_shared<TAVOShortTrackingUrl>();
  payload->initWithId(*identifier, components->host().value_or(""));
  if (auto requests = TAVOController::sharedInstance().requestController())
    requests->addOperationToQueue(TAVOOperation::operationWithTransmitObject(payload));
}

}  // namespace tavo
