#pragma once

#include <memory>

namespace tavo {

class TAVOCampaign;

// A promotion on screen as the campaign controller sees it. The view controllers of the formats (start
// view, AdBall, dynamic tab) implement it. Main thread only.
class TAVOPromotionViewController {
 public:
  virtual ~TAVOPromotionViewController() = default;

  virtual std::shared_ptr<TAVOCampaign> promotion() const = 0;
  // Takes the promotion off screen. It may tell the campaign controller closePromo from inside.
  virtual void closePromotion() = 0;
  virtual bool isShowing() const = 0;
  virtual void setIsShowing(bool showing) = 0;
};

}  // namespace tavo
