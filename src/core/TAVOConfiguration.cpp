#include "tavo/TAVOConfiguration.h"

#include <utility>

namespace tavo {

TAVOConfiguration::TAVOConfiguration() { addDefaults(); }

TAVOConfiguration::TAVOConfiguration(std::optional<std::string> key) : sessionKey(std::move(key)) { addDefaults(); }

void TAVOConfiguration::addDefaults() {
  queueTime = 10;
  debugEnabled = false;
  urlBase = kDefaultURLBase;
  trackScreenEvents = true;
  appleAdsAttribution = true;
}

}  // namespace tavo
