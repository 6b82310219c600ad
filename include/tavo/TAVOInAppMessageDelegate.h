#pragma once

#include <functional>
#include <memory>
#include <vector>

namespace tavo {

class TAVOCampaign;
class TAVONativeAd;

// A host listener of in-app communications. Every callback is optional: an unset one is skipped.
// Called on the main thread, except native-ad callbacks, which come from the request queue's thread.
struct TAVOInAppMessageDelegate {
  // A campaign became visible.
  std::function<void(const std::shared_ptr<TAVOCampaign>&)> onShown;
  // A banner was hidden.
  std::function<void(const std::shared_ptr<TAVOCampaign>&)> onHide;
  // The user closed a campaign's view.
  std::function<void(const std::shared_ptr<TAVOCampaign>&)> onClose;
  std::function<void(const std::shared_ptr<TAVONativeAd>&)> onReceived;
  std::function<void(const std::vector<std::shared_ptr<TAVONativeAd>>&)> onBatchNativeAdReceived;
};

}  // namespace tavo
