#pragma once

#include <memory>

namespace tavo {

class TAVOPromotionViewController;

// Told when a promotion view controller closes: the campaign controller, or the banner whose tap opened a
// start view. Main thread.
class TAVOCampaignViewControllerDelegate {
 public:
  virtual ~TAVOCampaignViewControllerDelegate() = default;
  virtual void closePromo(const std::shared_ptr<TAVOPromotionViewController>& controller) = 0;
};

}  // namespace tavo
