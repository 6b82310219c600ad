#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo {

// The install attribution the web service reports for this installation: plain values, built once by the SDK
// and then only read, so they may be shared between threads.

// Who delivered the click (an ad network, a newsletter tool...).
struct TAVOInstallAttributionProvider {
  std::int32_t id = 0;
  std::optional<std::string> name;  // empty when the service sent null
};

// The channel of the campaign, with its provider when the service knows one.
struct TAVOInstallAttributionSource {
  std::int32_t id = 0;
  std::optional<std::string> name;
  std::shared_ptr<const TAVOInstallAttributionProvider> provider;
};

// The campaign the install is credited to, and the parameters of the click that brought it.
struct TAVOInstallAttributionCampaign {
  std::int32_t id = 0;
  std::optional<std::string> name;
  std::shared_ptr<const TAVOInstallAttributionSource> source;
  std::optional<platform::Dictionary> clickParams;
};

// The answer as a whole: the service's status as it sent it, and the campaign, absent when the install is not
// attributed to one.
struct TAVOInstallAttribution {
  std::optional<platform::Value> status;
  std::shared_ptr<const TAVOInstallAttributionCampaign> campaign;
};

}  // namespace tavo
